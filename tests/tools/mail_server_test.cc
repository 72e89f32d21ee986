#include "mail_server/mail_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/tcp.h"
#include "platform/temporary_folder.h"

namespace qv {
namespace {

using namespace std::string_literals;
using testing::HasSubstr;
using testing::StartsWith;

// --- The dialogue
// -------------------------------------------------------------------------------------------

/// "250 354": the codes of the replies; only the last line of a reply counts.
std::string codesOf(const std::string& replies) {
  std::string codes;
  for (std::size_t at = 0; at < replies.size();) {
    const std::size_t end = replies.find("\r\n", at);
    if (end == std::string::npos) return codes + " (unfinished line)";
    if (replies[at + 3] != '-') codes += (codes.empty() ? "" : " ") + replies.substr(at, 3);
    at = end + 2;
  }
  return codes;
}

struct Heard {
  std::string replies;
  std::string kept;  // "sender>recipient,recipient|text;" per message
  bool ended = false;
};

Heard speak(const std::string& input, std::size_t pieceLength, const SmtpRules& rules) {
  Heard heard;
  ServerDialogue dialogue(rules, [&](ReceivedMessage& message, std::string& words) {
    heard.kept += message.sender;
    for (std::size_t i = 0; i < message.recipients.size(); ++i) {
      heard.kept += (i == 0 ? ">" : ",") + message.recipients[i];
    }
    heard.kept += "|" + message.text + ";";
    EXPECT_EQ(message.size, message.text.size());
    words = "Kept";
    return true;
  });
  for (std::size_t at = 0; at < input.size(); at += pieceLength) {
    dialogue.receive(std::string_view(input).substr(at, pieceLength), heard.replies);
  }
  heard.ended = dialogue.ended();
  return heard;
}

struct Row {
  std::string input;
  std::string codes;
  std::string kept;
};

void check(const std::vector<Row>& rows, const SmtpRules& rules = {}) {
  for (const Row& row : rows) {
    for (const std::size_t pieceLength : {row.input.size(), std::size_t{1}, std::size_t{7}}) {
      SCOPED_TRACE(row.input.substr(0, 200) + " in pieces of " + std::to_string(pieceLength));
      const Heard heard = speak(row.input, pieceLength, rules);
      EXPECT_EQ(codesOf(heard.replies), row.codes);
      EXPECT_EQ(heard.kept, row.kept);
    }
  }
}

const std::string kReady = "EHLO c\r\nMAIL FROM:<a@b>\r\nRCPT TO:<c@d>\r\nDATA\r\n";  // 250 250 250 354

TEST(ServerDialogue, Commands) {
  check({
      {kReady + "Subject: s\r\n\r\nt\r\n.\r\nQUIT\r\n", "250 250 250 354 250 221",
       "a@b>c@d|Subject: s\r\n\r\nt\r\n;"},
      {"helo c\r\nmail from:<a@b>\r\nrcpt to:<c@d>\r\ndata\r\n.\r\n", "250 250 250 354 250", "a@b>c@d|;"},
      // Several messages; what belonged to one is forgotten for the next.
      {kReady + "1\r\n.\r\nMAIL FROM:<e@f>\r\nRCPT TO:<g@h>\r\nRCPT TO:<i@j>\r\nDATA\r\n2\r\n.\r\n",
       "250 250 250 354 250 250 250 250 354 250", "a@b>c@d|1\r\n;e@f>g@h,i@j|2\r\n;"},
      // Out of order.
      {"MAIL FROM:<a@b>\r\nRCPT TO:<c@d>\r\nDATA\r\n", "503 503 503", ""},
      {"EHLO c\r\nRCPT TO:<c@d>\r\nDATA\r\nMAIL FROM:<a@b>\r\nMAIL FROM:<a@b>\r\nDATA\r\n",
       "250 503 503 250 503 554", ""},
      {"EHLO c\r\nMAIL FROM:<a@b>\r\nRSET\r\nRCPT TO:<c@d>\r\n", "250 250 250 503", ""},
      {"EHLO c\r\nMAIL FROM:<a@b>\r\nEHLO c\r\nRCPT TO:<c@d>\r\n", "250 250 250 503", ""},
      // The rest of the vocabulary.
      {"NOOP\r\nNOOP x\r\nHELP\r\nVRFY a\r\nEXPN a\r\nAUTH PLAIN\r\nSTARTTLS\r\nBDAT 1\r\n",
       "250 250 214 252 502 502 502 502", ""},
      {"EHLO\r\nHELO\r\nVRFY\r\nRSET x\r\nQUIT x\r\nBREW\r\n\r\n", "501 501 501 501 501 500 500", ""},
      {"QUIT\r\nNOOP\r\n", "221", ""},
  });
}

TEST(ServerDialogue, Paths) {
  const auto mail = [](const std::string& path) { return "EHLO c\r\nMAIL FROM:" + path + "\r\n"; };
  const auto rcpt = [&](const std::string& path) { return mail("<>") + "RCPT TO:" + path + "\r\n"; };
  check({
      {mail("<>"), "250 250", ""},
      {mail("<a@b> SIZE=10 BODY=8BITMIME"), "250 250", ""},
      {mail("<a@b> size=10 body=7bit"), "250 250", ""},
      {mail("<\"x> y\\\"@\"@b>"), "250 250", ""},
      {mail("<@r,@s:a@b>"), "250 250", ""},
      {mail("a@b"), "250 501", ""},
      {mail(" <a@b>"), "250 501", ""},
      {mail("<a@b"), "250 501", ""},
      {mail("<a b@c>"), "250 501", ""},
      {mail("<a@b>x"), "250 501", ""},
      {mail("<a>"), "250 501", ""},
      {mail("<a@>"), "250 501", ""},
      {mail("<@b>"), "250 501", ""},
      {mail("<\"a@b>"), "250 501", ""},
      {mail("<\xC3\xA4@b>"), "250 553", ""},
      {mail("<a@b> SIZE=x"), "250 501", ""},
      {mail("<a@b> SIZE=99999999999999999999999"), "250 552", ""},
      {mail("<a@b> RET=FULL"), "250 555", ""},
      {rcpt("<a@b>"), "250 250 250", ""},
      {rcpt("<Postmaster>"), "250 250 250", ""},
      {rcpt("<>"), "250 250 501", ""},
      {rcpt("<undisclosed-recipients>"), "250 250 501", ""},
      {rcpt("<a@b> NOTIFY=NEVER"), "250 250 555", ""},
  });
}

// Whatever two readers of a stream could take for different ends of a message is text to this one.
TEST(ServerDialogue, OnlyCrLfDotCrLfEndsAMessage) {
  const std::string codes = "250 250 250 354 250";
  const auto text = [&](const std::string& sent, const std::string& kept) {
    return Row{kReady + sent, codes, "a@b>c@d|" + kept + ";"};
  };
  check({
      text(".\r\n", ""),
      text("..\r\n.\r\n", ".\r\n"),
      text("...x\r\n..\r\n.\r\n", "..x\r\n.\r\n"),
      text(".x\r\n.\r\n", "x\r\n"),
      text("x.\r\n.\r\n", "x.\r\n"),
      text("a\n.\nMAIL FROM:<x@y>\r\n.\r\n", "a\n.\nMAIL FROM:<x@y>\r\n"),
      text("a\n.\r\nMAIL FROM:<x@y>\r\n.\r\n", "a\n.\r\nMAIL FROM:<x@y>\r\n"),
      text("a\r\n.\nMAIL FROM:<x@y>\r\n.\r\n", "a\r\n\nMAIL FROM:<x@y>\r\n"),
      text("a\r.\rMAIL FROM:<x@y>\r\n.\r\n", "a\r.\rMAIL FROM:<x@y>\r\n"),
      text("a\r\n.\rb\r\n.\r\n", "a\r\n\rb\r\n"),
      text("a\r\n.\r\r\n.\r\n", "a\r\n\r\r\n"),
      text("a\r\n.\r.\r\n.\r\n", "a\r\n\r.\r\n"),
      text("a\r\r\n.\r\n", "a\r\r\n"),
      text("\r\n\n.\r\n\r\n.\r\n", "\r\n\n.\r\n\r\n"),
      text("a\0b\xff\r\n.\r\n"s, "a\0b\xff\r\n"s),
      // Unfinished: nothing is kept.
      {kReady + "a\r\n", "250 250 250 354", ""},
      {kReady + "a\r\n.\r", "250 250 250 354", ""},
      // A bare LF ends no command either.
      {"NOOP\nNOOP\r\n", "500", ""},
      {"NOOP\rNOOP\r\nNOOP\0\r\nNOOP\r\n"s, "500 500 250", ""},
  });
}

TEST(ServerDialogue, Limits) {
  const auto noop = [](std::size_t length) { return "NOOP " + std::string(length - 7, 'x') + "\r\n"; };
  check({
      {noop(ServerDialogue::kMaxCommandLine) + "NOOP\r\n", "250 250", ""},
      {noop(ServerDialogue::kMaxCommandLine + 1) + "NOOP\r\n", "500 250", ""},
      {noop(ServerDialogue::kMaxCommandLine * 20) + "NOOP\r\n", "500 250", ""},
  });

  SmtpRules rules;
  rules.maxMessageBytes = 6;
  rules.maxRecipients = 1;
  check({{kReady + "1234\r\n.\r\n", "250 250 250 354 250", "a@b>c@d|1234\r\n;"},
         {kReady + "12345\r\n.\r\nNOOP\r\n", "250 250 250 354 552 250", ""},
         {"EHLO c\r\nMAIL FROM:<a@b> SIZE=6\r\nRCPT TO:<c@d>\r\nRCPT TO:<e@f>\r\n", "250 250 250 452", ""},
         {"EHLO c\r\nMAIL FROM:<a@b> SIZE=7\r\n", "250 552", ""}},
        rules);

  std::string nonsense;
  for (int i = 1; i < ServerDialogue::kMaxErrorsInARow; ++i) nonsense += "GET / HTTP/1.1\r\n";
  EXPECT_FALSE(speak(nonsense + "NOOP\r\n" + nonsense, 1, {}).ended);
  const Heard heard = speak(nonsense + "Host: x\r\nEHLO c\r\n", 100, {});
  EXPECT_TRUE(heard.ended);
  EXPECT_THAT(codesOf(heard.replies), testing::EndsWith(" 500 421"));
}

TEST(ServerDialogue, RefusalsAndExtensions) {
  SmtpRules rules;
  rules.refusedSenders = {"spam@*"};
  rules.refusedRecipients = {"no*@d", "X"};
  check({{"EHLO c\r\nMAIL FROM:<Spam@x>\r\nMAIL FROM:<a@b>\r\n", "250 550 250", ""},
         {"EHLO c\r\nMAIL FROM:<a@b>\r\nRCPT TO:<nobody@d>\r\nDATA\r\nRCPT TO:<c@d>\r\nDATA\r\nx\r\n.\r\n",
          "250 250 550 554 250 354 250", "a@b>c@d|x\r\n;"}},
        rules);
  EXPECT_EQ(speak("EHLO c\r\n", 100, {}).replies,
            "250-localhost\r\n250-PIPELINING\r\n250-SIZE 268435456\r\n250 8BITMIME\r\n");

  struct {
    std::string_view pattern, address;
    bool matches;
  } const patterns[] = {
      {"a@b", "A@B", true},     {"a@b", "a@bc", false},    {"*", "", true},        {"", "", true},
      {"", "a", false},         {"*@b", "a@b", true},      {"*@b", "a@bc", false}, {"a*", "a", true},
      {"*a*b*", "xaxbx", true}, {"*a*b*", "xbxax", false}, {"*ab", "aab", true},   {"a**b", "ab", true},
  };
  for (const auto& row : patterns) {
    EXPECT_EQ(matchesPattern(row.pattern, row.address), row.matches) << row.pattern << " " << row.address;
  }
}

// --- The server
// ---------------------------------------------------------------------------------------------

class Client {
 public:
  explicit Client(std::uint16_t port) : handle_(tcp::open()) {
    EXPECT_TRUE(tcp::connect(handle_, "127.0.0.1", port, 10));
  }
  ~Client() { tcp::close(handle_); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  void send(std::string_view bytes) {
    while (!bytes.empty()) {
      const long taken = tcp::send(handle_, bytes.data(), bytes.size());
      if (taken < 0) return;
      bytes.remove_prefix(static_cast<std::size_t>(taken));
    }
  }
  /// Waits until the text has come, or the connection's end; gives all that came.
  std::string waitFor(std::string_view text) {
    char buffer[4096];
    while (heard_.find(text) == std::string::npos && tcp::waitReadable(handle_, 20) == tcp::Wait::ready) {
      const long count = tcp::receive(handle_, buffer, sizeof buffer);
      if (count <= 0) break;
      heard_.append(buffer, static_cast<std::size_t>(count));
    }
    return heard_;
  }
  std::string waitForEnd() { return waitFor("\1 never said"); }

 private:
  tcp::Handle handle_;
  std::string heard_;
};

class MailServerTest : public testing::Test {
 protected:
  std::vector<std::string> namesEndingIn(std::string_view ending) const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
      const std::string name = entry.path().string();
      if (name.ends_with(ending)) names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  TemporaryFolder temporary_;
  std::string folder_ = temporary_ / "mail";
  MailServer server_;
};

TEST_F(MailServerTest, KeepsWhatItAcceptsByteForByte) {
  std::vector<std::string> heard;
  MailServerOptions options;
  options.onMessage = [&](const ReceivedMessage& message) { heard.push_back(message.file); };
  ASSERT_TRUE(server_.start(0, folder_ + "/deeper", options)) << server_.error();
  folder_ += "/deeper";

  std::string text;  // more than one receive takes
  for (int i = 0; i < 100'000; ++i) text += "line " + std::to_string(i) + (i % 7 == 0 ? "\n\r." : "\r\n");
  text += "\r\n";
  Client client(server_.port());
  client.send(kReady + text +
              ".\r\nMAIL FROM:<>\r\nRCPT TO:<e@f>\r\nRCPT TO:<g@h>\r\nDATA\r\n2\r\n.\r\nQUIT\r\n");
  EXPECT_EQ(codesOf(client.waitForEnd()), "220 250 250 250 354 250 250 250 250 354 250 221");

  const auto texts = namesEndingIn(".eml");
  const auto envelopes = namesEndingIn(".envelope");
  ASSERT_EQ(texts.size(), 2U);
  ASSERT_EQ(envelopes.size(), 2U);
  EXPECT_EQ(texts, heard);
  EXPECT_TRUE(contentsOf(texts[0]) == text);
  EXPECT_EQ(contentsOf(texts[1]), "2\r\n");
  EXPECT_EQ(contentsOf(envelopes[0]), "MAIL FROM:<a@b>\nRCPT TO:<c@d>\n");
  EXPECT_EQ(contentsOf(envelopes[1]), "MAIL FROM:<>\nRCPT TO:<e@f>\nRCPT TO:<g@h>\n");
  EXPECT_EQ(server_.counts().bytes, text.size() + 3);
}

TEST_F(MailServerTest, ManyClientsAndTwoServersShareAFolder) {
  MailServer other;
  ASSERT_TRUE(server_.start(0, folder_)) << server_.error();
  ASSERT_TRUE(other.start(0, folder_)) << other.error();
  constexpr int kClients = 8;
  constexpr int kMessages = 20;
  std::vector<std::thread> clients;
  for (int number = 0; number < kClients; ++number) {
    clients.emplace_back([&, port = number % 2 == 0 ? server_.port() : other.port(), number] {
      for (int i = 0; i < kMessages; ++i) {
        Client client(port);
        client.send(kReady + std::to_string(number) + "-" + std::to_string(i) + "\r\n.\r\nQUIT\r\n");
        EXPECT_THAT(client.waitForEnd(), HasSubstr("\r\n250 Kept as "));
      }
    });
  }
  for (std::thread& client : clients) client.join();

  std::vector<std::string> texts;
  for (const std::string& name : namesEndingIn(".eml")) texts.push_back(contentsOf(name));
  std::sort(texts.begin(), texts.end());
  EXPECT_EQ(std::unique(texts.begin(), texts.end()), texts.end());
  EXPECT_EQ(texts.size(), std::size_t{kClients * kMessages});
  EXPECT_EQ(namesEndingIn("").size(), 2 * texts.size()) << "only texts and envelopes";
  EXPECT_EQ(server_.counts().messages + other.counts().messages, texts.size());
}

TEST_F(MailServerTest, AConnectionCutAnywhereKeepsNothing) {
  ASSERT_TRUE(server_.start(0, folder_)) << server_.error();
  const std::string input = kReady + "text\r\n.\r\n";
  for (std::size_t length = 0; length < input.size(); ++length) {
    Client(server_.port()).send(input.substr(0, length));
  }
  Client whole(server_.port());
  whole.send(input);
  EXPECT_THAT(whole.waitFor("Kept"), HasSubstr("250 Kept"));
  server_.stop();
  EXPECT_EQ(server_.counts().messages, 1U);
  EXPECT_EQ(server_.counts().connections, input.size() + 1);
  EXPECT_EQ(namesEndingIn("").size(), 2U);
}

TEST_F(MailServerTest, BoundsConnectionsAndIdleness) {
  MailServerOptions options;
  options.maxConnections = 2;
  options.idleSeconds = 1;
  ASSERT_TRUE(server_.start(0, "", options)) << server_.error();
  {
    Client first(server_.port());
    Client second(server_.port());
    first.waitFor("220 ");
    second.waitFor("220 ");
    Client third(server_.port());
    EXPECT_THAT(third.waitForEnd(), StartsWith("421 "));
    EXPECT_THAT(first.waitForEnd(), HasSubstr("\r\n421 Idle"));
  }
  std::string heard;  // a session's end frees its place, if not in the same instant
  for (int i = 0; i < 200 && !heard.starts_with("220 "); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(i));
    heard = Client(server_.port()).waitFor("\r\n");
  }
  EXPECT_THAT(heard, StartsWith("220 "));
}

TEST_F(MailServerTest, StopsInTheMiddleOfASession) {
  ASSERT_TRUE(server_.start(0, folder_)) << server_.error();
  Client client(server_.port());
  client.send(kReady + "half a line");
  client.waitFor("354 ");
  const std::uint16_t port = server_.port();
  server_.stop();
  EXPECT_THAT(client.waitForEnd(), testing::EndsWith("dot on a line by itself\r\n"));
  EXPECT_EQ(namesEndingIn("").size(), 0U);
  ASSERT_TRUE(server_.start(port, "")) << server_.error();
  EXPECT_EQ(server_.port(), port);

  MailServer second;
  EXPECT_FALSE(second.start(port, ""));
  EXPECT_THAT(second.error(), HasSubstr("127.0.0.1:" + std::to_string(port)));
}

TEST_F(MailServerTest, AFolderThatCannotBeUsed) {
  writeFile(folder_, "a file");
  EXPECT_FALSE(server_.start(0, folder_));
  EXPECT_THAT(server_.error(), HasSubstr(folder_));
  std::filesystem::remove(folder_);

  // One that goes away while the server runs: the client hears that its message is not kept.
  ASSERT_TRUE(server_.start(0, folder_)) << server_.error();
  std::filesystem::remove_all(folder_);
  Client client(server_.port());
  client.send(kReady + "x\r\n.\r\nQUIT\r\n");
  EXPECT_EQ(codesOf(client.waitForEnd()), "220 250 250 250 354 451 221");
  EXPECT_EQ(server_.counts().messages, 0U);
}

}  // namespace
}  // namespace qv
