#include "net/socket.h"

#include <gtest/gtest.h>

#include "net/mail_journal.h"
#include "platform/temporary_folder.h"
#include "support/linear_cost.h"
#include "support/log_lines.h"
#include "support/scripted_server.h"
#include "support/sessions.h"

namespace qv {
namespace {

using namespace std::string_literals;
using qv_test::LogLines;
using qv_test::Peer;
using qv_test::Percentages;
using qv_test::ScriptedServer;
using qv_test::Strings;

TEST(ProgressMonitor, AnnouncesEachPercentageOnce) {
  const struct {
    std::uint32_t total;
    std::vector<std::uint64_t> steps;  // before finishing
    std::vector<int> announced;
  } rows[] = {
      {200, {200, 200, 50}, {100}},
      {200, {1, 1, 1, 1}, {1, 2, 100}},
      {1000, {5, 4, 1}, {1, 100}},
      {0, {7, 0}, {}},
      {3, {1, 1}, {33, 66, 100}},
      {4'000'000'000U, {3'999'999'999U}, {99, 100}},
      {10, {std::uint64_t{1} << 40}, {100}},
  };
  for (const auto& row : rows) {
    Percentages sink(2);
    ProgressMonitor progress(102, 2, row.total, &sink);
    for (const std::uint64_t amount : row.steps) progress.step(amount);
    progress.finish();
    EXPECT_EQ(sink.values, row.announced) << row.total;
  }
  Percentages sink(2);
  ProgressMonitor progress(102, 2, 100, &sink);
  for (const unsigned done : {30U, 10U, 30U, 500U}) progress.setDone(done);
  EXPECT_EQ(sink.values, (std::vector<int>{30, 100}));
}

// Whatever the pieces in which a text arrives, the same texts come out, and what is left waits.
TEST(ParseBuffer, PiecesMakeNoDifference) {
  const std::string text = "one\r\n\r\ntwo\0x\r\rthree\r\n.\r\n\r\n..\r\n.\r\nrest\r"s;
  for (const std::string_view terminator : {"\r\n", "\r\n.\r\n", "\n"}) {
    Strings whole;
    std::size_t taken = 0;
    for (std::size_t at; (at = text.find(terminator, taken)) != std::string::npos;
         taken += whole.back().size()) {
      whole.push_back(text.substr(taken, at + terminator.size() - taken));
    }
    for (std::size_t piece = 1; piece <= text.size(); ++piece) {
      ParseBuffer buffer;
      Strings found;
      StringBuffer out;
      for (std::size_t at = 0; at < text.size(); at += piece) {
        buffer.append(std::string_view(text).substr(at, piece));
        buffer.prepare(100);  // room that nothing arrives for
        while (buffer.extractThrough(terminator, out)) found.push_back(out.str());
      }
      EXPECT_EQ(found, whole) << piece;
      EXPECT_EQ(buffer.length(), text.size() - taken);
    }
  }
  // A search for another terminator does not resume where the one before stopped.
  ParseBuffer buffer;
  StringBuffer out("old");
  buffer.append("a\nb");
  EXPECT_FALSE(buffer.extractThrough("\r\n", out));
  EXPECT_EQ(out.view(), "old");
  EXPECT_TRUE(buffer.extractThrough("\n", out));
  EXPECT_EQ(out.view(), "a\n");
}

TEST(ParseBuffer, ATerminatorMayHaveBegunBefore) {
  const struct {
    const char* text;
    const char* taken;  // none when it does not end
  } rows[] = {
      {".\r\nrest", ".\r\n"},
      {"..\r\n.\r\n", "..\r\n.\r\n"},
      {"\r\n.\r\n", "\r\n.\r\n"},
      {"a.\r\n\r\n.\r\n", "a.\r\n\r\n.\r\n"},
      {".\r", ""},
      {"\n.\r\n", ""},
  };
  for (const auto& row : rows) {
    const std::string text = row.text;
    for (std::size_t piece = 1; piece <= text.size(); ++piece) {
      ParseBuffer buffer;
      StringBuffer out;
      buffer.append("+OK\r\n");
      EXPECT_TRUE(buffer.extractThrough("\r\n", out));
      bool found = false;
      for (std::size_t at = 0; at < text.size() && !found; at += piece) {
        buffer.append(std::string_view(text).substr(at, piece));
        found = buffer.extractThrough("\r\n.\r\n", out, 2);
      }
      EXPECT_EQ(found ? out.view() : "", row.taken) << piece;
    }
  }
}

TEST(ParseBuffer, LargeTextsLeaveWhatIsBehindThem) {
  constexpr std::size_t kLarge = ParseBuffer::kHandedOver;
  for (const std::size_t size : {kLarge - 1, kLarge, 20 * kLarge}) {
    for (const std::size_t left : {std::size_t{0}, std::size_t{1}, size, size + 1}) {
      const std::string text = std::string(size - 1, 'x') + "\n", behind(left, 'y');
      ParseBuffer buffer;
      StringBuffer out("old");
      buffer.append("+OK\n" + text.substr(0, 9));
      ASSERT_TRUE(buffer.extractThrough("\n", out));
      ASSERT_FALSE(buffer.extractThrough("\n", out));
      buffer.append(text.substr(9) + behind);
      ASSERT_TRUE(buffer.extractThrough("\n", out));
      EXPECT_TRUE(out.view() == text && out.c_str()[size] == '\0');
      EXPECT_EQ(buffer.length(), left);
      buffer.append("end\n");
      ASSERT_TRUE(buffer.extractThrough("\n", out));
      EXPECT_TRUE(out.view() == behind + "end\n");
    }
  }
}

TEST(ParseBuffer, CostIsLinear) {
  const auto make = [](std::size_t n) { return n; };
  const auto longAwaited = [](std::size_t n) {
    ParseBuffer buffer;
    StringBuffer out;
    for (; n > 0; --n) {
      buffer.append("\r\n.\r");
      ASSERT_FALSE(buffer.extractThrough("\r\n.\r\n", out));
    }
  };
  EXPECT_LT(qv_test::costOfTwice(200'000, make, longAwaited), 3);
  const auto manyAtOnce = [](std::size_t n) {
    ParseBuffer buffer;
    StringBuffer out;
    for (std::size_t i = 0; i < n; ++i) buffer.append("line\r\n");
    for (; buffer.extractThrough("\r\n", out); --n) buffer.append("x");
    EXPECT_EQ(n, 0U);
  };
  EXPECT_LT(qv_test::costOfTwice(200'000, make, manyAtOnce), 3);
}

std::unique_ptr<QuorvelSocket> connectedTo(const ScriptedServer& server, int readTimeout = 0) {
  auto socket = createSocket();
  socket->setReadTimeout(readTimeout);
  EXPECT_TRUE(socket->connectToHost("127.0.0.1", server.port()));
  return socket;
}

TEST(Socket, ReceivesUntilThePeerLeaves) {
  ScriptedServer server([](Peer& peer) {
    peer.send("first\r\nsecond\r\nthi");
    peer.send("rd\r");
    peer.send("\n12345tail");
  });
  const auto socket = connectedTo(server, 5);
  LogLines log;
  StringBuffer out;
  for (const char* line : {"first\r\n", "second\r\n", "third\r\n"}) {
    ASSERT_TRUE(socket->receiveUntil(out, "\r\n", 1000, log.get(), nullptr));
    EXPECT_EQ(out.view(), line);
  }
  EXPECT_FALSE(socket->receiveUntil(out, "\r\n", 1000, log.get(), nullptr));
  EXPECT_TRUE(out.empty());
  EXPECT_EQ(socket->getHandle(), tcp::kNone);
  EXPECT_FALSE(socket->checkSocket());
  char byte = 0;
  EXPECT_TRUE(socket->receiveExact(&byte, 0, log.get()));
  EXPECT_FALSE(socket->receiveExact(&byte, 1, log.get()));
  EXPECT_FALSE(socket->sendBytes("x", log.get(), nullptr));
  EXPECT_FALSE(socket->connectToHost("127.0.0.1", server.port()));
  EXPECT_EQ(log.lines(),
            (Strings{"The peer has closed the socket (TCP) connection", "Socket is no longer readable",
                     "This socket is not connected", "No socket exists for sending"}));
}

TEST(Socket, RefusesTextsBeyondTheLimit) {
  for (const std::size_t length : {999U, 1000U, 1001U, 40000U}) {
    ScriptedServer server([&](Peer& peer) {
      peer.send(std::string(length - 2, 'x') + "\r\n");
      peer.drain();
    });
    const auto socket = connectedTo(server);
    LogLines log;
    StringBuffer out;
    EXPECT_EQ(socket->receiveUntil(out, "\r\n", 100, log.get(), nullptr, 1000), length <= 1000);
    EXPECT_EQ(out.size(), length <= 1000 ? length : 0);
    EXPECT_EQ(log.count("limit_bytes: 1000"), length <= 1000 ? 0U : 1U);
  }
}

TEST(Socket, ReceivingStepsTheProgress) {
  ScriptedServer server([](Peer& peer) { peer.send(std::string(99'990, 'x') + "\r\n.\r\n"); });
  const auto socket = connectedTo(server);
  Percentages sink(2);
  ProgressMonitor progress(102, 2, 100'000, &sink);
  StringBuffer out;
  ASSERT_TRUE(socket->receiveUntil(out, "\r\n.\r\n", 1000, nullptr, &progress, QuorvelSocket::kMaxMultiLine));
  EXPECT_EQ(progress.done(), 99'995U);
  EXPECT_EQ(sink.values.size(), 99U);  // steps of a thousand bytes pass over no percentage
}

TEST(Socket, GivesUpOnAPeerThatStandsStill) {
  ScriptedServer server([](Peer& peer) {  // says nothing and reads nothing until the client has gone
    while (peer.send("\n")) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  });
  const auto socket = connectedTo(server, 1);
  LogLines log;
  StringBuffer out;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(socket->sendBytes(std::string(30'000'000, 'x'), log.get(), nullptr));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(990));
  EXPECT_TRUE(log.holds({"timeout_seconds: 1", "Error sending on socket"}));
  socket->close();

  ScriptedServer silent([](Peer& peer) { peer.drain(); });
  const auto other = connectedTo(silent, 1);
  log.clear();
  EXPECT_FALSE(other->receiveUntil(out, "\r\n", 1000, log.get(), nullptr));
  EXPECT_EQ(log.lines(),
            (Strings{"timeout_seconds: 1", "Socket read timeout", "Failed to read data from socket"}));
  EXPECT_TRUE(other->sendBytes("still there", nullptr, nullptr));
}

TEST(Socket, SendsWholeOrPaced) {
  for (const std::size_t size : {0U, 1U, 2999U, 3000U, 3001U, 1'000'000U, 10'000'000U}) {
    std::string text(size, 'x');
    for (std::size_t i = 0; i < size; i += 1009) text[i] = static_cast<char>('a' + i % 26);
    for (const bool paced : {false, true}) {
      std::string received;
      ScriptedServer server([&](Peer& peer) { peer.readThrough("end", received); });
      const auto socket = connectedTo(server);
      Percentages sink(2);
      ProgressMonitor progress(102, 2, static_cast<std::uint32_t>(size), &sink);
      ASSERT_TRUE(socket->sendBytes(text, nullptr, paced ? &progress : nullptr));
      ASSERT_TRUE(socket->sendBytes("end", nullptr, nullptr));
      server.stop();
      EXPECT_TRUE(received == text + "end") << size;
      EXPECT_GE(progress.done(), paced ? size / 2 : 0);
      EXPECT_TRUE(std::is_sorted(sink.values.begin(), sink.values.end()));
    }
  }
}

TEST(Socket, SendingToAPeerThatLeftFails) {
  ScriptedServer server([](Peer&) {});
  ProgressMonitor progress(102, 2, 100, nullptr);
  for (ProgressMonitor* const monitor : {&progress, static_cast<ProgressMonitor*>(nullptr)}) {
    const auto socket = connectedTo(server);
    LogLines log;
    const std::string text(5'000'000, 'x');
    bool sent = true;
    for (int i = 0; i < 10 && sent; ++i) sent = socket->sendBytes(text, log.get(), monitor);
    EXPECT_FALSE(sent);
    EXPECT_NE(log.text().find("Error sending on socket\nsend_size: "), std::string::npos);
  }
}

TEST(Socket, ListensAndConnects) {
  const auto listener = createSocket();
  ASSERT_TRUE(listener->listenOnPort(0));
  const std::int32_t port = tcp::localPort(listener->getHandle());
  const auto client = createSocket();
  ASSERT_TRUE(client->connectToHost("localhost", port));
  const auto server = listener->acceptConnection();
  ASSERT_NE(server, nullptr);
  EXPECT_TRUE(server->sendBytes("hello", nullptr, nullptr));
  char text[5];
  EXPECT_TRUE(client->receiveExact(text, 5, nullptr));
  EXPECT_EQ(std::string_view(text, 5), "hello");
  const tcp::Handle handle = server->getHandle();
  server->detachHandle();
  EXPECT_EQ(server->acceptConnection(), nullptr);
  EXPECT_TRUE(tcp::isUsable(handle));
  tcp::close(handle);
  for (const std::int32_t bad : {-1, 65536, 65536 + port}) {
    EXPECT_FALSE(createSocket()->connectToHost("127.0.0.1", bad));
    EXPECT_FALSE(createSocket()->listenOnPort(bad));
  }
}

TEST(MailJournal, AppendsEntries) {
  const TemporaryFolder folder;
  const std::string journal = folder / "journal";
  const std::string text = "a\r\n..b %s\0\r\n"s;
  appendSentLog(journal, text);
  appendReceivedLog(journal, "c\r\n.\r\n");
  appendSentLog("", text);
  appendSentLog(folder / "missing/journal", text);
  EXPECT_EQ(contentsOf(journal),
            "--BEGIN SENT QUORVEL EMAIL--\n" + text + "\n--END SENT QUORVEL EMAIL--\n" +
                "--BEGIN RECEIVED QUORVEL EMAIL--\nc\r\n.\r\n\n--END RECEIVED QUORVEL EMAIL--\n");
  EXPECT_EQ(folder.fileCount(), 1U);
}

}  // namespace
}  // namespace qv
