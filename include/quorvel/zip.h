// Zip archives that e-mails are kept in.
#pragma once

#include <cstdint>
#include <string_view>

#include <quorvel/email.h>
#include <quorvel/object.h>

namespace quorvel {

class IQuorvelZip4;

/// One entry of an archive. It may be used as long as the archive stays open.
class QUORVEL_API IQuorvelZipEntry4 : public IQuorvelObject {
 public:
  using Base = IQuorvelObject;
  static constexpr std::string_view kInterfaceName = "IQuorvelZipEntry4";

  /// A new e-mail made of the entry; null when the entry is no message. An entry that cannot be read
  /// (damaged, encrypted, too large) fails with an error report.
  virtual Ref<IQuorvelEmail2> GetEmail() = 0;
  /// The archive that it belongs to; null once that was closed.
  virtual Ref<IQuorvelZip4> get_ZipFile() = 0;
};

/// Created as "QuorvelMail.QuorvelZip". Each e-mail is one message file in the archive. A host may bring an
/// object of its own with this interface.
class QUORVEL_API IQuorvelZip4 : public IQuorvelObject {
 public:
  using Base = IQuorvelObject;
  static constexpr std::string_view kInterfaceName = "IQuorvelZip4";

  // 1, or 0 with an error report. An archive that is open is closed first.
  virtual std::int32_t Open(std::string_view path) = 0;
  /// A new archive; `Close` puts it in the place of a file of that name, unless nothing was appended.
  virtual std::int32_t Create(std::string_view path) = 0;
  /// Writes what was appended, which is on disk then; a failure leaves an error report, and the file as it
  /// was. What is not closed when the object goes is lost.
  virtual void Close() = 0;
  virtual std::int32_t get_NumEntries() = 0;
  /// Null when the index is out of range.
  virtual Ref<IQuorvelZipEntry4> GetEntryByIndex(std::int32_t index) = 0;
  /// Stores an e-mail under its generated file name; null, with an error report, when it cannot.
  virtual Ref<IQuorvelZipEntry4> AppendEmail(IQuorvelEmail* email) = 0;
};

}  // namespace quorvel
