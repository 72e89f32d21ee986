// The structured values of the content fields (RFC 2045 5, RFC 2183).
#pragma once

#include "core/string_buffer.h"
#include "mime/mime_header.h"

namespace qv {

/// What Content-Type, Content-Disposition, Content-ID and Content-Transfer-Encoding say.
struct ContentFields {
  StringBuffer contentType;  ///< main value of Content-Type, lower case
  StringBuffer name;         ///< parameters of Content-Type, lower case but for boundary
  StringBuffer protocol;
  StringBuffer micalg;
  StringBuffer charset;   ///< empty for "default"
  StringBuffer boundary;  ///< as written
  StringBuffer smimeType;
  StringBuffer type;
  StringBuffer disposition;       ///< main value of Content-Disposition, lower case
  StringBuffer filename;          ///< as written
  StringBuffer contentId;         ///< with its angle brackets
  StringBuffer transferEncoding;  ///< as written
};

/// Reads them from a header. A missing field leaves its values empty; nothing fails.
ContentFields readContentFields(const MimeHeader& header);

/// What a Content-Type field is made of; empty parameters are left out.
struct ContentTypeParams {
  StringBuffer type{};
  StringBuffer name{};
  StringBuffer protocol{};
  StringBuffer micalg{};
  StringBuffer charset{};  ///< "us-ascii" when empty; used for "text" and "message" types only
  StringBuffer boundary{};
  StringBuffer smimeType{};
  StringBuffer relatedType{};  ///< the `type` parameter
};

/// The parameters without what could break one out of its place in the field: quotes, line breaks and NULs,
/// and in micalg, which is written without quotes, white space and ';'. An empty charset becomes "us-ascii".
ContentTypeParams safeContentType(ContentTypeParams params);

/// The value of a Content-Type field, made of `safeContentType(params)`: the type, then its parameters in
/// their fixed order, each of boundary, name, protocol, micalg and smime-type on a line of its own.
StringBuffer formatContentType(const ContentTypeParams& params);

}  // namespace qv
