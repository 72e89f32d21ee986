// The rows of every interface. A row is added with the member that it calls, and never moved or changed
// after.
#include "api/type_library.h"

#include <quorvel/email.h>
#include <quorvel/log.h>
#include <quorvel/mail_man.h>
#include <quorvel/outgoing.h>

namespace qv {

namespace {

using namespace quorvel;

// One member, one line.
// clang-format off
constexpr Row kLog[] = {
    row<&IQuorvelLog::LogError>(1, Kind::method, "LogError", "message", "Logs an error."),
    row<&IQuorvelLog::LogInfo>(2, Kind::method, "LogInfo", "message", "Logs a fact of progress."),
    row<&IQuorvelLog::GetInfoEntries>(3, Kind::method, "GetInfoEntries", "", "The info entries as text."),
    row<&IQuorvelLog::GetErrorEntries>(4, Kind::method, "GetErrorEntries", "", "The error entries as text."),
    row<&IQuorvelLog::get_LineFormat>(5, Kind::get, "LineFormat", "", "How an entry is laid out as text."),
    row<&IQuorvelLog::put_LineFormat>(5, Kind::put, "LineFormat", "value", "An empty format gives the default back."),
    row<&IQuorvelLog::get_Version>(6, Kind::get, "Version", "", "The version of the log."),
    row<&IQuorvelLog::LogError2>(7, Kind::method, "LogError2", "message, keyword", "Logs an error with a keyword."),
    row<&IQuorvelLog::LogInfo2>(8, Kind::method, "LogInfo2", "message, keyword", "Logs a fact with a keyword."),
    row<&IQuorvelLog::ClearLog>(9, Kind::method, "ClearLog", "", "Removes all entries; contexts stay open."),
    row<&IQuorvelLog::AppendToFile>(10, Kind::method, "AppendToFile", "filename", "Appends the log as text to a file; 0 when it cannot be written."),
    row<&IQuorvelLog::GetKeywordEntries>(11, Kind::method, "GetKeywordEntries", "keyword", "The entries with this keyword as text."),
    row<&IQuorvelLog::LogError3>(12, Kind::method, "LogError3", "msg, keyword, format", "Logs an error laid out by a named format."),
    row<&IQuorvelLog::LogInfo3>(13, Kind::method, "LogInfo3", "msg, keyword, format", "Logs a fact laid out by a named format."),
    row<&IQuorvelLog::SetNamedFormat>(14, Kind::method, "SetNamedFormat", "formatName, formatString", "Names a format; an empty one removes it."),
    row<&IQuorvelLog::GetNamedFormat>(15, Kind::method, "GetNamedFormat", "formatName", "The format of that name."),
    row<&IQuorvelLog::get_IsHTML>(16, Kind::get, "IsHTML", "", "1 when text is given as HTML."),
    row<&IQuorvelLog::put_IsHTML>(16, Kind::put, "IsHTML", "value", "1 gives text as HTML."),
    row<&IQuorvelLog::LogDebug3>(17, Kind::method, "LogDebug3", "msg, keyword, format", "Logs a debug entry laid out by a named format."),
    row<&IQuorvelLog::LogDebug2>(18, Kind::method, "LogDebug2", "message, keyword", "Logs a debug entry with a keyword."),
    row<&IQuorvelLog::LogDebug>(19, Kind::method, "LogDebug", "message", "Logs a debug entry."),
    row<&IQuorvelLog::GetDebugEntries>(20, Kind::method, "GetDebugEntries", "", "The debug entries as text."),
    row<&IQuorvelLog::get_ContinuationPrefix>(21, Kind::get, "ContinuationPrefix", "", "What stands before the further lines of an entry."),
    row<&IQuorvelLog::put_ContinuationPrefix>(21, Kind::put, "ContinuationPrefix", "value", "Sets what stands before the further lines of an entry."),
};

constexpr Row kLog2[] = {
    row<&IQuorvelLog2::EnterContext>(22, Kind::method, "EnterContext", "contextName, reportErrors", "Opens a context inside the current one."),
    row<&IQuorvelLog2::LeaveContext>(23, Kind::method, "LeaveContext", "", "Closes the current context."),
    row<&IQuorvelLog2::LogData>(24, Kind::method, "LogData", "dataTag, dataValue", "Records a name and a value."),
    row<&IQuorvelLog2::GetXml>(25, Kind::method, "GetXml", "includeTimestamps", "The log as XML."),
    row<&IQuorvelLog2::SaveXml>(26, Kind::method, "SaveXml", "includeTimestamps, filename", "Writes the log as XML to a file."),
    row<&IQuorvelLog2::get_UnusedProperty1>(27, Kind::get, "UnusedProperty1", "", "Kept for hosts that read it."),
    row<&IQuorvelLog2::put_UnusedProperty1>(27, Kind::put, "UnusedProperty1", "value", "Kept for hosts that set it."),
    row<&IQuorvelLog2::get_LastError>(28, Kind::get, "LastError", "", "The errors of the operation that ran last, one a line."),
    row<&IQuorvelLog2::UnusedMethod1>(29, Kind::method, "UnusedMethod1", "emailAddress", "Kept for hosts that call it; does nothing."),
    row<&IQuorvelLog2::get_ComponentName>(30, Kind::get, "ComponentName", "", "The name that the log carries."),
    row<&IQuorvelLog2::put_ComponentName>(30, Kind::put, "ComponentName", "value", "Sets the name that the log carries."),
    row<&IQuorvelLog2::get_HighWaterMark>(31, Kind::get, "HighWaterMark", "", "How many entries the log keeps."),
    row<&IQuorvelLog2::put_HighWaterMark>(31, Kind::put, "HighWaterMark", "value", "Sets how many entries the log keeps; 0 keeps all."),
    row<&IQuorvelLog2::CheckHighWater>(32, Kind::method, "CheckHighWater", "", "Drops the oldest entries above the mark."),
    row<&IQuorvelLog2::LogCommonError>(33, Kind::method, "LogCommonError", "msg", "Logs an error of the usual kind, as a server that cannot be reached."),
    row<&IQuorvelLog2::LogXml>(34, Kind::method, "LogXml", "data", "Records a piece of XML."),
    row<&IQuorvelLog2::LogDataLong>(35, Kind::method, "LogDataLong", "dataTag, value", "Records a name and a number."),
    row<&IQuorvelLog2::UseSystemEventLog>(36, Kind::method, "UseSystemEventLog", "", "Kept for hosts that call it; does nothing."),
};

constexpr Row kEmail[] = {
    row<&IQuorvelEmail::get_Body>(1, Kind::get, "Body", "", "The body, with CR LF line ends."),
    row<&IQuorvelEmail::put_Body>(1, Kind::put, "Body", "value", "Sets the body; of alternatives, the one of its type."),
    row<&IQuorvelEmail::get_ReplyTo>(2, Kind::get, "ReplyTo", "", "The Reply-To field."),
    row<&IQuorvelEmail::put_ReplyTo>(2, Kind::put, "ReplyTo", "value", "An empty value removes the field."),
    row<&IQuorvelEmail::get_Subject>(3, Kind::get, "Subject", "", "The subject, decoded."),
    row<&IQuorvelEmail::put_Subject>(3, Kind::put, "Subject", "value", "Decodes encoded words first."),
    row<&IQuorvelEmail::get_From>(4, Kind::get, "From", "", "The sender in full."),
    row<&IQuorvelEmail::put_From>(4, Kind::put, "From", "value", "Takes a name and an address; without an address nothing changes."),
    row<&IQuorvelEmail::AddTo>(5, Kind::method, "AddTo", "friendlyName, emailAddress", "Adds a To recipient; 0 when the address is empty."),
    row<&IQuorvelEmail::AddCC>(6, Kind::method, "AddCC", "friendlyName, emailAddress", "Adds a Cc recipient; 0 when the address is empty."),
    row<&IQuorvelEmail::AddBcc>(7, Kind::method, "AddBcc", "friendlyName, emailAddress", "Adds a Bcc recipient, who stands in no field; 0 when the address is empty."),
    row<&IQuorvelEmail::ClearTo>(8, Kind::method, "ClearTo", "", "Removes the To recipients and the field."),
    row<&IQuorvelEmail::ClearCC>(9, Kind::method, "ClearCC", "", "Removes the Cc recipients and the field."),
    row<&IQuorvelEmail::ClearBcc>(10, Kind::method, "ClearBcc", "", "Removes the Bcc recipients."),
    row<&IQuorvelEmail::get_NumTo>(11, Kind::get, "NumTo", "", "The number of To recipients."),
    row<&IQuorvelEmail::get_NumCC>(12, Kind::get, "NumCC", "", "The number of Cc recipients."),
    row<&IQuorvelEmail::get_NumBcc>(13, Kind::get, "NumBcc", "", "The number of Bcc recipients."),
    row<&IQuorvelEmail::GetTo>(14, Kind::method, "GetTo", "index", "A To recipient in full."),
    row<&IQuorvelEmail::GetCC>(15, Kind::method, "GetCC", "index", "A Cc recipient in full."),
    row<&IQuorvelEmail::GetBcc>(16, Kind::method, "GetBcc", "index", "A Bcc recipient in full."),
    row<&IQuorvelEmail::GetHeaderField>(17, Kind::method, "GetHeaderField", "fieldName", "The value of the first field of that name."),
    row<&IQuorvelEmail::get_RawHeader>(18, Kind::get, "RawHeader", "", "All header fields as they are written."),
    row<&IQuorvelEmail::put_RawHeader>(18, Kind::put, "RawHeader", "value", "Not supported; always fails."),
    row<&IQuorvelEmail::get_Mailer>(19, Kind::get, "Mailer", "", "The X-Mailer field."),
    row<&IQuorvelEmail::put_Mailer>(19, Kind::put, "Mailer", "value", "An empty value removes the field."),
    row<&IQuorvelEmail::AddMultipleTo>(20, Kind::method, "AddMultipleTo", "commaSeparatedAddresses", "Adds To recipients; 0 when none is valid."),
    row<&IQuorvelEmail::AddMultipleCC>(21, Kind::method, "AddMultipleCC", "commaSeparatedAddresses", "Adds Cc recipients; 0 when none is valid."),
    row<&IQuorvelEmail::AddMultipleBcc>(22, Kind::method, "AddMultipleBcc", "commaSeparatedAddresses", "Adds Bcc recipients; 0 when none is valid."),
    row<&IQuorvelEmail::GenerateFilename>(23, Kind::method, "GenerateFilename", "", "A file name for the message, ending .qve."),
    row<&IQuorvelEmail::get_NumAttachments>(24, Kind::get, "NumAttachments", "", "The number of attachments."),
    row<&IQuorvelEmail::AddFileAttachment>(25, Kind::method, "AddFileAttachment", "filename", "Attaches a file; gives the content type of its extension."),
    row<&IQuorvelEmail::DropAttachments>(26, Kind::method, "DropAttachments", "", "Removes all attachments."),
    row<&IQuorvelEmail::get_EmailDate>(27, Kind::get, "EmailDate", "", "The date of the message in universal time."),
    row<&IQuorvelEmail::put_EmailDate>(27, Kind::put, "EmailDate", "value", "Changes nothing; the date is read-only."),
    row<&IQuorvelEmail::GetAttachmentFilename>(28, Kind::method, "GetAttachmentFilename", "index", "An attachment's file name."),
    row<&IQuorvelEmail::SetAttachmentFilename>(29, Kind::method, "SetAttachmentFilename", "index, filename", "Names an attachment."),
    row<&IQuorvelEmail::DropSingleAttachment>(30, Kind::method, "DropSingleAttachment", "index", "Removes an attachment."),
    row<&IQuorvelEmail::GetAttachmentData>(31, Kind::method, "GetAttachmentData", "index", "An attachment's bytes."),
    row<&IQuorvelEmail::SaveAttachedFile>(32, Kind::method, "SaveAttachedFile", "index, directory", "Writes an attachment to a new file in a directory."),
    row<&IQuorvelEmail::SaveAllAttachments>(33, Kind::method, "SaveAllAttachments", "directory", "Saves every attachment; 1 when all were saved."),
    row<&IQuorvelEmail::GetAttachmentString>(34, Kind::method, "GetAttachmentString", "index", "An attachment as text without CRs, up to its first NUL."),
    row<&IQuorvelEmail::get_LocalDate>(36, Kind::get, "LocalDate", "", "The date of the message in local time."),
    row<&IQuorvelEmail::put_LocalDate>(36, Kind::put, "LocalDate", "value", "Not supported; always fails."),
    row<&IQuorvelEmail::get_FromName>(37, Kind::get, "FromName", "", "The sender's name."),
    row<&IQuorvelEmail::put_FromName>(37, Kind::put, "FromName", "value", "Sets the sender's name."),
    row<&IQuorvelEmail::get_FromAddress>(38, Kind::get, "FromAddress", "", "The sender's address."),
    row<&IQuorvelEmail::put_FromAddress>(38, Kind::put, "FromAddress", "value", "Sets the sender's address; without '@' nothing changes."),
    row<&IQuorvelEmail::GetAttachmentContentID>(44, Kind::method, "GetAttachmentContentID", "index", "An attachment's Content-ID field."),
    row<&IQuorvelEmail::GetAttachmentStringCrLf>(45, Kind::method, "GetAttachmentStringCrLf", "index", "An attachment as text with CR LF line ends."),
};

constexpr Row kEmail2[] = {
    row<&IQuorvelEmail2::GetMime>(48, Kind::method, "GetMime", "", "The whole message as MIME text."),
    row<&IQuorvelEmail2::NumHeaderFields>(49, Kind::method, "NumHeaderFields", "", "The number of header fields."),
    row<&IQuorvelEmail2::GetHeaderFieldName>(50, Kind::method, "GetHeaderFieldName", "index", "The name of a header field."),
    row<&IQuorvelEmail2::GetPlainTextBody>(51, Kind::method, "GetPlainTextBody", "", "The plain-text body, or an empty text."),
    row<&IQuorvelEmail2::GetHtmlBody>(52, Kind::method, "GetHtmlBody", "", "The HTML body, or an empty text."),
    row<&IQuorvelEmail2::GetAlternativeContentType>(53, Kind::method, "GetAlternativeContentType", "index", "The content type of an alternative body."),
    row<&IQuorvelEmail2::GetAlternativeBody>(54, Kind::method, "GetAlternativeBody", "index", "The text of an alternative body."),
    row<&IQuorvelEmail2::get_NumAlternatives>(55, Kind::get, "NumAlternatives", "", "The number of alternative bodies."),
    row<&IQuorvelEmail2::AddPlainTextAlternativeBody>(56, Kind::method, "AddPlainTextAlternativeBody", "Body", "Adds or replaces the plain-text alternative."),
    row<&IQuorvelEmail2::AddHtmlAlternativeBody>(57, Kind::method, "AddHtmlAlternativeBody", "Body", "Adds or replaces the HTML alternative."),
    row<&IQuorvelEmail2::AddRelatedContent>(66, Kind::method, "AddRelatedContent", "filename", "Adds a file that the HTML refers to; gives its Content-ID."),
    row<&IQuorvelEmail2::get_NumRelatedItems>(67, Kind::get, "NumRelatedItems", "", "The number of related items."),
    row<&IQuorvelEmail2::SaveRelatedItem>(68, Kind::method, "SaveRelatedItem", "index, directory", "Writes a related item to a new file in a directory."),
    row<&IQuorvelEmail2::SetHtmlBody>(69, Kind::method, "SetHtmlBody", "html", "Makes this HTML the body."),
    row<&IQuorvelEmail2::get_Uidl>(70, Kind::get, "Uidl", "", "The X-UIDL field."),
    row<&IQuorvelEmail2::AddHeaderField>(71, Kind::method, "AddHeaderField", "fieldName, fieldValue", "Sets a field, replacing those of its name; an empty value removes them."),
    row<&IQuorvelEmail2::get_OutlookDistList>(72, Kind::get, "OutlookDistList", "", "The address-book list that the message goes to."),
    row<&IQuorvelEmail2::put_OutlookDistList>(72, Kind::put, "OutlookDistList", "value", "An empty name removes it."),
    row<&IQuorvelEmail2::get_FileDistList>(73, Kind::get, "FileDistList", "", "The file of addresses that the message goes to."),
    row<&IQuorvelEmail2::put_FileDistList>(73, Kind::put, "FileDistList", "value", "An empty path removes it."),
    row<&IQuorvelEmail2::GetRelatedContentID>(74, Kind::method, "GetRelatedContentID", "index", "A related item's Content-ID field."),
    row<&IQuorvelEmail2::GetRelatedStringCrLf>(75, Kind::method, "GetRelatedStringCrLf", "index", "A related item as text with CR LF line ends."),
    row<&IQuorvelEmail2::GetRelatedFilename>(76, Kind::method, "GetRelatedFilename", "index", "A related item's file name; often none."),
    row<&IQuorvelEmail2::GetRelatedString>(77, Kind::method, "GetRelatedString", "index", "A related item as text without CRs, up to its first NUL."),
    row<&IQuorvelEmail2::GetRelatedData>(78, Kind::method, "GetRelatedData", "index", "A related item's bytes."),
    row<&IQuorvelEmail2::GetImpl>(79, Kind::method, "GetImpl", "", "The component's own number for this message."),
    row<&IQuorvelEmail2::GetFileContent>(84, Kind::method, "GetFileContent", "filename", "The content of a file."),
    row<&IQuorvelEmail2::get_Size>(89, Kind::get, "Size", "", "Bytes of the fields and bodies before any coding."),
    row<&IQuorvelEmail2::get_ReturnReceipt>(90, Kind::get, "ReturnReceipt", "", "1 when a receipt is asked for."),
    row<&IQuorvelEmail2::put_ReturnReceipt>(90, Kind::put, "ReturnReceipt", "value", "1 asks for a receipt, 0 does not."),
    row<&IQuorvelEmail2::AddFileAttachment2>(93, Kind::method, "AddFileAttachment2", "filename, contentType", "Attaches a file as this content type."),
};

constexpr Row kEmail3[] = {
    row<&IQuorvelEmail3::LoadMime>(95, Kind::method, "LoadMime", "mimeText", "Becomes the message of a MIME text."),
    row<&IQuorvelEmail3::LoadEml>(96, Kind::method, "LoadEml", "filename", "Becomes the message of a file."),
    row<&IQuorvelEmail3::SaveEml>(97, Kind::method, "SaveEml", "filename", "Writes the message as MIME text to a file."),
};

constexpr Row kMailMan[] = {
    row<&IQuorvelMailMan::get_SmtpHost>(1, Kind::get, "SmtpHost", "", "The SMTP server; \"localhost\" at first."),
    row<&IQuorvelMailMan::put_SmtpHost>(1, Kind::put, "SmtpHost", "value", "Sets the SMTP server."),
    row<&IQuorvelMailMan::SendEmail>(2, Kind::method, "SendEmail", "email", "Sends a message; 1 when the server took it for at least one recipient."),
    row<&IQuorvelMailMan::get_SmtpPort>(7, Kind::get, "SmtpPort", "", "The SMTP server's port; 25 at first."),
    row<&IQuorvelMailMan::put_SmtpPort>(7, Kind::put, "SmtpPort", "value", "Sets the SMTP server's port."),
    row<&IQuorvelMailMan::get_Version>(22, Kind::get, "Version", "", "The version of the component."),
    row<&IQuorvelMailMan::GetLog>(23, Kind::method, "GetLog", "", "The log of all operations."),
    row<&IQuorvelMailMan::QuickSend>(24, Kind::method, "QuickSend", "From, to, Subject, Body, smtpServer", "Sends a plain message through port 25 of a server."),
};

constexpr Row kMailMan2[] = {
    row<&IQuorvelMailMan2::get_SmtpUsername>(31, Kind::get, "SmtpUsername", "", "The name to log in with."),
    row<&IQuorvelMailMan2::put_SmtpUsername>(31, Kind::put, "SmtpUsername", "value", "Sets the name to log in with; without one there is no login."),
    row<&IQuorvelMailMan2::get_SmtpPassword>(32, Kind::get, "SmtpPassword", "", "The password to log in with."),
    row<&IQuorvelMailMan2::put_SmtpPassword>(32, Kind::put, "SmtpPassword", "value", "Sets the password to log in with."),
    row<&IQuorvelMailMan2::get_LogMailSentFilename>(34, Kind::get, "LogMailSentFilename", "", "The journal of sent messages."),
    row<&IQuorvelMailMan2::put_LogMailSentFilename>(34, Kind::put, "LogMailSentFilename", "value", "Sets the journal of sent messages; an empty name keeps none."),
    row<&IQuorvelMailMan2::VerifySmtpConnection>(46, Kind::method, "VerifySmtpConnection", "", "1 when the SMTP server greets."),
    row<&IQuorvelMailMan2::get_SmtpLoginDomain>(48, Kind::get, "SmtpLoginDomain", "", "The domain of an NTLM login."),
    row<&IQuorvelMailMan2::put_SmtpLoginDomain>(48, Kind::put, "SmtpLoginDomain", "value", "Sets the domain of an NTLM login."),
    row<&IQuorvelMailMan2::get_SmtpAuthMethod>(51, Kind::get, "SmtpAuthMethod", "", "The login method asked for."),
    row<&IQuorvelMailMan2::put_SmtpAuthMethod>(51, Kind::put, "SmtpAuthMethod", "value", "NTLM, CRAM-MD5, LOGIN or PLAIN; empty for the best offered."),
    row<&IQuorvelMailMan2::get_SendIndividual>(52, Kind::get, "SendIndividual", "", "1 when each address of a list gets its own message."),
    row<&IQuorvelMailMan2::put_SendIndividual>(52, Kind::put, "SendIndividual", "value", "0 sends one message to many addresses of a list."),
    row<&IQuorvelMailMan2::SaveXmlLog>(57, Kind::method, "SaveXmlLog", "filename", "Writes the log as XML, without timestamps."),
};

constexpr Row kMailMan3[] = {
    row<&IQuorvelMailMan3::get_ConnectTimeout>(58, Kind::get, "ConnectTimeout", "", "Seconds to wait for a connection; 0 as long as it takes."),
    row<&IQuorvelMailMan3::put_ConnectTimeout>(58, Kind::put, "ConnectTimeout", "value", "Less than 0 is stored as 0."),
    row<&IQuorvelMailMan3::get_ReadTimeout>(59, Kind::get, "ReadTimeout", "", "Seconds to wait for each piece of an answer; 0 as long as it takes."),
    row<&IQuorvelMailMan3::put_ReadTimeout>(59, Kind::put, "ReadTimeout", "value", "Less than 0 is stored as 0."),
};

constexpr Row kOutgoing[] = {
    row<&IQuorvelOutgoing::MessageProc>(1, Kind::method, "MessageProc", "senderID, messageID, param1, param2", "Called by the component: how far the work has come, in percent (param1)."),
};
// clang-format on

constexpr InterfaceRows kInterfaces[] = {
    {"IQuorvelLog", "", kLog},
    {"IQuorvelLog2", "IQuorvelLog", kLog2},
    {"IQuorvelEmail", "", kEmail},
    {"IQuorvelEmail2", "IQuorvelEmail", kEmail2},
    {"IQuorvelEmail3", "IQuorvelEmail2", kEmail3},
    {"IQuorvelMailMan", "", kMailMan},
    {"IQuorvelMailMan2", "IQuorvelMailMan", kMailMan2},
    {"IQuorvelMailMan3", "IQuorvelMailMan2", kMailMan3},
    {"IQuorvelOutgoing", "", kOutgoing},
};

}  // namespace

std::span<const InterfaceRows> typeLibrary() noexcept {
  return kInterfaces;
}

}  // namespace qv
