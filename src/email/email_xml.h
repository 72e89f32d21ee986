// E-mails as XML documents.
#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string_view>

#include "core/log.h"
#include "core/string_buffer.h"
#include "email/email.h"

namespace qv {

// An e-mail's XML form is that of its message text (mime/mime_xml.h), "QVX-" fields included: what a message
// text does not carry, it does not either (the Bcc list, replace patterns, certificates). Texts are not
// converted; the documents name the charset that their bytes are most likely in. Linear in the text, at any
// nesting.

/// Appends the "mime_message" element of an e-mail; nothing when it has no header field.
void writeEmailXml(const Email& email, StringBuffer& out);

/// The document of one e-mail, to be saved: the prolog and the element, with LF line ends throughout. The
/// encoding it names is "utf-8" when the e-mail was received with UTF-8 encoded words, else its charset;
/// "ISO-8859-1" when that is empty, "us-ascii" or no charset name.
StringBuffer emailXmlDocument(const Email& email);

/// Appends the "email_bundle" element with those of the e-mails, in order. No pointer is null.
void writeBundleXml(std::span<const Email* const> emails, StringBuffer& out);

/// The document of several e-mails, to be saved: the prolog and the element; line ends stay as they are. The
/// encoding is that of the first e-mail with a charset other than "us-ascii", "iso-8859-1" and "utf-8", or
/// "utf-8" when one with UTF-8 encoded words comes first; "ISO-8859-1" when there is neither.
StringBuffer bundleXmlDocument(std::span<const Email* const> emails);

/// Reads a document and gives the e-mail of each outermost "mime_message" element to `take`, in document
/// order, after it has called `begin`, if any. Control bytes are passed over. Signed and encrypted layers are
/// opened, certificates met there are saved, and "QVX-" fields stay: documents are the host's own. False when
/// the text holds no element at all. `log` may be null; the e-mails keep it.
bool readEmailsXml(std::string_view text, CLog* log, const std::function<void(std::unique_ptr<Email>)>& take,
                   const std::function<void()>& begin = nullptr);

}  // namespace qv
