// The decoded body of one entity and the coding it is written in.
#pragma once

#include <cstddef>
#include <string_view>

#include "core/binary_data.h"
#include "core/quorvel_object.h"
#include "core/string_buffer.h"
#include "mime/line_facts.h"

namespace qv {

/// Always holds decoded bytes; `coding` only says how they are written.
class MimeBody final : public QuorvelObject {
 public:
  enum class Coding { raw = 0, quotedPrintable = 1, base64 = 2 };

  Coding coding() const noexcept { return coding_; }
  void setCoding(Coding coding) noexcept { coding_ = coding; }
  const BinaryData& data() const noexcept { return data_; }
  /// For changing the bytes, at once: what is known of their lines is forgotten.
  BinaryData& changeData() noexcept {
    factsKnown_ = false;
    return data_;
  }
  /// Of the bytes as they are held. Found when it is first asked for, and kept; like every change of the body
  /// this is for one thread at a time.
  const LineFacts& lineFacts() const noexcept;

  /// Decodes `text` by the transfer encoding's name (any case): "base64", "quoted-printable"; anything
  /// else keeps the bytes as they are.
  void setFromEncoded(std::string_view transferEncoding, std::string_view text);
  void setRaw(std::string_view text);
  /// The same for a text that is going to be written: its line facts are found while it is copied.
  void setComposed(std::string_view text);
  void setRawData(BinaryData bytes);
  /// Takes over the other body's bytes; it is left empty, both raw.
  void takeData(MimeBody& other);
  void setForBase64(BinaryData bytes);
  void setForQuotedPrintable(BinaryData bytes);
  void copyFrom(const MimeBody& other);
  void clear();

  /// Appends the bytes in their coding (raw, quoted-printable, base64 with line breaks).
  void getEncodedBody(StringBuffer& out) const;
  void getRawBody(StringBuffer& out) const;
  std::size_t getEstimatedEncodedSize() const noexcept;

 private:
  BinaryData data_;
  Coding coding_ = Coding::raw;
  mutable bool factsKnown_ = false;
  mutable LineFacts facts_;
};

}  // namespace qv
