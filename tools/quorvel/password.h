// Where passwords come from: a file, a descriptor that the caller has opened, or the terminal. Never the
// command line and never the environment, which others on the machine can read.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace cli {

class QuietTerminal;

/// At most one of the two is given; with none the terminal is asked.
struct PasswordSource {
  std::optional<std::string> file;
  std::optional<int> descriptor;
};

/// The first line of its source, without the line end. Wiped from memory when it goes; never copied.
class Password {
 public:
  /// As many bytes as a login may have.
  static constexpr std::size_t kMaxBytes = 1000;

  /// Reads it. `whose` is for the prompt, as "ann at mail.example.org". Throws a Failure when the source
  /// cannot be read, is empty, or holds what no login can carry.
  Password(const PasswordSource& source, const std::string& whose);
  ~Password() { wipe(); }
  Password(const Password&) = delete;
  Password& operator=(const Password&) = delete;

  std::string_view view() const noexcept { return {bytes_.data(), size_}; }

 private:
  enum class Read { done, failed, interrupted };
  /// Up to a line end or the end of what there is; not a byte behind it.
  Read readLine(int descriptor, const QuietTerminal* terminal);
  void readDescriptor(int descriptor, const std::string& name);
  void readFile(const std::string& path);
  void readTerminal(const std::string& whose);
  /// Throws a Failure when this is no password.
  void check(const std::string& name) const;
  void wipe() noexcept;

  std::array<char, kMaxBytes + 2> bytes_{};  // a CR may follow; and one byte more tells that it is too long
  std::size_t size_ = 0;
};

}  // namespace cli
