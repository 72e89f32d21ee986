// A message as it goes over the wire: CR LF line ends, and a dot in front of every dot that begins a line
// (RFC 5321 4.5.2).
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "core/string_buffer.h"
#include "email/email.h"
#include "mime/line_facts.h"
#include "net/text_source.h"

namespace qv {

class WireText {
 public:
  /// With `mayReadBodies` large bodies are not copied: the e-mail must stay, and stay as it is, for as long
  /// as the text is read. Fields whose names begin with "QVX-" stay behind, Bcc too.
  WireText(const Email& email, bool mayReadBodies);

  /// Length of the whole in bytes.
  std::size_t size() const noexcept { return size_; }
  /// The whole text.
  StringBuffer whole() const;

 private:
  enum class Form { asItIs, crLf, base64 };
  // Bytes that lie together and are written in one form. Each begins a line.
  struct Run {
    std::string_view bytes;
    Form form;
    std::size_t added;  // bytes that this takes more than they do; 0 when nothing changes
  };

 public:
  /// Reads the text from its start, in pieces that stay in the processor's cache where anything has to change
  /// in them, and where it lies where nothing has. Allocates nothing once it is made.
  class Reader final : public TextSource {
   public:
    explicit Reader(const WireText& text);
    std::string_view next(std::size_t most) override;

   private:
    void prepareMore();
    void prepareBase64(std::string_view bytes, bool isLast);
    void prepareLines(std::string_view piece, char before, const Run& run);

    const WireText& text_;
    std::size_t run_ = 0;        // the run that is read
    std::size_t at_ = 0;         // how far it has been prepared
    std::string_view prepared_;  // and not handed out yet
    StringBuffer changed_;       // where that had to change
  };

 private:
  static std::size_t addedTo(const LineFacts& facts, Form form) noexcept;
  void addText(std::string_view bytes, const LineFacts& facts, Form form);
  void addBase64(std::string_view bytes);

  StringBuffer text_;  // all but the large bodies
  std::vector<Run> runs_;
  std::size_t size_ = 0;
};

}  // namespace qv
