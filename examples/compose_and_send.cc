// Composes a mail with a plain and an HTML text and sends it. With the library installed:
//
//     g++ -std=c++20 compose_and_send.cc -o compose_and_send $(pkg-config --cflags --libs quorvel)
//     quorvel serve --port 2525                    (a mail server to try it on, in another terminal)
//     ./compose_and_send localhost 2525

#include <cstdlib>
#include <iostream>

#include <quorvel/quorvel.h>

int main(int argc, char** argv) {
  const auto email = quorvel::create<quorvel::IQuorvelEmail2>("QuorvelMail.QuorvelEmail");
  const auto mailman = quorvel::create<quorvel::IQuorvelMailMan3>("QuorvelMail.QuorvelMailMan");
  if (!email || !mailman) return EXIT_FAILURE;

  email->put_From("Ann Lee <ann@example.org>");
  email->AddTo("Bob Moss", "bob@example.org");
  email->put_Subject("The harvest fair");
  email->put_Body("The fair is on Saturday.\n");
  email->AddHtmlAlternativeBody("<html><body>The <b>fair</b> is on Saturday.</body></html>");

  mailman->put_SmtpHost(argc > 1 ? argv[1] : "localhost");
  mailman->put_SmtpPort(argc > 2 ? std::atoi(argv[2]) : 25);
  mailman->put_SmtpAuthMethod("NONE");  // no login
  mailman->put_ConnectTimeout(30);
  mailman->put_ReadTimeout(30);
  quorvel::connect(*mailman, [](std::int32_t, std::int32_t, std::int32_t percent, std::int32_t) {
    std::cout << "\rsending " << percent << '%' << std::flush;
  });

  if (mailman->SendEmail(email.get()) == 1) {
    std::cout << "\nsent\n";
    return EXIT_SUCCESS;
  }
  const auto error = quorvel::lastError();
  std::cerr << "\nnot sent: " << (error ? error->description : "some recipients were refused") << "\n";
  return EXIT_FAILURE;
}
