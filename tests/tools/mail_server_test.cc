#include "mail_server/mail_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "mail_server/multi_line_encoder.h"
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

Replies appendingTo(std::string& text) {
  return Replies([&text](std::string_view block) {
    text += block;
    return true;
  });
}

struct Heard {
  std::string replies;
  std::string kept;  // "sender>recipient,recipient|text;" per message
  bool ended = false;
};

Heard speak(const std::string& input, std::size_t pieceLength, const SmtpRules& rules) {
  Heard heard;
  Replies replies = appendingTo(heard.replies);
  SmtpServerDialogue dialogue(rules, [&](ReceivedMessage& message, std::string& words) {
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
    dialogue.receive(std::string_view(input).substr(at, pieceLength), replies);
  }
  replies.flush();
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

TEST(SmtpServerDialogue, Commands) {
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

TEST(SmtpServerDialogue, Paths) {
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
TEST(SmtpServerDialogue, OnlyCrLfDotCrLfEndsAMessage) {
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

TEST(SmtpServerDialogue, Limits) {
  const auto noop = [](std::size_t length) { return "NOOP " + std::string(length - 7, 'x') + "\r\n"; };
  check({
      {noop(SmtpServerDialogue::kMaxCommandLine) + "NOOP\r\n", "250 250", ""},
      {noop(SmtpServerDialogue::kMaxCommandLine + 1) + "NOOP\r\n", "500 250", ""},
      {noop(SmtpServerDialogue::kMaxCommandLine * 20) + "NOOP\r\n", "500 250", ""},
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
  for (int i = 1; i < SmtpServerDialogue::kMaxErrorsInARow; ++i) nonsense += "GET / HTTP/1.1\r\n";
  EXPECT_FALSE(speak(nonsense + "NOOP\r\n" + nonsense, 1, {}).ended);
  const Heard heard = speak(nonsense + "Host: x\r\nEHLO c\r\n", 100, {});
  EXPECT_TRUE(heard.ended);
  EXPECT_THAT(codesOf(heard.replies), testing::EndsWith(" 500 421"));
}

TEST(SmtpServerDialogue, RefusalsAndExtensions) {
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

// --- POP3
// ---------------------------------------------------------------------------------------------------

/// A folder with the messages a, b and c.
class PopServerDialogueTest : public testing::Test {
 protected:
  PopServerDialogueTest() {
    std::string error;
    EXPECT_TRUE(folder_.open(temporary_ / "mail", error)) << error;
    put("c", "Subject: c\n\n.\n..two\nthree");
    put("a", "Subject: a\r\n\r\none\r\ntwo\r\n");
    put("b", "");
    writeFile(temporary_ / "mail/a.envelope", "MAIL FROM:<>\n");
    writeFile(temporary_ / "mail/other.txt", "no message");
    std::filesystem::create_directory(temporary_ / "mail/folder.eml");
  }
  void put(const std::string& name, std::string_view text) {
    writeFile(temporary_ / "mail/" + name + ".eml", text);
  }
  std::string names() const {
    std::string names;
    for (const StoredMessage& message : folder_.list()) names += message.name;
    return names;
  }
  std::string speak(const std::string& input, std::size_t pieceLength = 1000) {
    std::string heard;
    Replies replies = appendingTo(heard);
    PopServerDialogue dialogue(rules_, folder_);
    for (std::size_t at = 0; at < input.size(); at += pieceLength) {
      dialogue.receive(std::string_view(input).substr(at, pieceLength), replies);
    }
    replies.flush();
    return heard + (dialogue.ended() ? "(end)" : "");
  }

  TemporaryFolder temporary_;
  MailFolder folder_;
  PopRules rules_;
};

const std::string kPopLogin = "USER u\r\nPASS p\r\n";
const std::string kPopIn = "+OK\r\n+OK 3 49\r\n";

TEST_F(PopServerDialogueTest, Commands) {
  const std::string no = "-ERR No such message\r\n";
  const std::string c = "Subject: c\r\n\r\n..\r\n...two\r\nthree\r\n.\r\n";
  const struct {
    std::string said, heard;
  } rows[] = {
      {"STAT\r\nLIST\r\nLIST 3\r\n", "+OK 3 49\r\n+OK 3 49\r\n1 24\r\n2 0\r\n3 25\r\n.\r\n+OK 3 25\r\n"},
      {"UIDL\r\nuidl 2\r\n", "+OK 3 49\r\n1 a\r\n2 b\r\n3 c\r\n.\r\n+OK 2 b\r\n"},
      {"RETR 1\r\n", "+OK 24 octets\r\nSubject: a\r\n\r\none\r\ntwo\r\n.\r\n"},
      {"RETR 2\r\n", "+OK 0 octets\r\n.\r\n"},
      {"retr 3\r\n", "+OK 25 octets\r\n" + c},
      {"TOP 1 0\r\nTOP 1 1\r\n",
       "+OK 24 octets\r\nSubject: a\r\n\r\n.\r\n+OK 24 octets\r\nSubject: a\r\n\r\none\r\n.\r\n"},
      {"TOP 3 2\r\n", "+OK 25 octets\r\nSubject: c\r\n\r\n..\r\n...two\r\n.\r\n"},
      {"TOP 3 99\r\nTOP 2 5\r\n", "+OK 25 octets\r\n" + c + "+OK 0 octets\r\n.\r\n"},
      {"DELE 2\r\nDELE 2\r\nRETR 2\r\nSTAT\r\nUIDL 2\r\nUIDL\r\nRSET\r\nLIST 2\r\n",
       "+OK\r\n" + no + no + "+OK 2 49\r\n" + no + "+OK 2 49\r\n1 a\r\n3 c\r\n.\r\n+OK 3 49\r\n+OK 2 0\r\n"},
      {"RETR 0\r\nRETR 4\r\nRETR -1\r\nRETR\r\nDELE x\r\nTOP 1x 1\r\nLIST 99999999999999999999\r\n",
       no + no + no + no + no + no + no},
      {"TOP 1\r\nTOP 1 -1\r\n", "-ERR Syntax: TOP message lines\r\n-ERR Syntax: TOP message lines\r\n"},
      {"CAPA\r\nNOOP\r\n", "+OK\r\nUSER\r\nTOP\r\nUIDL\r\nPIPELINING\r\n.\r\n+OK\r\n"},
      {"USER u\r\nAPOP x y\r\nNOOP\nNOOP\r\n",
       "-ERR Logged in already\r\n-ERR Unknown command\r\n-ERR Control character in a command\r\n"},
      {"QUIT\r\nNOOP\r\n", "+OK Bye\r\n(end)"},
  };
  for (const auto& row : rows) {
    for (const std::size_t pieceLength : {1000U, 1U}) {
      EXPECT_EQ(speak(kPopLogin + row.said, pieceLength), kPopIn + row.heard) << row.said;
    }
  }
}

TEST_F(PopServerDialogueTest, Logins) {
  const std::string wrong = "-ERR Wrong user name or password\r\n";
  const struct {
    const char* user;
    const char* password;
    const char* said;
    std::string heard;
  } rows[] = {
      {"", "", "STAT\r\nPASS x\r\nUSER\r\nCAPA x\r\nQUIT\r\n",
       "-ERR Say USER and PASS first\r\n-ERR Say USER first\r\n-ERR Syntax: USER name\r\n"
       "+OK\r\nUSER\r\nTOP\r\nUIDL\r\nPIPELINING\r\n.\r\n+OK Bye\r\n(end)"},
      {"", "", "USER u\r\nPASS\r\n", kPopIn},
      {"u", " two words", "USER u\r\nPASS  two words\r\n", kPopIn},
      {"u", "p", "USER U\r\nPASS p\r\n", "+OK\r\n" + wrong},
      {"u", "p", "USER u\r\nPASS P\r\nPASS p\r\nUSER u\r\nPASS p\r\n",
       "+OK\r\n" + wrong + "-ERR Say USER first\r\n" + kPopIn},
  };
  for (const auto& row : rows) {
    rules_ = {row.user, row.password};
    EXPECT_EQ(speak(row.said), row.heard);
  }
  std::string nonsense;
  for (int i = 0; i < ServerDialogue::kMaxErrorsInARow; ++i) nonsense += "GET / HTTP/1.1\r\n";
  EXPECT_THAT(speak(nonsense + "USER u\r\n"),
              testing::EndsWith("\r\n-ERR Too many errors, closing\r\n(end)"));
}

TEST_F(PopServerDialogueTest, DeletionsHappenAtQuit) {
  EXPECT_EQ(speak(kPopLogin + "DELE 1\r\n"), kPopIn + "+OK\r\n");
  EXPECT_EQ(names(), "abc");
  EXPECT_EQ(speak(kPopLogin + "DELE 1\r\nDELE 2\r\nRSET\r\nDELE 1\r\nDELE 3\r\nQUIT\r\n"),
            kPopIn + "+OK\r\n+OK\r\n+OK 3 49\r\n+OK\r\n+OK\r\n+OK Bye\r\n(end)");
  EXPECT_EQ(names(), "b");
  EXPECT_FALSE(std::filesystem::exists(temporary_ / "mail/a.envelope"));

  // What somebody else removes in the middle of a session is gone, and may be deleted again.
  std::string heard;
  Replies replies = appendingTo(heard);
  PopServerDialogue dialogue(rules_, folder_);
  dialogue.receive(kPopLogin, replies);
  put("new", "not in this session");
  std::filesystem::remove(temporary_ / "mail/b.eml");
  dialogue.receive("RETR 1\r\nDELE 1\r\nSTAT\r\nQUIT\r\n", replies);
  replies.flush();
  EXPECT_EQ(heard,
            "+OK\r\n+OK 1 0\r\n-ERR Cannot read it: No such file or directory\r\n+OK\r\n+OK 0 0\r\n"
            "+OK Bye\r\n");
}

TEST(MailFolder, UniqueIds) {
  const struct {
    std::string name;
    bool kept;
  } rows[] = {{"20261122-212519-000001", true},
              {std::string(70, 'x'), true},
              {std::string(71, 'x'), false},
              {"my mail", false},
              {"\xC3\xA4", false},
              {"a\r\nb", false}};
  std::set<std::string> all;
  for (const auto& row : rows) {
    const std::string id = uniqueIdOf({row.name, 0});
    EXPECT_EQ(id == row.name, row.kept) << row.name;
    EXPECT_TRUE(all.insert(id).second);
    EXPECT_LE(id.size(), 70U);
    EXPECT_TRUE(std::all_of(id.begin(), id.end(), [](char c) { return c > ' ' && c < '\x7f'; }));
  }
}

/// The line at a place, with its LF where it has one.
std::string lineAt(const std::string& text, std::size_t at) {
  return text.substr(at, std::min(text.find('\n', at), text.size()) - at + 1);
}

/// The slow and obvious way: line by line.
std::string obviousMultiLine(const std::string& text) {
  std::string out, line;
  for (std::size_t at = 0; at < text.size(); at += line.size()) {
    line = lineAt(text, at);
    std::string content = line.substr(0, line.find('\n'));
    if (content.size() < line.size() && content.ends_with('\r')) content.pop_back();
    out += (content.starts_with('.') ? "." : "") + content + "\r\n";
  }
  return out + ".\r\n";
}

TEST(MultiLineEncoder, PiecesMakeNoDifference) {
  std::mt19937 random(3);
  for (int round = 0; round < 3000; ++round) {
    std::string text;
    for (std::size_t left = random() % 20; left > 0; --left) text += "..\r\n\nx"[random() % 6];
    const std::size_t pieceLength = 1 + random() % 5;
    std::string out, top;
    Replies replies = appendingTo(out);
    MultiLineEncoder encoder(replies);
    TopOfMessage upToEnd(2);
    for (std::size_t at = 0; at < text.size(); at += pieceLength) {
      const std::string piece = text.substr(at, pieceLength);
      encoder.feed(piece);
      top += piece.substr(0, upToEnd.feed(piece));
    }
    encoder.finish();
    replies.flush();
    EXPECT_EQ(out, obviousMultiLine(text)) << text;

    std::size_t end = 0;  // of the header, then of two more lines
    for (std::string line = "?"; line != "" && line != "\n" && line != "\r\n"; end += line.size()) {
      line = lineAt(text, end);
    }
    for (int i = 0; i < 2; ++i) end += lineAt(text, end).size();
    EXPECT_EQ(top, text.substr(0, end)) << text;
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
  /// A client with whom a session has begun: the end of another one frees its place, if not in the same
  /// instant.
  static std::unique_ptr<Client> accepted(std::uint16_t port) {
    for (int i = 0; i < 200; ++i) {
      auto client = std::make_unique<Client>(port);
      if (client->waitFor("\r\n").find("Too many") == std::string::npos) return client;
      std::this_thread::sleep_for(std::chrono::milliseconds(i));
    }
    return nullptr;
  }
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
  EXPECT_NE(accepted(server_.port()), nullptr);
}

TEST_F(MailServerTest, WhatSmtpKeepsPop3Gives) {
  MailServerOptions options;
  options.popPort = 0;
  options.popRules = {"ann", "secret"};
  options.maxConnections = 2;
  ASSERT_TRUE(server_.start(0, folder_, options)) << server_.error();
  ASSERT_NE(server_.popPort(), 0);
  std::string text = "Subject: long\r\n\r\n";  // many blocks
  for (int i = 0; i < 100'000; ++i) text += (i % 7 == 0 ? "." : "") + std::to_string(i) + "\r\n";
  {
    Client sender(server_.port());
    sender.send(kReady + obviousMultiLine(text) + kReady.substr(8) + "2\r\n.\r\nQUIT\r\n");
    EXPECT_EQ(codesOf(sender.waitForEnd()), "220 250 250 250 354 250 250 250 354 250 221");
  }
  const std::string login = "USER ann\r\nPASS secret\r\n";
  Client reader(server_.popPort());
  std::string asked, expected = "+OK quorvel loopback POP3 server\r\n+OK\r\n+OK 2 " +
                                std::to_string(text.size() + 3) + "\r\n";
  for (int i = 0; i < 10; ++i) {  // asked for at once, given one after the other
    asked += "RETR 1\r\n";
    expected += "+OK " + std::to_string(text.size()) + " octets\r\n" + obviousMultiLine(text);
  }
  reader.send(login + asked + "DELE 1\r\nQUIT\r\n");
  EXPECT_TRUE(reader.waitForEnd() == expected + "+OK\r\n+OK Bye\r\n");
  EXPECT_EQ(namesEndingIn("").size(), 2U);

  // The bounds hold for both protocols together.
  Client first(server_.port());
  first.waitFor("220 ");
  Client second(server_.popPort());
  second.send(login + "UIDL 1\r\n");
  EXPECT_THAT(second.waitFor("000002"), HasSubstr("\r\n+OK 1 20"));
  EXPECT_EQ(Client(server_.popPort()).waitForEnd(), "-ERR Too many connections\r\n");
  EXPECT_EQ(Client(server_.port()).waitForEnd(), "421 Too many connections\r\n");
}

TEST_F(MailServerTest, AReaderThatLeavesOrStopsReadingEndsItsSession) {
  MailServerOptions options;
  options.popPort = 0;
  options.idleSeconds = 1;
  options.maxConnections = 1;
  ASSERT_TRUE(server_.start(0, folder_, options)) << server_.error();
  writeFile(folder_ + "/large.eml", std::string(20'000'000, 'x'));
  const std::string asked = kPopLogin + "RETR 1\r\nRETR 1\r\nDELE 1\r\nQUIT\r\n";
  Client(server_.popPort()).send(asked);
  const auto still = accepted(server_.popPort());
  ASSERT_NE(still, nullptr);
  still->send(asked);
  const auto next = accepted(server_.popPort());
  ASSERT_NE(next, nullptr);
  EXPECT_LT(still->waitForEnd().size(), 40'000'000U);
  EXPECT_THAT(next->waitForEnd(), testing::EndsWith("server\r\n-ERR Idle for too long\r\n"));
  server_.stop();
  EXPECT_EQ(namesEndingIn("").size(), 1U);
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
