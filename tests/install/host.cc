// A host in C++: makes an e-mail, by its interface and by name, and reads its text.
#include <quorvel/quorvel.h>

#include <cstdio>
#include <string>

int main() {
  const auto email = quorvel::create<quorvel::IQuorvelEmail>("QuorvelMail.QuorvelEmail");
  email->put_FromAddress("me@example.org");
  email->put_Subject("from an installed package");
  if (email->AddTo("Ann", "ann@example.org") != 1) return 1;

  quorvel::Value text;
  const auto id = quorvel::idOfName(*email, "GetMime");
  if (quorvel::invoke(*email, id, quorvel::Kind::method, {}, text) != quorvel::Status::ok) return 2;
  if (std::get<std::string>(text).find("Subject: from an installed package\r\n") == std::string::npos)
    return 3;
  std::puts("C++ host: ok");
  return 0;
}
