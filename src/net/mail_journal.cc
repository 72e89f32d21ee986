#include "net/mail_journal.h"

#include <string>

#include "platform/files.h"

namespace qv {

namespace {

// One opening of the file for the three pieces: the message is not copied, and entries of several writers are
// as whole as the system keeps them.
void appendEntry(std::string_view fileName, std::string_view begin, std::string_view text,
                 std::string_view end) {
  if (fileName.empty()) return;
  std::string ignored;
  files::append(fileName, {begin, text, end}, ignored);
}

}  // namespace

void appendSentLog(std::string_view fileName, std::string_view text) {
  appendEntry(fileName, "--BEGIN SENT QUORVEL EMAIL--\n", text, "\n--END SENT QUORVEL EMAIL--\n");
}

void appendReceivedLog(std::string_view fileName, std::string_view text) {
  appendEntry(fileName, "--BEGIN RECEIVED QUORVEL EMAIL--\n", text, "\n--END RECEIVED QUORVEL EMAIL--\n");
}

}  // namespace qv
