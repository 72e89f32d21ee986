// The XML form of a tree of entities.
//
//     <mime_message>
//     <header>
//     <subject>Hello &amp; bye</subject>
//     <content-type charset="us-ascii">
//     text/plain
//     </content-type>
//     </header>
//     <body>
//     Hello
//     </body>
//     </mime_message>
//
// The body of a multipart entity holds a "subpart" element for each part, with a "mime_message" in it.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "core/arrays.h"
#include "core/log.h"
#include "core/string_buffer.h"
#include "core/xml_tree.h"
#include "mime/mime_message.h"

namespace qv {

inline constexpr std::string_view kMessageElement = "mime_message";

// Writing. Texts are not converted: the document has the bytes of the fields and bodies. Whatever a message
// holds, the document reads back as the elements that were written, and none that were not. Linear in the
// tree at any depth, without recursion.

/// Appends the "mime_message" element of an entity and all below it. An entity without a field writes
/// nothing, nor does anything below it.
///
/// A body is written in its transfer coding, as it is where it is one line without markup, else in a CDATA
/// section. The text of a multipart entity itself is not written.
void writeEntityXml(const MimeMessage2& entity, StringBuffer& out);

/// Appends the "header" element and gives the number of field elements in it. A field is an element named
/// like it in lower case; its parameters are attributes, its main value is the content. "From" and its kin
/// hold "address" elements (see `Rfc822Address::writeXml`), "Received" has its clauses as attributes.
/// Attributes are made of any value with a ';', so that "a; b c=d" is the content "a; b" and an attribute c.
std::size_t writeHeaderXml(const MimeMessage2& entity, StringBuffer& out);

// Reading. Nothing is rejected but an element without "header" or "body". Entities deeper than kMaxNesting
// are left out, with a debug entry in the log. `log` may be null; the entities keep it.

/// Makes an entity, and those below it, of a "mime_message" element; null when it has no "header" or no
/// "body". Field names are the tags. Encoded words in fields are decoded, as in a message text.
std::unique_ptr<MimeMessage2> readEntityXml(const TreeNode& element, CLog* log);

/// Reads a document and appends the entity of each outermost element named `tag`, kMessageElement when that
/// is empty, in document order; a debug entry tells how many were rejected. False when the text holds no
/// element at all.
bool loadMessagesFromXml(std::string_view text, std::string_view tag, CLog* log,
                         ExtPtrArray<MimeMessage2>& out);

}  // namespace qv
