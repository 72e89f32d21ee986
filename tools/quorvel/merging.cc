#include "quorvel/merging.h"

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <string_view>
#include <utility>

#include "quorvel/diagnosis.h"
#include "quorvel/sending.h"

namespace cli {

namespace {

/// A server that ends so many sessions one after the other, or refuses so many mails whole, will go on so.
constexpr int kMostTroubles = 3;

/// What became of a mail; no result when it was not sent and may be tried again.
struct Verdict {
  std::optional<MergeResult> result;
  std::string answer;  ///< the server's, or why not
};

Verdict verdictOf(const Entries& entries) {
  constexpr std::string_view kFailed = "Failed when sending ";
  const auto startsWith = [](std::string_view start) {
    return [start](const std::string& entry) { return entry.starts_with(start); };
  };
  if (std::any_of(entries.infos.begin(), entries.infos.end(), startsWith("Mail sent to "))) {
    return {MergeResult::sent, ""};
  }
  const std::vector<std::string>& errors = entries.errors;
  const auto failed = std::find_if(errors.begin(), errors.end(), startsWith(kFailed));
  if (failed == errors.begin() || failed == errors.end()) return {};
  const std::string_view step = std::string_view(*failed).substr(kFailed.size());
  const std::string& answer = *(failed - 1);
  // These are said of the session, whatever was asked (RFC 5321 3.8), and of the sender.
  if (answer.starts_with("421") || step.starts_with("MAIL")) return {};
  const bool isRefused =
      answer.starts_with("Refused the recipient's address") || statusOf({{answer}, {}}) == Status::refused;
  if (isRefused) return {MergeResult::refused, answer};
  if (step.starts_with("body end marker")) return {MergeResult::uncertain, answer};
  return {};
}

}  // namespace

/// What the component sees of it.
class Merging::Bundle final : public quorvel::Implements<quorvel::IQuorvelEmailBundle> {
 public:
  explicit Bundle(Merging& merging) : merging_(merging), count_(merging.left()) {}
  std::int32_t get_MessageCount() override {
    return static_cast<std::int32_t>(std::min<std::size_t>(count_, kMostPerSession));
  }
  quorvel::Ref<quorvel::IQuorvelEmail> GetEmail(std::int32_t) override {
    try {
      return merging_.nextEmail();
    } catch (...) {
      merging_.failure_ = std::current_exception();
      return nullptr;
    }
  }
  std::int32_t AddEmail(quorvel::IQuorvelEmail*) override { return 0; }
  std::int32_t RemoveEmail(quorvel::IQuorvelEmail*) override { return 0; }
  std::int32_t AppendToZip(quorvel::IQuorvelZip4*) override { return 0; }
  std::int32_t AddFromZip(quorvel::IQuorvelZip4*) override { return 0; }

 private:
  static constexpr std::size_t kMostPerSession = 1'000'000;
  Merging& merging_;
  std::size_t count_;
};

std::optional<Failure> Merging::run() {
  try {
    while (left() > 0) sendSession();
    // What is left out at the end of the list is told too.
    while (work_.report != nullptr && advance()) {
    }
  } catch (const Failure& failure) {
    return failure;
  }
  return std::nullopt;
}

void Merging::sendSession() {
  const auto bundle = quorvel::make<Bundle>(*this);
  hasSession_ = false;
  isUnderWay_ = false;
  forgetLog();
  const bool isWhole = work_.session.mailMan().SendBundle(bundle.get()) == 1;
  if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
  if (!isWhole && !hasSession_) {
    const Entries entries = work_.session.entries();
    forgetLog();
    throw diagnose(Protocol::smtp, work_.server, work_.user, entries);
  }
  settle(!isWhole);
}

quorvel::Ref<quorvel::IQuorvelEmail> Merging::nextEmail() {
  if (!std::exchange(hasSession_, true)) {
    loggedIn_ = cli::loggedIn(work_.session.entries());
    forgetLog();  // what was said before the first mail is not about it
  }
  settle(false);
  if (!isPending_ && !advance()) {
    throw Failure{Status::file, "the list has become shorter since it was read first", "",
                  "the same command sends what is left"};
  }
  isUnderWay_ = true;
  return work_.letter.madeOutTo(current_);
}

void Merging::settle(bool isOver) {
  if (!std::exchange(isUnderWay_, false)) return;
  const Entries entries = work_.session.entries();
  forgetLog();
  const Verdict verdict = verdictOf(entries);
  if (verdict.result) record(*verdict.result, verdict.answer);
  troubles_ = verdict.result && !isOver ? 0 : troubles_ + 1;
  if (troubles_ == kMostTroubles) throw diagnose(Protocol::smtp, work_.server, work_.user, entries);
}

/// To the next recipient who is to be sent a mail; false when there is none.
bool Merging::advance() {
  while (work_.list.next(current_)) {
    if (row_ == work_.plan.steps.size()) break;
    const MergeStep step = work_.plan.steps[row_++];
    if (step == MergeStep::noAddress) record(MergeResult::leftOut, current_.fault);
    if (step == MergeStep::repeated) {
      record(MergeResult::leftOut, "a row before it has the same address");
    }
    if (step != MergeStep::send) continue;
    isPending_ = true;
    return true;
  }
  return false;
}

void Merging::record(MergeResult result, const std::string& answer) {
  if (work_.report != nullptr) work_.report->add({current_.row, current_.address, result, answer});
  if (result == MergeResult::leftOut) return;
  isPending_ = false;
  ++done_;
  const int percent = static_cast<int>(done_ * 100 / work_.atMost);
  if (work_.bar != nullptr && percent != percent_) work_.bar->show(percent_ = percent);
}

/// The log would grow with the list.
void Merging::forgetLog() {
  if (work_.printsLog) std::cout << printable(work_.session.logText()) << std::flush;
  work_.session.mailMan().GetLog()->ClearLog();
  work_.session.beginOperation();
}

}  // namespace cli
