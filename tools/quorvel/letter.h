// The message of a merge, made out to one recipient after the other.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "quorvel/message_file.h"
#include "quorvel/recipient_list.h"

namespace cli {

/// One e-mail object, which is changed for each recipient. Where texts, subject, sender or recipient hold a
/// title in braces, as {name}, the mail that goes out has the recipient's value; what a value holds is never
/// taken for a title.
class Letter {
 public:
  /// The recipients that the e-mail has are taken from it. A charset labels its text, where it is one text.
  Letter(Email email, std::vector<std::string> titles, const std::string& charset);

  /// The e-mail for a recipient. The one before is gone.
  const Email& madeOutTo(const Recipient& recipient);
  /// What stands in braces in it like a title, and is none.
  std::vector<std::string> unknownTitles() const;
  /// Whether one of its texts is labelled as UTF-8.
  bool isUtf8() const;

 private:
  std::string guarded(std::string_view value) const;
  void renew();
  /// Its subject and texts.
  std::vector<std::string> texts() const;

  Email email_;
  std::vector<std::string> titles_;
  std::string brace_;  ///< stands for an opening brace of a value until all patterns are replaced
};

}  // namespace cli
