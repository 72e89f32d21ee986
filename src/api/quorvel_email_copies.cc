// The members of the e-mail object that make other e-mails of it, and its replace patterns.
#include <memory>
#include <string>
#include <utility>

#include "api/counts.h"
#include "api/public_call.h"
#include "api/quorvel_email.h"

namespace qv {

// Copies and answers.

quorvel::Ref<quorvel::IQuorvelEmail2> CQuorvelEmail::copy(std::string_view name, void (Email::*change)()) {
  quorvel::Ref<quorvel::IQuorvelEmail2> result;
  publicCall(inContext(name), [&](CLog*) {
    std::unique_ptr<Email> made = email_->cloneEmail();
    if (made == nullptr) return Outcome::failed;
    if (change != nullptr) (made.get()->*change)();
    result = quorvel::make<CQuorvelEmail>(std::move(made));
    return Outcome::done;
  });
  return result;
}

quorvel::Ref<quorvel::IQuorvelEmail2> CQuorvelEmail::Clone() {
  return copy("Clone", nullptr);
}
quorvel::Ref<quorvel::IQuorvelEmail2> CQuorvelEmail::CreateReply() {
  return copy("CreateReply", &Email::makeReply);
}
quorvel::Ref<quorvel::IQuorvelEmail2> CQuorvelEmail::CreateForward() {
  return copy("CreateForward", &Email::makeForward);
}

// Mail merge.

std::int32_t CQuorvelEmail::SetReplacePattern(std::string_view pattern, std::string_view replaceString) {
  return publicFlag(inContext("SetReplacePattern"), [&](CLog* log) {
    if (pattern.empty()) {
      logError(log, "Pattern is empty");
      return Outcome::failedQuietly;
    }
    logData(log, "pattern", pattern);
    logData(log, "replace_string", replaceString);
    patterns_->set(pattern, replaceString);
    return Outcome::done;
  });
}

std::int32_t CQuorvelEmail::get_NumReplacePatterns() {
  return publicRead(plain("get_NumReplacePatterns"), [this](CLog*) { return asCount(patterns_->count()); });
}

std::string CQuorvelEmail::GetReplacePattern(std::int32_t index) {
  return publicRead(inContext("GetReplacePattern"), [&](CLog*) {
    const StringPair* pair = patterns_->at(asIndex(index));
    return pair == nullptr ? std::string() : pair->name().str();
  });
}

std::string CQuorvelEmail::GetReplaceString(std::int32_t index) {
  return publicRead(inContext("GetReplaceString"), [&](CLog* log) {
    const StringPair* pair = patterns_->at(asIndex(index));
    if (pair != nullptr) return pair->value().str();
    logError(log, "No replace string found at index " + std::to_string(index));
    return std::string();
  });
}

std::string CQuorvelEmail::GetReplaceString2(std::string_view pattern) {
  return publicRead(inContext("GetReplaceString2"), [&](CLog* log) {
    logData(log, "pattern", pattern);
    if (pattern.empty()) {
      logError(log, "Pattern is empty");
      return std::string();
    }
    const StringPair* pair = patterns_->find(pattern);
    if (pair == nullptr) return std::string();
    logData(log, "replace_string", pair->value());
    return pair->value().str();
  });
}

}  // namespace qv
