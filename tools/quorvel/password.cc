#include "quorvel/password.h"

#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "quorvel/quiet_terminal.h"
#include "quorvel/report.h"
#include "quorvel/system.h"

namespace cli {

namespace {

Failure unreadable(const std::string& name, int error) {
  return {Status::file, "cannot read the password from " + name, std::generic_category().message(error),
          "nothing was done; check that it exists and that this user may read it"};
}

}  // namespace

Password::Password(const PasswordSource& source, const std::string& whose) {
  try {
    if (source.file) {
      readFile(*source.file);
    } else if (source.descriptor) {
      readDescriptor(*source.descriptor, "descriptor " + std::to_string(*source.descriptor));
    } else {
      readTerminal(whose);
    }
  } catch (...) {
    wipe();  // no destructor follows
    throw;
  }
}

void Password::wipe() noexcept {
  explicit_bzero(bytes_.data(), bytes_.size());
  size_ = 0;
}

Password::Read Password::readLine(int descriptor, const QuietTerminal* terminal) {
  size_ = 0;
  char byte = 0;
  for (;;) {
    if (terminal != nullptr && !terminal->waitForInput()) return Read::interrupted;
    const ssize_t count = ::read(descriptor, &byte, 1);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return Read::failed;
    if (count == 0 || byte == '\n') break;
    if (size_ < bytes_.size()) bytes_[size_++] = byte;
  }
  explicit_bzero(&byte, sizeof byte);
  if (size_ > 0 && size_ < bytes_.size() && bytes_[size_ - 1] == '\r') --size_;
  return Read::done;
}

void Password::check(const std::string& name) const {
  const auto refuse = [&](const std::string& what, const std::string& nextStep) {
    throw Failure{Status::file, name + what, "", nextStep};
  };
  if (size_ == 0) refuse(" holds no password", "nothing was done; the password is the first line");
  if (size_ > kMaxBytes) {
    refuse(" holds a password that is too long",
           "nothing was done; no server takes one of more than " + std::to_string(kMaxBytes) + " bytes");
  }
  if (view().find('\r') != std::string_view::npos || view().find('\0') != std::string_view::npos) {
    refuse(" holds bytes that no password can have", "nothing was done; is it a text file?");
  }
}

void Password::readDescriptor(int descriptor, const std::string& name) {
  if (readLine(descriptor, nullptr) == Read::failed) throw unreadable(name, errno);
  check(name);
}

void Password::readFile(const std::string& path) {
  const std::string name = "the file " + path;
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
  if (file.get() < 0) throw unreadable(name, errno);
  readDescriptor(file.get(), name);
}

void Password::readTerminal(const std::string& whose) {
  // Not standard input, which may be the mail's text.
  const Descriptor terminal(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY));
  const std::string nextStep = "nothing was done; give --password-file or --password-fd";
  if (terminal.get() < 0) {
    throw Failure{Status::usage, "there is no terminal to ask for the password", "", nextStep};
  }
  for (;;) {
    // Each round ends with the terminal as it was; a signal that came meanwhile does then what it is for. A
    // program that was only stopped asks again.
    const QuietTerminal quiet(terminal.get());
    if (!quiet.isQuiet()) throw unreadable("the terminal", errno);
    quiet.write("Password of " + printable(whose) + ": ");
    const Read result = readLine(terminal.get(), &quiet);
    quiet.write("\n");
    if (result == Read::failed) throw unreadable("the terminal", errno);
    if (result == Read::done) break;
  }
  if (size_ == 0) throw Failure{Status::usage, "no password was given", "", nextStep};
  check("the terminal");
}

}  // namespace cli
