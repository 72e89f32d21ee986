// The rows of every interface. A row is added with the member that it calls, and never moved or changed
// after.
#include "api/type_library.h"

#include <quorvel/certificate.h>
#include <quorvel/email.h>
#include <quorvel/email_bundle.h>
#include <quorvel/log.h>
#include <quorvel/mail_man.h>
#include <quorvel/outgoing.h>
#include <quorvel/string_array.h>
#include <quorvel/zip.h>

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
    row<&IQuorvelEmail::AppendToZip>(35, Kind::method, "AppendToZip", "iZip4", "Stores the message in an archive; 1 on success."),
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
    row<&IQuorvelEmail2::GetXml>(46, Kind::method, "GetXml", "", "The message as an XML element."),
    row<&IQuorvelEmail2::SaveXml>(47, Kind::method, "SaveXml", "filename", "Writes the message as an XML document to a file."),
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
    row<&IQuorvelEmail2::get_ReceivedEncrypted>(58, Kind::get, "ReceivedEncrypted", "", "1 when an encrypted layer was met."),
    row<&IQuorvelEmail2::get_ReceivedSigned>(59, Kind::get, "ReceivedSigned", "", "1 when a signed layer was met."),
    row<&IQuorvelEmail2::get_SignedBy>(60, Kind::get, "SignedBy", "", "The first signer's name, as the certificate has it."),
    row<&IQuorvelEmail2::get_SignaturesValid>(61, Kind::get, "SignaturesValid", "", "0 when a signature did not fit."),
    row<&IQuorvelEmail2::get_Decrypted>(62, Kind::get, "Decrypted", "", "0 when a layer could not be decrypted."),
    row<&IQuorvelEmail2::get_EncryptedBy>(63, Kind::get, "EncryptedBy", "", "The name in the certificate whose key opened the first layer."),
    row<&IQuorvelEmail2::get_SendSigned>(64, Kind::get, "SendSigned", "", "1 when the message is to be signed."),
    row<&IQuorvelEmail2::put_SendSigned>(64, Kind::put, "SendSigned", "value", "1 signs the message when it is sent."),
    row<&IQuorvelEmail2::get_SendEncrypted>(65, Kind::get, "SendEncrypted", "", "1 when the message is to be encrypted."),
    row<&IQuorvelEmail2::put_SendEncrypted>(65, Kind::put, "SendEncrypted", "value", "1 encrypts the message when it is sent."),
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
    row<&IQuorvelEmail2::GetEncryptCert>(80, Kind::method, "GetEncryptCert", "", "The certificate set for encrypting."),
    row<&IQuorvelEmail2::SetEncryptCert>(81, Kind::method, "SetEncryptCert", "cert", "Encrypts for this certificate."),
    row<&IQuorvelEmail2::GetSigningCert>(82, Kind::method, "GetSigningCert", "", "The certificate set for signing."),
    row<&IQuorvelEmail2::SetSigningCert>(83, Kind::method, "SetSigningCert", "cert", "Signs with this certificate."),
};
    row<&IQuorvelEmail2::SetAlgorithmRC2>(85, Kind::method, "SetAlgorithmRC2", "", "Encrypts with RC2."),
    row<&IQuorvelEmail2::SetAlgorithmRC4>(86, Kind::method, "SetAlgorithmRC4", "", "Encrypts with RC4, as at first."),
    row<&IQuorvelEmail2::SetAlgorithmDES>(87, Kind::method, "SetAlgorithmDES", "", "Encrypts with DES."),
    row<&IQuorvelEmail2::SetAlgorithm3DES>(88, Kind::method, "SetAlgorithm3DES", "", "Encrypts with triple DES."),

constexpr Row kEmail3[] = {
    row<&IQuorvelEmail3::LoadMime>(95, Kind::method, "LoadMime", "mimeText", "Becomes the message of a MIME text."),
    row<&IQuorvelEmail3::LoadEml>(96, Kind::method, "LoadEml", "filename", "Becomes the message of a file."),
    row<&IQuorvelEmail3::SaveEml>(97, Kind::method, "SaveEml", "filename", "Writes the message as MIME text to a file."),
    row<&IQuorvelEmail3::get_ServerUidl>(100, Kind::get, "ServerUidl", "", "The unique id under which the server listed the message."),
};

constexpr Row kStringArray[] = {
    row<&IQvStringArray::get_Count>(1, Kind::get, "Count", "", "The number of texts."),
    row<&IQvStringArray::Append>(2, Kind::method, "Append", "str", "Adds a text at the end."),
    row<&IQvStringArray::Clear>(3, Kind::method, "Clear", "", "Removes all texts."),
    row<&IQvStringArray::Contains>(4, Kind::method, "Contains", "str", "1 when the text is there."),
    row<&IQuorvelEmail3::get_WhollySigned>(98, Kind::get, "WhollySigned", "", "1 when a good signature covers the whole content."),
    row<&IQuorvelEmail3::get_WhollyEncrypted>(99, Kind::get, "WhollyEncrypted", "", "1 when the whole content came encrypted and was opened."),
    row<&IQvStringArray::Remove>(5, Kind::method, "Remove", "str", "Removes every occurrence of a text."),
    row<&IQvStringArray::GetString>(6, Kind::method, "GetString", "index", "The text at an index; empty when out of range."),
    row<&IQvStringArray::Serialize>(7, Kind::method, "Serialize", "", "The whole array as one line of text."),
constexpr Row kCert[] = {
    row<&IQuorvelCert::get_Version>(1, Kind::get, "Version", "", "The version of the component."),
    row<&IQuorvelCert::GetLog>(2, Kind::method, "GetLog", "", "This object's own log."),
    row<&IQuorvelCert::get_ForSecureEmail>(3, Kind::get, "ForSecureEmail", "", "1 when it says that it is for secure mail."),
    row<&IQuorvelCert::get_ForServerAuthentication>(4, Kind::get, "ForServerAuthentication", "", "1 when it says that it is for servers."),
    row<&IQuorvelCert::get_ForClientAuthentication>(5, Kind::get, "ForClientAuthentication", "", "1 when it says that it is for clients."),
    row<&IQuorvelCert::get_ForCodeSigning>(6, Kind::get, "ForCodeSigning", "", "1 when it says that it is for signing code."),
    row<&IQuorvelCert::get_ForTimeStamping>(7, Kind::get, "ForTimeStamping", "", "1 when it says that it is for time stamps."),
    row<&IQuorvelCert::get_SerialNumber>(8, Kind::get, "SerialNumber", "", "The serial number in hexadecimal."),
    row<&IQuorvelCert::get_ValidFrom>(9, Kind::get, "ValidFrom", "", "When its validity begins, in universal time."),
    row<&IQuorvelCert::get_ValidTo>(10, Kind::get, "ValidTo", "", "When its validity ends, in universal time."),
    row<&IQuorvelCert::get_SubjectCN>(11, Kind::get, "SubjectCN", "", "The subject's common name."),
    row<&IQuorvelCert::get_SubjectOU>(12, Kind::get, "SubjectOU", "", "The subject's organisational unit."),
    row<&IQuorvelCert::get_SubjectO>(13, Kind::get, "SubjectO", "", "The subject's organisation."),
    row<&IQuorvelCert::get_SubjectL>(14, Kind::get, "SubjectL", "", "The subject's locality."),
    row<&IQuorvelCert::get_SubjectS>(15, Kind::get, "SubjectS", "", "The subject's state."),
    row<&IQuorvelCert::get_SubjectC>(16, Kind::get, "SubjectC", "", "The subject's country."),
    row<&IQuorvelCert::get_SubjectE>(17, Kind::get, "SubjectE", "", "The subject's e-mail address."),
    row<&IQuorvelCert::get_IssuerCN>(18, Kind::get, "IssuerCN", "", "The issuer's common name."),
    row<&IQuorvelCert::get_IssuerOU>(19, Kind::get, "IssuerOU", "", "The issuer's organisational unit."),
    row<&IQuorvelCert::get_IssuerO>(20, Kind::get, "IssuerO", "", "The issuer's organisation."),
    row<&IQuorvelCert::get_IssuerL>(21, Kind::get, "IssuerL", "", "The issuer's locality."),
    row<&IQuorvelCert::get_IssuerS>(22, Kind::get, "IssuerS", "", "The issuer's state."),
    row<&IQuorvelCert::get_IssuerC>(23, Kind::get, "IssuerC", "", "The issuer's country."),
    row<&IQuorvelCert::get_IssuerE>(24, Kind::get, "IssuerE", "", "The issuer's e-mail address."),
    row<&IQuorvelCert::GetImpl>(25, Kind::method, "GetImpl", "", "The component's own number for this certificate."),
    row<&IQuorvelCert::GetEncoded>(26, Kind::method, "GetEncoded", "", "The certificate as base64."),
    row<&IQuorvelCert::SetFromEncoded>(27, Kind::method, "SetFromEncoded", "encodedCert", "Becomes the certificate of a base64 text."),
    row<&IQuorvelCert::SaveXmlLog>(28, Kind::method, "SaveXmlLog", "filename", "Writes this object's log as XML."),
    row<&IQuorvelCert::LoadFromFile>(29, Kind::method, "LoadFromFile", "filename", "Becomes the certificate of a file."),
    row<&IQuorvelCert::LoadFromBase64>(30, Kind::method, "LoadFromBase64", "encodedCert", "Becomes the certificate of a base64 or PEM text."),
    row<&IQuorvelCert::LoadFromBinary>(31, Kind::method, "LoadFromBinary", "binaryBlob", "Becomes the certificate of these bytes."),
};

    row<&IQvStringArray::AppendSerialized>(8, Kind::method, "AppendSerialized", "encodedStr", "Appends the texts of a serialized array."),
    row<&IQvStringArray::get_Unique>(9, Kind::get, "Unique", "", "1 when a text is stored once only."),
    row<&IQvStringArray::put_Unique>(9, Kind::put, "Unique", "value", "1 stores no text that is there already."),
    row<&IQvStringArray::get_Trim>(10, Kind::get, "Trim", "", "1 when texts are stored without white space at their ends."),
    row<&IQvStringArray::put_Trim>(10, Kind::put, "Trim", "value", "1 stores texts without white space at their ends."),
    row<&IQvStringArray::get_Crlf>(11, Kind::get, "Crlf", "", "1 when line ends are stored as CR LF."),
    row<&IQvStringArray::put_Crlf>(11, Kind::put, "Crlf", "value", "1 stores line ends as CR LF, 0 after it as LF."),
    row<&IQvStringArray::Prepend>(12, Kind::method, "Prepend", "str", "Adds a text at the front."),
    row<&IQvStringArray::Find>(13, Kind::method, "Find", "str, beginIndex", "The first place of a text at or behind an index; -1 when there is none."),
    row<&IQvStringArray::InsertAt>(14, Kind::method, "InsertAt", "index, str", "Adds a text before that at an index."),
    row<&IQvStringArray::RemoveAt>(15, Kind::method, "RemoveAt", "index", "Removes the text at an index."),
    row<&IQvStringArray::LastString>(16, Kind::method, "LastString", "", "The last text."),
    row<&IQvStringArray::Pop>(17, Kind::method, "Pop", "", "Removes the last text and gives it."),
};

constexpr Row kBundle[] = {
    row<&IQuorvelEmailBundle::get_MessageCount>(1, Kind::get, "MessageCount", "", "The number of e-mails."),
    row<&IQuorvelEmailBundle::AddEmail>(2, Kind::method, "AddEmail", "email", "Appends an e-mail, which is shared with the host."),
    row<&IQuorvelEmailBundle::GetEmail>(3, Kind::method, "GetEmail", "index", "The e-mail at an index; none when out of range."),
    row<&IQuorvelEmailBundle::RemoveEmail>(4, Kind::method, "RemoveEmail", "email", "Removes the first entry that holds this very e-mail; 0 when none does."),
    row<&IQuorvelEmailBundle::AppendToZip>(5, Kind::method, "AppendToZip", "zip", "Stores every e-mail that is not there yet in an archive."),
    row<&IQuorvelEmailBundle::AddFromZip>(6, Kind::method, "AddFromZip", "zip", "Appends the e-mails of an archive."),
};

constexpr Row kZip[] = {
    row<&IQuorvelZip4::Open>(1, Kind::method, "Open", "path", "Opens an archive; 1 on success."),
    row<&IQuorvelZip4::Create>(2, Kind::method, "Create", "path", "Begins a new archive; 1 on success."),
    row<&IQuorvelZip4::Close>(3, Kind::method, "Close", "", "Writes what was appended and closes the archive."),
    row<&IQuorvelZip4::get_NumEntries>(4, Kind::get, "NumEntries", "", "The number of entries."),
    row<&IQuorvelZip4::GetEntryByIndex>(5, Kind::method, "GetEntryByIndex", "index", "The entry at an index; none when out of range."),
    row<&IQuorvelZip4::AppendEmail>(6, Kind::method, "AppendEmail", "email", "Stores an e-mail as a message file; gives its entry."),
};

constexpr Row kZipEntry[] = {
    row<&IQuorvelZipEntry4::GetEmail>(1, Kind::method, "GetEmail", "", "A new e-mail made of the entry; none when it is no message."),
    row<&IQuorvelZipEntry4::get_ZipFile>(2, Kind::get, "ZipFile", "", "The archive that the entry belongs to."),
};

constexpr Row kBundle2[] = {
    row<&IQuorvelEmailBundle2::GetXml>(7, Kind::method, "GetXml", "", "The e-mails as one XML element."),
    row<&IQuorvelEmailBundle2::SaveXml>(8, Kind::method, "SaveXml", "filename", "Writes the e-mails as an XML document to a file."),
    row<&IQuorvelEmailBundle2::GetUidls>(9, Kind::method, "GetUidls", "", "The Uidl of each e-mail that has one."),
};

constexpr Row kMailMan[] = {
    row<&IQuorvelMailMan::get_SmtpHost>(1, Kind::get, "SmtpHost", "", "The SMTP server; \"localhost\" at first."),
    row<&IQuorvelMailMan::put_SmtpHost>(1, Kind::put, "SmtpHost", "value", "Sets the SMTP server."),
    row<&IQuorvelMailMan::SendEmail>(2, Kind::method, "SendEmail", "email", "Sends a message; 1 when the server took it for at least one recipient."),
    row<&IQuorvelMailMan::get_MailHost>(4, Kind::get, "MailHost", "", "The POP3 server."),
    row<&IQuorvelMailMan::put_MailHost>(4, Kind::put, "MailHost", "value", "Sets the POP3 server."),
    row<&IQuorvelMailMan::get_PopUsername>(5, Kind::get, "PopUsername", "", "The name of the mailbox."),
    row<&IQuorvelMailMan::put_PopUsername>(5, Kind::put, "PopUsername", "value", "Sets the name of the mailbox."),
    row<&IQuorvelMailMan::get_PopPassword>(6, Kind::get, "PopPassword", "", "The password of the mailbox."),
    row<&IQuorvelMailMan::put_PopPassword>(6, Kind::put, "PopPassword", "value", "Sets the password of the mailbox."),
    row<&IQuorvelMailMan::get_SmtpPort>(7, Kind::get, "SmtpPort", "", "The SMTP server's port; 25 at first."),
    row<&IQuorvelMailMan::put_SmtpPort>(7, Kind::put, "SmtpPort", "value", "Sets the SMTP server's port."),
    row<&IQuorvelMailMan::get_MailPort>(8, Kind::get, "MailPort", "", "The POP3 server's port; 110 at first."),
    row<&IQuorvelMailMan::put_MailPort>(8, Kind::put, "MailPort", "value", "Sets the POP3 server's port."),
    row<&IQuorvelMailMan::get_MaxCount>(9, Kind::get, "MaxCount", "", "How many messages are downloaded at most; 999999 at first."),
    row<&IQuorvelMailMan::put_MaxCount>(9, Kind::put, "MaxCount", "value", "Sets how many messages are downloaded at most."),
    row<&IQuorvelMailMan::get_SizeLimit>(10, Kind::get, "SizeLimit", "", "Messages listed as larger are not downloaded; 999999999 at first."),
    row<&IQuorvelMailMan::put_SizeLimit>(10, Kind::put, "SizeLimit", "value", "Sets the size in bytes; listings of unique ids tell none."),
    row<&IQuorvelMailMan::CopyMail>(11, Kind::method, "CopyMail", "", "The messages on the POP3 server that the filter keeps."),
    row<&IQuorvelMailMan::TransferMail>(12, Kind::method, "TransferMail", "", "The same, and deletes them from the server."),
    row<&IQuorvelMailMan::CheckMail>(14, Kind::method, "CheckMail", "", "The number of messages on the server; -1 when it cannot be told."),
    row<&IQuorvelMailMan::get_Version>(22, Kind::get, "Version", "", "The version of the component."),
    row<&IQuorvelMailMan::GetLog>(23, Kind::method, "GetLog", "", "The log of all operations."),
    row<&IQuorvelMailMan::QuickSend>(24, Kind::method, "QuickSend", "From, to, Subject, Body, smtpServer", "Sends a plain message through port 25 of a server."),
};

constexpr Row kMailMan2[] = {
    row<&IQuorvelMailMan2::LoadMbx>(25, Kind::method, "LoadMbx", "mbxFileName", "The messages of a mailbox file, the last one first."),
    row<&IQuorvelMailMan2::get_Filter>(27, Kind::get, "Filter", "", "Which messages the receiving operations keep."),
    row<&IQuorvelMailMan2::put_Filter>(27, Kind::put, "Filter", "value", "Sets the filter expression; empty keeps all."),
    row<&IQuorvelMailMan2::LoadXmlFile>(28, Kind::method, "LoadXmlFile", "folderPath", "The e-mails of an XML file, the last one first."),
    row<&IQuorvelMailMan2::LoadXmlString>(29, Kind::method, "LoadXmlString", "xmlString", "The e-mails of an XML text, the last one first."),
    row<&IQuorvelMailMan2::get_SmtpUsername>(31, Kind::get, "SmtpUsername", "", "The name to log in with."),
    row<&IQuorvelMailMan2::put_SmtpUsername>(31, Kind::put, "SmtpUsername", "value", "Sets the name to log in with; without one there is no login."),
    row<&IQuorvelMailMan2::get_SmtpPassword>(32, Kind::get, "SmtpPassword", "", "The password to log in with."),
    row<&IQuorvelMailMan2::put_SmtpPassword>(32, Kind::put, "SmtpPassword", "value", "Sets the password to log in with."),
    row<&IQuorvelMailMan2::get_LogMailSentFilename>(34, Kind::get, "LogMailSentFilename", "", "The journal of sent messages."),
    row<&IQuorvelMailMan2::put_LogMailSentFilename>(34, Kind::put, "LogMailSentFilename", "value", "Sets the journal of sent messages; an empty name keeps none."),
    row<&IQuorvelMailMan2::get_LogMailReceivedFilename>(35, Kind::get, "LogMailReceivedFilename", "", "The journal of received messages."),
    row<&IQuorvelMailMan2::put_LogMailReceivedFilename>(35, Kind::put, "LogMailReceivedFilename", "value", "Sets the journal of received messages; an empty name keeps none."),
    row<&IQuorvelMailMan2::GetAllHeaders>(36, Kind::method, "GetAllHeaders", "numBodyLines", "The headers of all messages, with 1 to 10000 lines of each body."),
    row<&IQuorvelMailMan2::DeleteEmail>(37, Kind::method, "DeleteEmail", "email", "Deletes from the server the message that an e-mail came from."),
    row<&IQuorvelMailMan2::GetHeaders>(38, Kind::method, "GetHeaders", "numBodyLines, fromIndex, toIndex", "The headers of the messages at these positions, counted from 0."),
    row<&IQuorvelMailMan2::GetFullEmail>(39, Kind::method, "GetFullEmail", "email", "The whole message of which an e-mail holds the header."),
    row<&IQuorvelMailMan2::DeleteBundle>(40, Kind::method, "DeleteBundle", "bundle", "Deletes from the server the messages that the e-mails came from."),
    row<&IQuorvelMailMan2::DeleteMultiple>(41, Kind::method, "DeleteMultiple", "uidlArray", "Deletes the messages with these unique ids."),
    row<&IQuorvelMailMan2::FetchEmail>(42, Kind::method, "FetchEmail", "Uidl", "The message with this unique id."),
    row<&IQuorvelMailMan2::FetchMultiple>(43, Kind::method, "FetchMultiple", "uidlArray", "The messages with these unique ids, in server order."),
    row<&IQuorvelMailMan2::VerifyPopConnection>(44, Kind::method, "VerifyPopConnection", "", "1 when the POP3 server greets."),
    row<&IQuorvelMailMan2::VerifyPopLogin>(45, Kind::method, "VerifyPopLogin", "", "1 when the POP3 server takes the login."),
    row<&IQuorvelMailMan2::VerifySmtpConnection>(46, Kind::method, "VerifySmtpConnection", "", "1 when the SMTP server greets."),
    row<&IQuorvelMailMan2::VerifySmtpLogin>(47, Kind::method, "VerifySmtpLogin", "", "1 when the SMTP server takes the login."),
    row<&IQuorvelMailMan2::get_SmtpLoginDomain>(48, Kind::get, "SmtpLoginDomain", "", "The domain of an NTLM login."),
    row<&IQuorvelMailMan2::put_SmtpLoginDomain>(48, Kind::put, "SmtpLoginDomain", "value", "Sets the domain of an NTLM login."),
    row<&IQuorvelMailMan2::get_SmtpAuthMethod>(51, Kind::get, "SmtpAuthMethod", "", "The login method asked for."),
    row<&IQuorvelMailMan2::put_SmtpAuthMethod>(51, Kind::put, "SmtpAuthMethod", "value", "NTLM, CRAM-MD5, LOGIN or PLAIN; empty for the best offered."),
    row<&IQuorvelMailMan2::get_SendIndividual>(52, Kind::get, "SendIndividual", "", "1 when each address of a list gets its own message."),
    row<&IQuorvelMailMan2::put_SendIndividual>(52, Kind::put, "SendIndividual", "value", "0 sends one message to many addresses of a list."),
    row<&IQuorvelMailMan2::get_AutoSaveCerts>(55, Kind::get, "AutoSaveCerts", "", "1 when certificates that come with mail are kept, as at first."),
    row<&IQuorvelMailMan2::put_AutoSaveCerts>(55, Kind::put, "AutoSaveCerts", "value", "0 keeps no certificates that come with mail."),
    row<&IQuorvelMailMan2::GetUidls>(56, Kind::method, "GetUidls", "", "The unique ids of all messages, in server order."),
    row<&IQuorvelMailMan2::SaveXmlLog>(57, Kind::method, "SaveXmlLog", "filename", "Writes the log as XML, without timestamps."),
};

constexpr Row kMailMan3[] = {
    row<&IQuorvelMailMan3::get_ConnectTimeout>(58, Kind::get, "ConnectTimeout", "", "Seconds to wait for a connection; 0 as long as it takes."),
    row<&IQuorvelMailMan3::put_ConnectTimeout>(58, Kind::put, "ConnectTimeout", "value", "Less than 0 is stored as 0."),
    row<&IQuorvelMailMan3::get_ReadTimeout>(59, Kind::get, "ReadTimeout", "", "Seconds to wait for each piece of an answer; 0 as long as it takes."),
    row<&IQuorvelMailMan3::put_ReadTimeout>(59, Kind::put, "ReadTimeout", "value", "Less than 0 is stored as 0."),
    row<&IQuorvelMailMan3::MatchFilter>(60, Kind::method, "MatchFilter", "email", "1 when the filter keeps this e-mail."),
    row<&IQuorvelMailMan3::ExplainFilter>(61, Kind::method, "ExplainFilter", "email", "How the filter comes to its result for this e-mail."),
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
    {"IQvStringArray", "", kStringArray},
    {"IQuorvelEmailBundle", "", kBundle},
    {"IQuorvelEmailBundle2", "IQuorvelEmailBundle", kBundle2},
    {"IQuorvelZip4", "", kZip},
    {"IQuorvelZipEntry4", "", kZipEntry},
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
    {"IQuorvelCert", "", kCert},
