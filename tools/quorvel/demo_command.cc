// quorvel demo: mails go out to a server of the program's own, and come back.
#include <cstddef>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>

#include "mail_server/mail_server.h"
#include "quorvel/arrived.h"
#include "quorvel/commands.h"
#include "quorvel/diagnosis.h"
#include "quorvel/login.h"
#include "quorvel/mailbox.h"
#include "quorvel/message_table.h"
#include "quorvel/progress_bar.h"
#include "quorvel/sending.h"
#include "quorvel/session.h"
#include "quorvel/system.h"

namespace cli {

namespace {

constexpr std::string_view kUser = "bob";
constexpr std::string_view kPassword = "harvest";
constexpr std::string_view kFilter = "Subject contains \"fair\"";

struct Sample {
  std::string_view subject;
  std::string_view text;        // empty for that of the samples, which is HTML too
  std::string_view attachment;  // one of the samples, or empty
};
constexpr Sample kSamples[] = {
    {"The harvest fair", "", ""},
    {"Who comes to the fair", "Dear Bob, here is the list.\n", "members.txt"},
    {"The choir", "Dear Bob, the choir meets on Tuesday.\n", ""},
};

quorvel::Ref<quorvel::IQuorvelEmail2> compose(const Sample& sample, const std::string& examples) {
  auto email = newEmail();
  email->put_From("Ann Lee <ann@example.org>");
  email->AddTo("Bob Moss", "bob@example.org");
  email->AddCC("Carol Reed", "carol@example.org");
  email->AddBcc("", "dora@example.org");
  email->put_Subject(sample.subject);
  if (sample.text.empty()) {
    email->put_Body(readFile(examples + "/letter.txt", "sample"));
    email->AddHtmlAlternativeBody(readFile(examples + "/letter.html", "sample"));
  } else {
    email->put_Body(sample.text);
  }
  if (sample.attachment.empty()) return email;
  const std::string file = examples + "/" + std::string(sample.attachment);
  if (email->AddFileAttachment(file).empty()) {
    throw Failure{Status::file, "cannot read the sample file " + file, "", "--examples names their folder"};
  }
  return email;
}

/// A mail server of the program's own, and what it took.
class DemoServer {
 public:
  DemoServer() {
    qv::MailServerOptions settings;
    settings.popPort = 0;
    settings.popRules = {.user = std::string(kUser), .password = std::string(kPassword)};
    settings.onMessage = [this](const qv::ReceivedMessage& message) {
      const std::lock_guard lock(mutex_);
      arrived_.push_back(message);
    };
    if (server_.start(0, folder_.path(), std::move(settings))) return;
    throw Failure{Status::failed, server_.error(), "", "this program must be allowed to listen on 127.0.0.1"};
  }

  Server smtp() const { return {.host = "127.0.0.1", .port = server_.port()}; }
  Server pop3() const { return {.host = "127.0.0.1", .port = server_.popPort()}; }
  std::vector<qv::ReceivedMessage> arrived() {
    const std::lock_guard lock(mutex_);
    return arrived_;
  }

 private:
  TemporaryFolder folder_;
  std::mutex mutex_;  // the server has threads of its own
  std::vector<qv::ReceivedMessage> arrived_;
  qv::MailServer server_;
};

void printLog(Session& session) {
  std::cout << "\nWhat the log says\n" << indented(printable(session.logText("%k %C%m")), "  ") << std::flush;
}

void sendOne(Session& session, const Server& server, const Sample& sample, const std::string& examples) {
  std::cout << '"' << sample.subject << "\"\n";
  const auto email = compose(sample, examples);
  ProgressBar bar(std::cout, "sending", isTerminal(1));
  const Outcome outcome = send(session, *email, &bar);
  if (outcome.status == Status::ok) return;
  printLog(session);
  throw diagnose(Protocol::smtp, server, "", outcome.entries);
}

void printArrived(const qv::ReceivedMessage& message) {
  std::string envelope = "MAIL FROM:<" + message.sender + ">";
  for (const std::string& recipient : message.recipients) envelope += "  RCPT TO:<" + recipient + ">";
  std::cout << "\nWhat arrived of the first: " << message.file << ", " << counted(message.size, "byte")
            << "\n"
            << indented(printable(envelope), "    ") << '\n'
            << printable(indented(headerOf(message.text), "    ")) << '\n'
            << indented(printable(outlineOf(message.text)), "    ");
}

void sendAll(DemoServer& mailServer, const std::string& examples) {
  const Server server = mailServer.smtp();
  std::cout << "SENDING: three mails from " << examples << " go to a server of this program's own, at "
            << server.toText() << ".\n\n";
  Session session(server);
  useSmtp(session, server);
  for (const Sample& sample : kSamples) sendOne(session, server, sample, examples);
  const auto arrived = mailServer.arrived();
  if (!arrived.empty()) printArrived(arrived.front());
}

void printRead(quorvel::IQuorvelEmail3& email) {
  std::cout << "  \"" << printable(email.get_Subject()) << "\" from " << printable(email.get_From()) << '\n'
            << indented(printable(outlineOf(email.GetMime())), "    ");
}

/// Through the component's own filter and deletion, as a host does who wants no copy on the server.
void readBack(DemoServer& mailServer) {
  const Server server = mailServer.pop3();
  std::cout << "\nRECEIVING: from " << server.toText() << ", what the filter keeps: " << kFilter << "\n\n";
  Mailbox mailbox(server, std::string(kUser), kPassword);
  mailbox.session().mailMan().GetLog()->ClearLog();
  ProgressBar bar(std::cout, "receiving", isTerminal(1));
  const Download read = mailbox.transfer(std::string(kFilter), &bar);
  std::cout << "\nWhat was read, and is not on the server any more\n";
  for (const Email& email : read.emails) printRead(*email);
  printLog(mailbox.session());
  std::cout << "\nWhat stays on the server\n";
  print(rowsOf(mailbox.headers("").emails, mailbox.uidls()), terminalWidth());
  std::cout << std::flush;
}

Status runDemo(const std::string& examples) {
  DemoServer mailServer;
  sendAll(mailServer, examples);
  readBack(mailServer);
  return Status::ok;
}

}  // namespace

void addDemoCommand(CLI::App& app, Run& run) {
  const auto examples = std::make_shared<std::string>("examples");
  CLI::App& demo = *app.add_subcommand(
      "demo", "Send sample mails to a server of its own, read them back, and show all of it");
  demo.add_option("--examples", *examples, "Folder of the samples letter.txt, letter.html and members.txt")
      ->type_name("FOLDER")
      ->take_last()
      ->capture_default_str();
  demo.callback([&run, examples] { run = [examples] { return runDemo(*examples); }; });
}

}  // namespace cli
