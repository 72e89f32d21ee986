// What a login leaves behind in the memory of the process.
#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "net/smtp_auth.h"
#include "net/utf16.h"
#include "platform/wipe.h"
#include "support/fed_socket.h"
#include "support/login_server.h"

namespace qv {
namespace {

using qv_test::FedSocket;

constexpr char kVeil = 0x55;

/// A text to look for, kept so that the search does not find itself. Of a longer text the last bytes, as
/// freeing a block overwrites its first ones.
std::string veiledEnd(std::string_view text) {
  std::string veiled(text.substr(text.size() - std::min<std::size_t>(text.size(), 20)));
  for (char& c : veiled) c = static_cast<char>(c ^ kVeil);
  return veiled;
}

/// How often the process's own memory holds the text: its heap, stacks and data.
std::size_t occurrences(const std::string& veiled) {
  std::ifstream maps("/proc/self/maps");
  std::ifstream memory("/proc/self/mem", std::ios::binary);
  std::size_t found = 0;
  for (std::string line; std::getline(maps, line);) {
    std::istringstream in(line);
    std::size_t begin = 0, end = 0;
    char dash = 0;
    std::string access;
    in >> std::hex >> begin >> dash >> end >> access;
    if (!access.starts_with("rw")) continue;
    // A page at a time, with the end of the one before; veiled at once.
    constexpr std::size_t kPage = 4096;
    std::string text;
    for (std::size_t at = begin; at < end; at += kPage) {
      text.erase(0, text.size() - std::min(text.size(), veiled.size() - 1));
      const std::size_t kept = text.size();
      std::array<char, kPage> page;
      memory.clear();
      memory.seekg(static_cast<std::streamoff>(at));
      if (!memory.read(page.data(), kPage)) continue;
      for (const char c : page) text += static_cast<char>(c ^ kVeil);
      wipe(page.data(), page.size());
      for (std::size_t i = 0; (i = text.find(veiled, i)) != std::string::npos; ++i) {
        if (i + veiled.size() > kept) ++found;
      }
    }
  }
  return found;
}

TEST(SecretMemory, NothingOfALoginIsLeft) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizer keeps freed memory, and terabytes of its own";
#endif
  const std::string ntlm = qv_test::base64(qv_test::ntlmChallenge(0xE0088215, ""));
  const struct {
    const char* method;
    std::string replies;
  } rows[] = {
      {"LOGIN", "334 \r\n334 \r\n235 in\r\n"},
      {"LOGIN", "334 \r\n334 \r\n535 no\r\n"},
      {"PLAIN", "334 \r\n235 in\r\n"},
      {"PLAIN", "334 \r\n535 no\r\n"},
      {"CRAM-MD5", "334 QUJD\r\n235 in\r\n"},
      {"CRAM-MD5", "334 QUJD\r\n535 no\r\n"},
      {"NTLM", "334 \r\n334 " + ntlm + "\r\n235 in\r\n"},
      {"NTLM", "334 \r\n334 " + ntlm + "\r\n535 no\r\n"},
      {"NTLM", "334 \r\n334 no challenge\r\n535 no\r\n"},
  };
  for (const auto& row : rows) {
    // No allocation holds the password before the login makes its own copies.
    std::array<char, 60> password;
    for (std::size_t i = 0; i < password.size(); ++i) {
      password[i] = static_cast<char>('A' + (i * 31 + row.replies.size()) % 53);
    }
    const std::string_view text(password.data(), password.size());
    std::vector<std::string> forms{veiledEnd(text)};
    {
      SecretText coded;
      coded.appendBase64(text);
      forms.push_back(veiledEnd(coded));
      forms.push_back(veiledEnd(utf16Of(text)));
    }
    EXPECT_GE(occurrences(forms[0]), 1U) << "the search finds what is there";
    {
      FedSocket::Record record;
      record.keepsSent = false;
      SmtpDialogue dialogue(std::make_unique<FedSocket>(row.replies, record));
      AuthFlags flags;
      applyAuthMethod(flags, row.method);
      logIn(dialogue, flags, {"user", text}, nullptr);
    }
    wipe(password.data(), password.size());
    for (std::size_t i = 0; i < forms.size(); ++i) EXPECT_EQ(occurrences(forms[i]), 0U) << row.method << i;
  }
}

}  // namespace
}  // namespace qv
