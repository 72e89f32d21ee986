// Quoted-printable (RFC 2045 6.7) by a kernel of choice.
#pragma once

#include <string_view>

#include "core/binary_data.h"
#include "core/string_buffer.h"
#include "mime/quoted_printable_kernels.h"

namespace qv {

/// What `ContentCoding` gives under the same names, whichever the kernel.
void encodeQuotedPrintable(std::string_view bytes, const QuotedPrintableKernel& kernel, StringBuffer& out);
BinaryData decodeQuotedPrintable(std::string_view text, const QuotedPrintableKernel& kernel);

}  // namespace qv
