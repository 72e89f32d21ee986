#include <iostream>
#include <memory>
#include <string>

#include "mail_server/mail_server.h"
#include "quorvel/arrived.h"
#include "quorvel/commands.h"
#include "quorvel/login.h"
#include "quorvel/progress_bar.h"
#include "quorvel/sending.h"
#include "quorvel/session.h"
#include "quorvel/system.h"

namespace cli {

namespace {

quorvel::Ref<quorvel::IQuorvelEmail2> composeFrom(const std::string& examples) {
  auto email = newEmail();
  email->put_From("Ann Lee <ann@example.org>");
  email->AddTo("Bob Moss", "bob@example.org");
  email->AddCC("Carol Reed", "carol@example.org");
  email->AddBcc("", "dora@example.org");
  email->put_Subject("The harvest fair");
  email->AddHeaderField("X-Fair", "2026");
  email->put_Body(readFile(examples + "/letter.txt", "sample"));
  email->AddHtmlAlternativeBody(readFile(examples + "/letter.html", "sample"));
  return email;
}

void printArrived(const qv::ReceivedMessage& message) {
  std::string envelope = "MAIL FROM:<" + message.sender + ">";
  for (const std::string& recipient : message.recipients) envelope += "  RCPT TO:<" + recipient + ">";
  std::cout << "\nWhat arrived: " << message.file << ", " << message.size << " bytes\n"
            << "  envelope\n"
            << indented(printable(envelope), "    ") << "  header\n"
            << printable(indented(headerOf(message.text), "    ")) << "  parts\n"
            << indented(printable(outlineOf(message.text)), "    ");
}

Status runDemo(const std::string& examples) {
  const auto email = composeFrom(examples);

  const TemporaryFolder folder;
  qv::ReceivedMessage arrived;
  qv::MailServerOptions settings;
  settings.onMessage = [&](const qv::ReceivedMessage& message) { arrived = message; };
  qv::MailServer mailServer;
  if (!mailServer.start(0, folder.path(), std::move(settings))) {
    throw Failure{Status::failed, mailServer.error(), "",
                  "this program must be allowed to listen on 127.0.0.1"};
  }
  Server server;
  server.host = "127.0.0.1";
  server.port = mailServer.port();
  std::cout << "A mail from " << examples << " goes to a mail server of this program's own, at "
            << server.toText() << ".\n\n";

  Session session(server);
  useSmtp(session, server);
  ProgressBar bar(std::cout, "sending", isTerminal(1));
  const Outcome outcome = send(session, *email, &bar);
  mailServer.stop();
  if (outcome.status == Status::ok) printArrived(arrived);
  std::cout << "\nWhat the log says\n" << indented(printable(session.logText("%k %C%m")), "  ") << std::flush;
  if (outcome.status == Status::ok) return Status::ok;
  throw Failure{outcome.status, "the mail did not arrive", outcome.report, "the log above says why"};
}

}  // namespace

void addDemoCommand(CLI::App& app, Run& run) {
  const auto examples = std::make_shared<std::string>("examples");
  CLI::App& demo =
      *app.add_subcommand("demo", "Send a sample mail to a server of its own, and show all of it");
  demo.add_option("--examples", *examples, "Folder of the samples letter.txt and letter.html")
      ->type_name("FOLDER")
      ->take_last()
      ->capture_default_str();
  demo.callback([&run, examples] { run = [examples] { return runDemo(*examples); }; });
}

}  // namespace cli
