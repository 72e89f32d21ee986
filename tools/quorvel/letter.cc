#include "quorvel/letter.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <utility>

#include "quorvel/session.h"

namespace cli {

namespace {

/// A word that stands in no text: nobody can know it beforehand.
std::string newWord() {
  std::random_device device;
  std::string word = "quorvel-";
  for (int i = 0; i < 4; ++i) word += std::to_string(device()) + "-";
  return word;
}

/// Calls `visit` for what stands in braces like a title: {first name}, but not {color: red}.
template <typename Visit>
void forEachInBraces(std::string_view text, Visit visit) {
  constexpr std::size_t kLongest = 100;
  for (std::size_t open = text.find('{'); open != text.npos; open = text.find('{', open + 1)) {
    const std::string_view rest = text.substr(open + 1, kLongest);
    const std::size_t end = rest.find_first_of("{}:;\r\n");
    if (end != rest.npos && end > 0 && rest[end] == '}') visit(rest.substr(0, end));
  }
}

}  // namespace

Letter::Letter(Email email, std::vector<std::string> titles, const std::string& charset)
    : email_(std::move(email)), titles_(std::move(titles)), brace_(newWord()) {
  email_->ClearCC();
  email_->ClearBcc();
  email_->AddHeaderField("Bcc", "");
  // Names in To are written for the charset that the e-mail has when they are added.
  const std::string type = email_->GetHeaderField("Content-Type");
  if (charset.empty() || !lowerCase(type).starts_with("text/")) return;
  email_->AddHeaderField("Content-Type", type.substr(0, type.find(';')) + "; charset=\"" + charset + '"');
}

/// A value in which nothing is taken for a pattern. The last pattern brings its braces back.
std::string Letter::guarded(std::string_view value) const {
  std::string text;
  for (const char c : value) c == '{' ? text += brace_ : text += c;
  return text;
}

const Email& Letter::madeOutTo(const Recipient& recipient) {
  renew();
  email_->ClearTo();
  const bool hasPatterns = !titles_.empty();
  email_->AddTo(hasPatterns ? guarded(recipient.name) : recipient.name,
                hasPatterns ? guarded(recipient.address) : recipient.address);
  if (!hasPatterns) return email_;
  for (std::size_t i = 0; i < titles_.size(); ++i) {
    if (!titles_[i].empty()) email_->SetReplacePattern('{' + titles_[i] + '}', guarded(recipient.values[i]));
  }
  email_->SetReplacePattern(brace_, "{");
  return email_;
}

/// A mail of its own has a Message-ID of its own (RFC 5322 3.6.4), and the time of its sending.
void Letter::renew() {
  const auto fresh = newEmail();
  for (const std::string_view field : {"Date", "Message-ID"}) {
    email_->AddHeaderField(field, fresh->GetHeaderField(field));
  }
}

std::vector<std::string> Letter::texts() const {
  std::vector<std::string> all = {email_->get_Subject(), email_->get_From(), email_->get_Body()};
  for (std::int32_t i = 0; i < email_->get_NumAlternatives(); ++i) {
    all.push_back(email_->GetAlternativeBody(i));
  }
  return all;
}

std::vector<std::string> Letter::unknownTitles() const {
  std::vector<std::string> unknown;
  for (const std::string& text : texts()) {
    forEachInBraces(text, [&](std::string_view title) {
      const bool isKnown = std::find(titles_.begin(), titles_.end(), title) != titles_.end() ||
                           std::find(unknown.begin(), unknown.end(), title) != unknown.end();
      if (!isKnown) unknown.emplace_back(title);
    });
  }
  return unknown;
}

bool Letter::isUtf8() const {
  return lowerCase(email_->GetMime()).find("utf-8") != std::string::npos;
}

}  // namespace cli
