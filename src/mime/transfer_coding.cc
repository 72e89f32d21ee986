#include "mime/transfer_coding.h"

#include "mime/base64_kernels.h"
#include "mime/quoted_printable.h"

namespace qv {

void ContentCoding::encodeBase64Lines(std::string_view bytes, StringBuffer& out) {
  if (bytes.empty()) return;
  const std::size_t before = out.size();
  char* start = out.extend(estimateBase64Size(bytes.size()));
  char* end = base64Kernel().encode(bytes.data(), bytes.size(), true, start);
  *end++ = '\r';
  *end++ = '\n';
  out.truncate(before + static_cast<std::size_t>(end - start));
}

void ContentCoding::encodeBase64(std::string_view bytes, StringBuffer& out) {
  if (bytes.empty()) return;
  char* start = out.extend((bytes.size() + 2) / 3 * 4);
  base64Kernel().encode(bytes.data(), bytes.size(), false, start);
}

StringBuffer ContentCoding::encodeBase64ToBuffer(std::string_view bytes) {
  StringBuffer out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  encodeBase64(bytes, out);
  return out;
}

BinaryData ContentCoding::decodeBase64(std::string_view text) {
  BinaryData bytes;
  if (text.empty()) return bytes;
  char* start = bytes.extend((text.size() + 3) / 4 * 3 + Base64Kernel::kDecodeSlack);
  const char* end = base64Kernel().decode(text.data(), text.size(), start);
  bytes.truncate(static_cast<std::size_t>(end - start));
  return bytes;
}

void ContentCoding::encodeQuotedPrintable(std::string_view bytes, StringBuffer& out) {
  qv::encodeQuotedPrintable(bytes, quotedPrintableKernel(), out);
}

BinaryData ContentCoding::decodeQuotedPrintable(std::string_view text) {
  return qv::decodeQuotedPrintable(text, quotedPrintableKernel());
}

}  // namespace qv
