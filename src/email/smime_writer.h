// Signing and encrypting an e-mail for sending (RFC 5751).
#pragma once

#include <memory>

#include "cert/login_info.h"
#include "core/log.h"
#include "email/email.h"

namespace qv {

// Each makes a new message of the text of an e-mail, which stays as it is and does not have its "QVX-" and
// Bcc fields in it. Null, with the reason in the log, when it cannot. `login` is handed to the signing
// service when `useService` is set; without such a service everything is done here. `log` may be null; the
// new e-mail keeps it.

/// "multipart/signed": the content, readable by everybody, and a detached signature over it. Of the e-mail's
/// fields the outer message has the subject, the sender and the recipients; a text without parts keeps the
/// rest inside what is signed.
std::unique_ptr<Email> createMultipartSigned(const Email& email, bool useService, const LoginInfo& login,
                                             CLog* log);
/// The content inside its signature, under the header of the e-mail.
std::unique_ptr<Email> createSignedData(const Email& email, bool useService, const LoginInfo& login,
                                        CLog* log);
/// Encrypted for one recipient, the first To address unless the e-mail says whose certificate to use, under
/// the header of the e-mail. The other recipients cannot read it.
std::unique_ptr<Email> createPkcs7Mime(const Email& email, bool useService, const LoginInfo& login,
                                       CLog* log);

/// Signs and encrypts an e-mail as it asks for. Gives the message to send in its place; null when that is the
/// e-mail itself, or when it `failed`, the reason being logged. An e-mail must have all that it is sent with
/// before: what is signed is what is sent. Throws nothing but what runs out of memory.
std::unique_ptr<Email> prepareSecurity(Email& email, bool useService, const LoginInfo& login, CLog* log,
                                       bool& failed);

}  // namespace qv
