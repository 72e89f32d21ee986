#include "api/factory.h"

#include <algorithm>

#include <quorvel/component.h>

#include "api/quorvel_cert.h"
#include "api/quorvel_cert_store.h"
#include "api/quorvel_email.h"
#include "api/quorvel_email_bundle.h"
#include "api/quorvel_log.h"
#include "api/quorvel_mail_man.h"
#include "api/quorvel_zip.h"
#include "api/qv_string_array.h"

namespace qv {

namespace {

using AnyObject = quorvel::Ref<quorvel::IQuorvelObject>;

template <typename Class>
AnyObject makeObject() {
  return quorvel::make<Class>();
}

constexpr ClassInfo kClasses[] = {
    {CQuorvelMailMan::kClassName, "IQuorvelMailMan3", "QuorvelMail.QuorvelMailMan",
     makeObject<CQuorvelMailMan>},
    {CQuorvelEmail::kClassName, "IQuorvelEmail3", "QuorvelMail.QuorvelEmail", makeObject<CQuorvelEmail>},
    {CQuorvelEmailBundle::kClassName, "IQuorvelEmailBundle2", "QuorvelMail.QuorvelEmailBundle",
     makeObject<CQuorvelEmailBundle>},
    {CQuorvelCert::kClassName, "IQuorvelCert2", "QuorvelMail.QuorvelCert", makeObject<CQuorvelCert>},
    {CQuorvelCertStore::kClassName, "IQuorvelCertStore", "QuorvelMail.QuorvelCertStore",
     makeObject<CQuorvelCertStore>},
    {CQvStringArray::kClassName, "IQvStringArray", "QuorvelMail.QvStringArray", makeObject<CQvStringArray>},
    {CQuorvelZip::kClassName, "IQuorvelZip4", "QuorvelMail.QuorvelZip", makeObject<CQuorvelZip>},
    {CQuorvelZipEntry::kClassName, "IQuorvelZipEntry4", "", nullptr},
    {CQuorvelLog::kClassName, "IQuorvelLog2", "", nullptr},
};

}  // namespace

std::span<const ClassInfo> classes() noexcept {
  return kClasses;
}

const ClassInfo* classOf(const quorvel::IQuorvelObject& object) noexcept {
  const auto isIts = [name = object.className()](const ClassInfo& each) { return each.name == name; };
  const auto* found = std::find_if(std::begin(kClasses), std::end(kClasses), isIts);
  return found == std::end(kClasses) ? nullptr : found;
}

}  // namespace qv

namespace quorvel {

Ref<IQuorvelObject> create(std::string_view name) noexcept {
  if (name.ends_with(".1")) name.remove_suffix(2);  // the versioned form
  try {
    for (const qv::ClassInfo& each : qv::classes()) {
      if (!each.progId.empty() && each.progId == name) return each.make();
    }
  } catch (...) {
    // out of memory
  }
  return nullptr;
}

}  // namespace quorvel
