// The mail manager: the settings, sending e-mails, and reading mailboxes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <quorvel/email.h>
#include <quorvel/email_bundle.h>
#include <quorvel/log.h>
#include <quorvel/object.h>
#include <quorvel/string_array.h>

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
  /// Sends the e-mails of a bundle one after the other in one session. 1 when none of them ended it before
  /// its time: an e-mail that the server takes for none of its recipients is passed over, the log says so. A
  /// server that cannot be reached leaves no error report. A bundle of the host's own class is asked for each
  /// e-mail at its turn, when the one before it is done with; it may make them as they are asked for, all in
  /// the same object. Progress then counts e-mails.
  virtual std::int32_t SendBundle(IQuorvelEmailBundle* bundle) = 0;
  virtual std::string get_MailHost() = 0;  ///< the POP3 server
  virtual void put_MailHost(std::string_view host) = 0;
  virtual std::string get_PopUsername() = 0;
  virtual void put_PopUsername(std::string_view username) = 0;
  virtual std::string get_PopPassword() = 0;
  virtual void put_PopPassword(std::string_view password) = 0;
  virtual std::int32_t get_SmtpPort() = 0;  ///< 25 at first
  virtual void put_SmtpPort(std::int32_t port) = 0;
  virtual std::int32_t get_MailPort() = 0;  ///< 110 at first
  virtual void put_MailPort(std::int32_t port) = 0;
  /// At most this many messages are downloaded by one `CopyMail` or `TransferMail`; 999999 at first.
  virtual std::int32_t get_MaxCount() = 0;
  virtual void put_MaxCount(std::int32_t count) = 0;
  /// Messages that the server's listing calls larger are not downloaded; 999999999 bytes at first. A listing
  /// of unique ids tells no sizes: they count as 0.
  virtual std::int32_t get_SizeLimit() = 0;
  virtual void put_SizeLimit(std::int32_t bytes) = 0;
  /// The messages on the POP3 server that the filter keeps, in server order. A message that cannot be
  /// downloaded is passed over; the log says why. Null when the mailbox cannot be read.
  virtual Ref<IQuorvelEmailBundle> CopyMail() = 0;
  /// The same, and deletes from the server what the bundle holds, nothing else.
  virtual Ref<IQuorvelEmailBundle> TransferMail() = 0;
  /// E-mails are labelled with the charset of this language, as "French", when they are sent. Setting it
  /// empties `DefaultCharset`, and the reverse; without both they keep their own.
  virtual std::string get_DefaultLanguage() = 0;
  virtual void put_DefaultLanguage(std::string_view language) = 0;
  /// The number of messages on the server; -1, with an error report, when it cannot be told.
  virtual std::int32_t CheckMail() = 0;
  virtual std::string get_DefaultCharset() = 0;
  virtual void put_DefaultCharset(std::string_view charset) = 0;
  // Which of a language's charsets is meant. Setting one of these, also to 0, clears the other two.
  virtual std::int32_t get_PreferIsoCharset() = 0;
  virtual void put_PreferIsoCharset(std::int32_t prefer) = 0;
  virtual std::int32_t get_PreferMicrosoftCharset() = 0;
  virtual void put_PreferMicrosoftCharset(std::int32_t prefer) = 0;
  virtual std::int32_t get_PreferMacCharset() = 0;
  virtual void put_PreferMacCharset(std::int32_t prefer) = 0;
  // No longer available: these fail with an error report.
  virtual void StartMailWatch(std::int32_t waitSeconds) = 0;
  virtual void StopMailWatch() = 0;
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

  /// The messages of a mailbox file (mbox) that the filter keeps, the last one of the file first. Empty when
  /// the file cannot be read; the log says why.
  virtual Ref<IQuorvelEmailBundle> LoadMbx(std::string_view mbxFileName) = 0;
  /// There is no Outlook to load from: fails with an error report.
  virtual Ref<IQuorvelEmailBundle> LoadOutlookFolder(std::string_view folderPath) = 0;
  /// The e-mails of an XML document that the filter keeps, the last one first. A file that cannot be read, or
  /// a text without any element, fails with an error report.
  virtual Ref<IQuorvelEmailBundle> LoadXmlFile(std::string_view folderPath) = 0;
  virtual Ref<IQuorvelEmailBundle> LoadXmlString(std::string_view xmlString) = 0;
  /// Which messages the receiving operations keep, as `Subject like "*report*"`; empty keeps all.
  virtual std::string get_Filter() = 0;
  virtual void put_Filter(std::string_view expression) = 0;
  /// There is no Outlook to send with: fails with an error report.
  virtual void SendViaOutlook(IQuorvelEmail2* iEmail) = 0;
  virtual std::string get_SmtpUsername() = 0;
  virtual void put_SmtpUsername(std::string_view username) = 0;
  virtual std::string get_SmtpPassword() = 0;
  virtual void put_SmtpPassword(std::string_view password) = 0;
  /// Not implemented: fails with an error report.
  virtual void ImportCertificates(std::string_view filename) = 0;
  /// A journal file that every accepted message is appended to; none when empty.
  virtual std::string get_LogMailSentFilename() = 0;
  virtual void put_LogMailSentFilename(std::string_view filename) = 0;
  /// A journal file that the text of every downloaded message is appended to; none when empty.
  virtual std::string get_LogMailReceivedFilename() = 0;
  virtual void put_LogMailReceivedFilename(std::string_view filename) = 0;
  /// The headers of all messages, with 1 to 10000 lines of each body, through the filter; null on failure.
  virtual Ref<IQuorvelEmailBundle2> GetAllHeaders(std::int32_t numBodyLines) = 0;
  /// Deletes from the server the message that an e-mail came from. Without a unique id in it this fails with
  /// an error report; whether the server found and deleted the message only the log tells.
  virtual void DeleteEmail(IQuorvelEmail2* email) = 0;
  /// As GetAllHeaders for the positions `fromIndex` to `toIndex` on the server, counted from 0.
  virtual Ref<IQuorvelEmailBundle2> GetHeaders(std::int32_t numBodyLines, std::int32_t fromIndex,
                                               std::int32_t toIndex) = 0;
  /// The whole message of which an e-mail holds the header; null when the server has it no more.
  virtual Ref<IQuorvelEmail2> GetFullEmail(IQuorvelEmail2* email) = 0;
  /// Deletes from the server the messages that the e-mails of a bundle came from.
  virtual void DeleteBundle(IQuorvelEmailBundle2* bundle) = 0;
  /// Deletes the messages with these unique ids.
  virtual void DeleteMultiple(IQvStringArray* uidlArray) = 0;
  /// The message with this unique id; null when the server has none.
  virtual Ref<IQuorvelEmail2> FetchEmail(std::string_view uidl) = 0;
  /// The messages with these unique ids, in server order; ids that the server does not have are passed over.
  virtual Ref<IQuorvelEmailBundle2> FetchMultiple(IQvStringArray* uidlArray) = 0;
  // Whether the server greets, or takes the login. These never leave an error report; the log says why not.
  virtual std::int32_t VerifyPopConnection() = 0;
  virtual std::int32_t VerifyPopLogin() = 0;
  virtual std::int32_t VerifySmtpConnection() = 0;
  virtual std::int32_t VerifySmtpLogin() = 0;
  virtual std::string get_SmtpLoginDomain() = 0;
  virtual void put_SmtpLoginDomain(std::string_view domain) = 0;
  // Kept for an Outlook that there is none of.
  virtual std::string get_OutlookContactsFolder() = 0;
  virtual void put_OutlookContactsFolder(std::string_view folder) = 0;
  virtual std::int32_t get_AutoAddContacts() = 0;
  virtual void put_AutoAddContacts(std::int32_t add) = 0;
  /// "NTLM", "CRAM-MD5", "LOGIN", "PLAIN"; the best that the server offers when empty.
  virtual std::string get_SmtpAuthMethod() = 0;
  virtual void put_SmtpAuthMethod(std::string_view method) = 0;
  /// Whether each address of a distribution list gets a message of its own; 1 at first.
  virtual std::int32_t get_SendIndividual() = 0;
  virtual void put_SendIndividual(std::int32_t individual) = 0;
  /// Has e-mails signed and encrypted by the signing service, with this login; without such a service, and at
  /// first, it is done on this machine.
  virtual void UseQuorvelService(std::string_view username, std::string_view domain,
                                 std::string_view password) = 0;
  virtual void NoQuorvelService() = 0;
  /// Whether certificates that come with received mail are kept; 1 at first.
  virtual std::int32_t get_AutoSaveCerts() = 0;
  virtual void put_AutoSaveCerts(std::int32_t save) = 0;
  /// The unique ids of all messages, in server order; null, with an error report, when they cannot be listed.
  virtual Ref<IQvStringArray> GetUidls() = 0;
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
  /// 1 when `Filter` keeps this e-mail, as it keeps every one when it is empty.
  virtual std::int32_t MatchFilter(IQuorvelEmail2* email) = 0;
  /// How `Filter` comes to its result for this e-mail, step by step, as text for a person to read.
  virtual std::string ExplainFilter(IQuorvelEmail2* email) = 0;
};

}  // namespace quorvel
