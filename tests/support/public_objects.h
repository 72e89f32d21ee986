// What tests share that use the component as a host does, by its public interfaces.
#pragma once

#include <quorvel/quorvel.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qv_test {

/// What the last operation's error report says.
inline std::string reported() {
  const auto report = quorvel::lastError();
  return report ? report->description : "(none)";
}

inline quorvel::Ref<quorvel::IQuorvelMailMan3> newMailMan() {
  return quorvel::create<quorvel::IQuorvelMailMan3>("QuorvelMail.QuorvelMailMan");
}
inline quorvel::Ref<quorvel::IQuorvelEmailBundle2> newBundle() {
  return quorvel::create<quorvel::IQuorvelEmailBundle2>("QuorvelMail.QuorvelEmailBundle");
}
inline quorvel::Ref<quorvel::IQuorvelEmail3> newEmail() {
  return quorvel::create<quorvel::IQuorvelEmail3>("QuorvelMail.QuorvelEmail");
}
/// From Ann, with a body that names the subject.
inline quorvel::Ref<quorvel::IQuorvelEmail3> newEmail(std::string_view subject) {
  auto email = newEmail();
  email->put_From("Ann <ann@h>");
  email->put_Subject(subject);
  email->put_Body("body of " + std::string(subject));
  return email;
}

/// The log that all objects share.
inline quorvel::Ref<quorvel::IQuorvelLog2> sharedLog() {
  return newMailMan()->GetLog().as<quorvel::IQuorvelLog2>();
}

/// None for no bundle.
template <typename Bundle>
std::vector<std::string> subjectsOf(const quorvel::Ref<Bundle>& bundle) {
  std::vector<std::string> subjects;
  for (std::int32_t i = 0; bundle && i < bundle->get_MessageCount(); ++i) {
    subjects.push_back(bundle->GetEmail(i)->get_Subject());
  }
  return subjects;
}

}  // namespace qv_test
