// The mail manager: the settings, and the sending of e-mails.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <quorvel/email.h>
#include <quorvel/log.h>
#include <quorvel/object.h>

namespace quorvel {

/// Created as "QuorvelMail.QuorvelMailMan". Settings last as long as the object; every operation on a server
/// opens its own session and closes it. Raises the events of `IQuorvelOutgoing` (see `connect`).
class QUORVEL_API IQuorvelMailMan : public IQuorvelObject {
 public:
  using Base = IQuorvelObject;
  static constexpr std::string_view kInterfaceName = "IQuorvelMailMan";

  virtual std::string get_SmtpHost() = 0;  ///< "localhost" at first
  virtual void put_SmtpHost(std::string_view host) = 0;
  /// 1 when the server took the message for at least one recipient; the log names those it refused. A failure
  /// leaves an error report.
  virtual std::int32_t SendEmail(IQuorvelEmail* email) = 0;
  virtual std::int32_t get_SmtpPort() = 0;  ///< 25 at first
  virtual void put_SmtpPort(std::int32_t port) = 0;
  virtual std::string get_Version() = 0;
  /// Null, with an error report, when there is no log.
  virtual Ref<IQuorvelLog> GetLog() = 0;
  /// Sends a plain message through port 25 of `smtpServer`, whatever `SmtpHost` and `SmtpPort` hold.
  virtual std::int32_t QuickSend(std::string_view from, std::string_view to, std::string_view subject,
                                 std::string_view body, std::string_view smtpServer) = 0;
};

class QUORVEL_API IQuorvelMailMan2 : public IQuorvelMailMan {
 public:
  using Base = IQuorvelMailMan;
  static constexpr std::string_view kInterfaceName = "IQuorvelMailMan2";

  virtual std::string get_SmtpUsername() = 0;
  virtual void put_SmtpUsername(std::string_view username) = 0;
  virtual std::string get_SmtpPassword() = 0;
  virtual void put_SmtpPassword(std::string_view password) = 0;
  /// A journal file that every accepted message is appended to; none when empty.
  virtual std::string get_LogMailSentFilename() = 0;
  virtual void put_LogMailSentFilename(std::string_view filename) = 0;
  /// Whether the server greets; never leaves an error report.
  virtual std::int32_t VerifySmtpConnection() = 0;
  virtual std::string get_SmtpLoginDomain() = 0;
  virtual void put_SmtpLoginDomain(std::string_view domain) = 0;
  /// "NTLM", "CRAM-MD5", "LOGIN", "PLAIN"; the best that the server offers when empty.
  virtual std::string get_SmtpAuthMethod() = 0;
  virtual void put_SmtpAuthMethod(std::string_view method) = 0;
  /// Whether each address of a distribution list gets a message of its own; 1 at first.
  virtual std::int32_t get_SendIndividual() = 0;
  virtual void put_SendIndividual(std::int32_t individual) = 0;
  /// Writes the log without timestamps; a failure leaves an error report.
  virtual void SaveXmlLog(std::string_view filename) = 0;
};

class QUORVEL_API IQuorvelMailMan3 : public IQuorvelMailMan2 {
 public:
  using Base = IQuorvelMailMan2;
  static constexpr std::string_view kInterfaceName = "IQuorvelMailMan3";

  /// Seconds to wait for a connection; 0, as at first, waits as long as it takes. Less than 0 is stored as 0.
  virtual std::int32_t get_ConnectTimeout() = 0;
  virtual void put_ConnectTimeout(std::int32_t seconds) = 0;
  /// Seconds to wait for each piece of a server's answer; as above.
  virtual std::int32_t get_ReadTimeout() = 0;
  virtual void put_ReadTimeout(std::int32_t seconds) = 0;
};

}  // namespace quorvel
