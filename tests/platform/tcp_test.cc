#include "platform/tcp.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <thread>
#include <vector>

namespace qv {
namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

/// A handle, closed at the end of the test.
struct Socket {
  explicit Socket(tcp::Handle h = tcp::open()) : handle(h) {}
  ~Socket() { tcp::close(handle); }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  operator tcp::Handle() const { return handle; }  // NOLINT
  tcp::Handle handle;
};

/// A connection over the loopback.
struct Pair {
  Socket listener, client{tcp::open()};
  Socket server{connected() ? tcp::accept(listener) : tcp::kNone};
  bool connected() {
    return tcp::listen(listener, "127.0.0.1", 0, 5) &&
           tcp::connect(client, "127.0.0.1", tcp::localPort(listener), 0);
  }
};

TEST(Tcp, ConnectsByAddressOrName) {
  Socket listener;
  ASSERT_TRUE(tcp::listen(listener, "", 0, 5)) << tcp::lastErrorText();
  const std::uint16_t open = tcp::localPort(listener);
  std::uint16_t closed = 0;
  {
    Socket other;
    ASSERT_TRUE(tcp::listen(other, "127.0.0.1", 0, 1));
    closed = tcp::localPort(other);
  }
  const struct {
    std::string host;
    std::uint16_t port;
    bool connects;
  } rows[] = {
      {"127.0.0.1", open, true},
      {"localhost", open, true},
      {"127.0.0.1", closed, false},
      {"", open, false},
      {"no-such-host.invalid", open, false},
      {std::string("127.0.0.1\0x", 11), open, false},
  };
  for (const auto& row : rows) {
    for (const int timeout : {0, 5}) {
      Socket client;
      EXPECT_EQ(tcp::connect(client, row.host, row.port, timeout), row.connects) << row.host;
      EXPECT_TRUE(row.connects || tcp::lastErrorText() != "Success") << row.host;
    }
  }
  EXPECT_FALSE(tcp::connect(tcp::kNone, "127.0.0.1", open, 0));
  EXPECT_FALSE(tcp::listen(Socket(), "not an address", 0, 1));
}

TEST(Tcp, ConnectGivesUpAfterItsTime) {
  Socket listener;
  ASSERT_TRUE(tcp::listen(listener, "127.0.0.1", 0, 0));
  std::vector<std::unique_ptr<Socket>> clients;
  // Nobody accepts; once the queue is full the platform leaves further ones without an answer.
  bool connected = true;
  const auto start = steady_clock::now();
  for (int i = 0; i < 5 && connected; ++i) {
    clients.push_back(std::make_unique<Socket>());
    connected = tcp::connect(*clients.back(), "127.0.0.1", tcp::localPort(listener), 1);
  }
  EXPECT_FALSE(connected);
  EXPECT_GE(steady_clock::now() - start, seconds(1));
  EXPECT_LT(steady_clock::now() - start, seconds(10));
}

TEST(Tcp, PassesBytesAndTellsTheStatesApart) {
  Pair pair;
  ASSERT_NE(pair.server, tcp::kNone);
  char buffer[16];
  EXPECT_EQ(tcp::waitReadable(pair.client, 0), tcp::Wait::timedOut);
  EXPECT_EQ(tcp::receive(pair.client, buffer, sizeof buffer, true), -2);
  EXPECT_TRUE(tcp::isUsable(pair.client));
  EXPECT_EQ(tcp::send(pair.server, "a\0b", 3), 3);
  EXPECT_EQ(tcp::waitReadable(pair.client, 5), tcp::Wait::ready);
  ASSERT_EQ(tcp::receive(pair.client, buffer, sizeof buffer), 3);
  EXPECT_EQ(std::string_view(buffer, 3), std::string_view("a\0b", 3));

  tcp::shutdown(pair.server);
  EXPECT_EQ(tcp::waitReadable(pair.client, 5), tcp::Wait::ready);
  EXPECT_EQ(tcp::receive(pair.client, buffer, sizeof buffer), 0);
  EXPECT_TRUE(tcp::isUsable(pair.client));

  EXPECT_FALSE(tcp::isUsable(tcp::kNone));
  EXPECT_EQ(tcp::waitReadable(tcp::kNone, 1), tcp::Wait::failed);
  EXPECT_EQ(tcp::receive(tcp::kNone, buffer, sizeof buffer), -1);
  EXPECT_NE(tcp::lastErrorText(), "Success");
  EXPECT_EQ(tcp::accept(tcp::kNone), tcp::kNone);
}

TEST(Tcp, SendingToAPeerThatIsGoneIsAnErrorAndNoSignal) {
  Pair pair;
  tcp::close(pair.server.handle);
  pair.server.handle = tcp::kNone;
  long taken = 0;
  for (int i = 0; i < 100 && taken >= 0; ++i) {
    taken = tcp::send(pair.client, "x", 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_EQ(taken, -1);
}

TEST(Tcp, SignalsNeitherEndNorLengthenAWait) {
  struct sigaction action {};
  struct sigaction before {};
  action.sa_handler = [](int) {};
  sigaction(SIGUSR1, &action, &before);  // without SA_RESTART
  Pair pair;
  const auto start = steady_clock::now();
  const pthread_t waiting = pthread_self();
  std::thread disturber([waiting] {
    for (int i = 0; i < 40; ++i) {
      pthread_kill(waiting, SIGUSR1);
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  });
  EXPECT_EQ(tcp::waitReadable(pair.client, 1), tcp::Wait::timedOut);
  const auto took = steady_clock::now() - start;
  disturber.join();
  sigaction(SIGUSR1, &before, nullptr);
  EXPECT_GE(took, seconds(1));
  EXPECT_LT(took, seconds(5));
}

TEST(Tcp, HighHandlesAreAsGoodAsAny) {
  Pair pair;
  const Socket high(fcntl(pair.client, F_DUPFD, 1100));
  if (high == tcp::kNone) GTEST_SKIP() << "no such handle can be had here";
  EXPECT_EQ(tcp::send(pair.server, "x", 1), 1);
  EXPECT_EQ(tcp::waitReadable(high, 5), tcp::Wait::ready);
  EXPECT_TRUE(tcp::isUsable(high));
}

}  // namespace
}  // namespace qv
