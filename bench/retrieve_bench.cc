// Fetching mail by POP3 over the loopback address: the component, which makes an e-mail of each message,
// beside libcurl and Python's poplib, which hand out its text. Large messages come one at a time; small ones
// as a mailbox of 500, fetched whole in one session. Times are those of the clock: the server, a process of
// its own, works at the same time, so that nothing can be faster than it.
#include <benchmark/benchmark.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#ifdef QUORVEL_HAVE_CURL
#include <curl/curl.h>
#endif

#include "core/log.h"
#include "core/log_store.h"
#include "mail_server/mail_server.h"
#include "mime/transfer_coding.h"
#include "net/pop_session.h"

namespace {

constexpr std::size_t kSmall = 10 * 1024;
constexpr std::size_t kLarge = 50 * 1024 * 1024;
constexpr std::size_t kSmallCount = 500;

enum Mail { smallText, largeText, largeFile };

std::string prose(std::size_t size) {
  std::string text;
  text.reserve(size + 80);
  while (text.size() < size)
    text += "The quick brown fox jumps over the lazy dog, again and again and again.\r\n";
  return text;
}

std::string message(Mail mail) {
  std::string header =
      "From: sender@example.org\r\nTo: reader@example.org\r\nSubject: Order 4711\r\n"
      "Date: Mon, 23 Nov 2026 10:00:00 +0000\r\nMessage-ID: <4711@example.org>\r\nMIME-Version: 1.0\r\n";
  if (mail != largeFile) {
    return header + "Content-Type: text/plain; charset=us-ascii\r\n\r\n" +
           prose(mail == smallText ? kSmall : kLarge);
  }
  qv::StringBuffer lines;
  qv::ContentCoding::encodeBase64Lines(prose(kLarge / 78 * 57), lines);
  const std::string boundary = "----=_Part_4711_0001";
  return header + "Content-Type: multipart/mixed; boundary=\"" + boundary + "\"\r\n\r\n--" + boundary +
         "\r\nContent-Type: text/plain\r\n\r\nHere it is.\r\n--" + boundary +
         "\r\nContent-Type: application/octet-stream; name=\"file\"\r\n"
         "Content-Disposition: attachment; filename=\"file\"\r\nContent-Transfer-Encoding: base64\r\n\r\n" +
         lines.str() + "\r\n--" + boundary + "--\r\n";
}

/// A server with a mailbox of one kind of mail, in a process that ends with this one.
class Server {
 public:
  explicit Server(Mail mail) : count_(mail == smallText ? kSmallCount : 1) {
    std::string name = (std::filesystem::temp_directory_path() / "qvbenchXXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) std::abort();
    folder_ = name;
    const std::string text = message(mail);
    size_ = text.size() * count_;
    for (std::size_t i = 0; i < count_; ++i) {
      std::ofstream(folder_ + "/" + std::to_string(i) + ".eml", std::ios::binary) << text;
    }
    int pipe[2];
    if (::pipe(pipe) != 0) std::abort();
    if (::fork() == 0) {
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      qv::MailServerOptions options;
      options.popPort = 0;
      qv::MailServer server;
      const std::uint16_t port = server.start(0, folder_, options) ? server.popPort() : 0;
      if (::write(pipe[1], &port, sizeof port) != sizeof port) std::_Exit(1);
      for (;;) ::pause();
    }
    if (::read(pipe[0], &port_, sizeof port_) != sizeof port_ || port_ == 0) std::abort();
  }
  ~Server() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  static const Server& of(std::int64_t mail) {
    static const Server servers[] = {Server(smallText), Server(largeText), Server(largeFile)};
    return servers[mail];
  }
  std::uint16_t port() const { return port_; }
  std::size_t count() const { return count_; }  ///< of messages
  std::size_t size() const { return size_; }    ///< of all of them

 private:
  std::size_t count_, size_ = 0;
  std::string folder_;
  std::uint16_t port_ = 0;
};

void report(benchmark::State& state, const Server& server) {
  const auto rounds = static_cast<std::int64_t>(state.iterations());
  state.SetBytesProcessed(static_cast<std::int64_t>(server.size()) * rounds);
  state.SetItemsProcessed(static_cast<std::int64_t>(server.count()) * rounds);
}

void component(benchmark::State& state) {
  const Server& server = Server::of(state.range(0));
  auto store = std::make_shared<qv::LogStore>();
  qv::CLogImpl log(store);
  qv::PopSettings settings;
  settings.host = "127.0.0.1";
  settings.port = server.port();
  settings.username = "reader";
  const auto session = qv::popConnect(settings, &log);
  if (session == nullptr || !session->listUidls(&log)) return state.SkipWithError("no session");
  for (auto _ : state) {
    log.CheckHighWater();
    for (std::size_t i = 0; i < session->messageCount(); ++i) {
      qv::MailOnServer& entry = *session->mailbox().at(i);
      if (!session->retrieve(entry.number, "", &log, nullptr, false) || entry.email == nullptr) {
        state.SkipWithError("the message was not fetched");
        break;
      }
      entry.email.reset();
    }
  }
  report(state, server);
}

#ifdef QUORVEL_HAVE_CURL
void withCurl(benchmark::State& state) {
  const Server& server = Server::of(state.range(0));
  CURL* curl = curl_easy_init();
  curl_easy_setopt(curl, CURLOPT_USERNAME, "reader");
  curl_easy_setopt(curl, CURLOPT_PASSWORD, "secret");
  curl_easy_setopt(curl, CURLOPT_BUFFERSIZE, 100L * 1024);  // as its own tool does
  const curl_write_callback append = [](char* bytes, std::size_t unit, std::size_t count, void* text) {
    static_cast<std::string*>(text)->append(bytes, unit * count);
    return unit * count;
  };
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, append);
  for (auto _ : state) {
    for (std::size_t i = 1; i <= server.count(); ++i) {
      std::string text;
      const std::string url = "pop3://127.0.0.1:" + std::to_string(server.port()) + "/" + std::to_string(i);
      curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
      curl_easy_setopt(curl, CURLOPT_WRITEDATA, &text);
      if (curl_easy_perform(curl) != CURLE_OK || text.size() < server.size() / server.count()) {
        state.SkipWithError("libcurl did not fetch the message");
        break;
      }
    }
  }
  curl_easy_cleanup(curl);
  report(state, server);
}
#endif

// It times itself, so that starting the interpreter does not count.
constexpr const char* kPoplib = R"(
import poplib, sys, time
poplib._MAXLINE = 1 << 20
session = poplib.POP3('127.0.0.1', int(sys.argv[1]))
session.user('reader'); session.pass_('secret')
start = time.perf_counter()
for number in range(1, int(sys.argv[2]) + 1): session.retr(number)
print(time.perf_counter() - start)
session.quit()
)";

void withPoplib(benchmark::State& state) {
  const Server& server = Server::of(state.range(0));
  const std::string command = "python3 -c \"" + std::string(kPoplib) + "\" " + std::to_string(server.port()) +
                              " " + std::to_string(server.count()) + " 2>/dev/null";
  for (auto _ : state) {
    double seconds = 0;
    FILE* const python = ::popen(command.c_str(), "r");
    const bool timed = python != nullptr && std::fscanf(python, "%lf", &seconds) == 1;
    if (python != nullptr) ::pclose(python);
    if (!timed) {
      state.SkipWithError("no python3 with poplib here");
      break;
    }
    state.SetIterationTime(seconds);
  }
  report(state, server);
}

void eachMail(benchmark::internal::Benchmark* rows) {
  rows->ArgName("mail")->Arg(smallText)->Arg(largeText)->Arg(largeFile)->Unit(benchmark::kMillisecond);
}
BENCHMARK(component)->Name("retrieve/component")->Apply(eachMail)->UseRealTime();
#ifdef QUORVEL_HAVE_CURL
BENCHMARK(withCurl)->Name("retrieve/libcurl")->Apply(eachMail)->UseRealTime();
#endif
BENCHMARK(withPoplib)->Name("retrieve/poplib")->Apply(eachMail)->UseManualTime()->Iterations(2);

}  // namespace
