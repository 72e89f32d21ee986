// Ordered collections of e-mails.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <quorvel/email.h>
#include <quorvel/object.h>
#include <quorvel/string_array.h>
#include <quorvel/zip.h>

namespace quorvel {

/// Created as "QuorvelMail.QuorvelEmailBundle", or handed out by the mail manager. Shares its e-mails with
/// the host: `GetEmail` hands out the very object that was added.
class QUORVEL_API IQuorvelEmailBundle : public IQuorvelObject {
 public:
  using Base = IQuorvelObject;
  static constexpr std::string_view kInterfaceName = "IQuorvelEmailBundle";

  virtual std::int32_t get_MessageCount() = 0;
  /// Appends an e-mail; the same one may be in it more than once.
  virtual std::int32_t AddEmail(IQuorvelEmail* email) = 0;
  /// Null when the index is out of range.
  virtual Ref<IQuorvelEmail> GetEmail(std::int32_t index) = 0;
  /// Removes the first entry that holds this very object; 0 when none does.
  virtual std::int32_t RemoveEmail(IQuorvelEmail* email) = 0;
  /// Stores every e-mail in an archive, but for those that came from it or went into it already.
  virtual std::int32_t AppendToZip(IQuorvelZip4* zip) = 0;
  /// Appends the e-mails of all entries that are messages.
  virtual std::int32_t AddFromZip(IQuorvelZip4* zip) = 0;
};

class QUORVEL_API IQuorvelEmailBundle2 : public IQuorvelEmailBundle {
 public:
  using Base = IQuorvelEmailBundle;
  static constexpr std::string_view kInterfaceName = "IQuorvelEmailBundle2";

  /// The e-mails as one XML element.
  virtual std::string GetXml() = 0;
  /// Writes an XML document of the e-mails, replacing the file. Fails with an error report.
  virtual void SaveXml(std::string_view filename) = 0;
  /// The unique id of each e-mail that has one: the server's word for a fetched message, else its `Uidl`.
  virtual Ref<IQvStringArray> GetUidls() = 0;
};

}  // namespace quorvel
