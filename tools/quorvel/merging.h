// Sending a letter to all recipients of a list, a mail for each.
#pragma once

#include <cstddef>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include <quorvel/quorvel.h>

#include "quorvel/letter.h"
#include "quorvel/merge_plan.h"
#include "quorvel/merge_report.h"
#include "quorvel/progress_bar.h"
#include "quorvel/recipient_list.h"
#include "quorvel/report.h"
#include "quorvel/server.h"
#include "quorvel/session.h"

namespace cli {

/// What a merge works with. Nothing is owned; `report` and `bar` may be null.
struct MergeWork {
  Session& session;  ///< set up for the server
  const Server& server;
  const std::string& user;  ///< who logs in, if anybody
  Letter& letter;
  RecipientList& list;  ///< at its start
  const MergePlan& plan;
  MergeReport* report;
  ProgressBar* bar;
  std::size_t atMost;  ///< mails to be sent
  bool printsLog;      ///< of each mail
};

/// Is handed to the component as a bundle of e-mails, which asks for one after the other: each is made as it
/// is asked for, and what became of the one before is then in the log. A session that ends before its time is
/// followed by another one, unless that leads nowhere.
class Merging {
 public:
  explicit Merging(const MergeWork& work) : work_(work) {}
  /// Returns when all was done that could be. What ended it before its time, if anything did.
  std::optional<Failure> run();
  bool loggedIn() const noexcept { return loggedIn_; }

 private:
  class Bundle;

  void sendSession();
  /// The next e-mail of the session; notes what became of the one before.
  quorvel::Ref<quorvel::IQuorvelEmail> nextEmail();
  /// `isOver` says that the session is.
  void settle(bool isOver);
  bool advance();
  void record(MergeResult result, const std::string& answer);
  void forgetLog();
  std::size_t left() const noexcept { return work_.atMost - done_; }

  MergeWork work_;
  Recipient current_;
  std::size_t row_ = 0;      // of the plan
  bool isPending_ = false;   // the current one is still to be sent
  bool isUnderWay_ = false;  // and its e-mail was handed out
  bool hasSession_ = false;
  bool loggedIn_ = false;
  std::size_t done_ = 0;  // mails that something became of
  int troubles_ = 0;      // mails in a row that ended a session, or found it ended
  int percent_ = -1;
  std::exception_ptr failure_;  // of making an e-mail ready, while the component waits for it
};

}  // namespace cli
