// Reads the messages of a mailbox that a filter keeps, and deletes those from the server. With the library
// installed:
//
//     g++ -std=c++20 receive.cc -o receive $(pkg-config --cflags --libs quorvel)
//     quorvel serve --port 2525 --pop3-port 1110   (a mail server to try it on, in another terminal)
//     ./compose_and_send localhost 2525
//     ./receive localhost 1110 bob < password      (the first line; there any will do)

#include <cstdlib>
#include <iostream>
#include <string>

#include <quorvel/quorvel.h>

namespace {

int fail(quorvel::IQuorvelMailMan3& mailman) {
  const auto log = mailman.GetLog().as<quorvel::IQuorvelLog2>();
  std::cerr << "cannot read the mailbox: " << (log ? log->get_LastError() : "") << "\n";
  return EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
  const auto mailman = quorvel::create<quorvel::IQuorvelMailMan3>("QuorvelMail.QuorvelMailMan");
  if (!mailman) return EXIT_FAILURE;
  std::string password;
  std::getline(std::cin, password);
  mailman->put_MailHost(argc > 1 ? argv[1] : "localhost");
  mailman->put_MailPort(argc > 2 ? std::atoi(argv[2]) : 110);
  mailman->put_PopUsername(argc > 3 ? argv[3] : "bob");
  mailman->put_PopPassword(password);
  mailman->put_ConnectTimeout(30);
  mailman->put_ReadTimeout(30);

  const auto count = mailman->CheckMail();
  if (count < 0) return fail(*mailman);
  std::cout << count << " messages on the server\n";

  mailman->put_Filter("Subject contains \"fair\" and not (From contains \"noreply\")");
  const auto bundle = mailman->CopyMail().as<quorvel::IQuorvelEmailBundle2>();
  if (!bundle) return fail(*mailman);
  for (std::int32_t index = 0; index < bundle->get_MessageCount(); ++index) {
    const auto email = bundle->GetEmail(index).as<quorvel::IQuorvelEmail3>();
    std::cout << email->get_Subject() << ": " << email->get_NumAttachments() << " attachments\n"
              << email->GetPlainTextBody() << "\n";
  }

  // Only what was read goes; what the filter left out stays. Deleting reports nothing: look what is left.
  mailman->DeleteBundle(bundle.get());
  const auto left = mailman->GetUidls();
  if (!left) return fail(*mailman);
  std::cout << left->get_Count() << " messages left\n";
  return EXIT_SUCCESS;
}
