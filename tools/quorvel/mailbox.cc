#include "quorvel/mailbox.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <utility>

#include <CLI/CLI.hpp>

#include "quorvel/diagnosis.h"

namespace cli {

namespace {

using Counts = std::map<std::string, std::size_t>;

Counts countsOf(const std::vector<std::string>& texts) {
  Counts counts;
  for (const std::string& text : texts) ++counts[text];
  return counts;
}

std::size_t countIn(const Counts& counts, const std::string& text) {
  const auto found = counts.find(text);
  return found == counts.end() ? 0 : found->second;
}

quorvel::Ref<quorvel::IQvStringArray> newArray(const std::vector<std::string>& texts) {
  auto array = quorvel::create<quorvel::IQvStringArray>("QuorvelMail.QvStringArray");
  if (!array) throw Failure{Status::failed, "the component gave no QvStringArray", "", ""};
  for (const std::string& text : texts) array->Append(text);
  return array;
}

}  // namespace

void addMailboxOptions(CLI::App& command, MailboxOptions& options) {
  addServerOptions(command, options.server, "localhost:110");
  addLoginOptions(command, options.login)->required();
  addLogOptions(command, options.log);
}

Mailbox::Mailbox(const MailboxOptions& options)
    : Mailbox(serverOf(options.server, Protocol::pop3), options.login.user) {
  const Password password(options.login.password, toText());
  usePop3(session_, server_, user_, password.view());
}

Mailbox::Mailbox(const Server& server, const std::string& user, std::string_view password)
    : Mailbox(server, user) {
  usePop3(session_, server_, user_, password);
}

Failure Mailbox::failure() {
  return diagnose(Protocol::pop3, server_, user_, session_.entries());
}

std::int32_t Mailbox::count() {
  session_.beginOperation();
  const std::int32_t count = session_.mailMan().CheckMail();
  if (count < 0) throw failure();
  return count;
}

std::vector<std::string> Mailbox::uidls() {
  session_.beginOperation();
  const auto array = session_.mailMan().GetUidls();
  // A listing that breaks off gives what was listed so far; then an error was logged.
  if (!array || !session_.entries().errors.empty()) throw failure();
  std::vector<std::string> uidls;
  uidls.reserve(static_cast<std::size_t>(array->get_Count()));
  for (std::int32_t i = 0; i < array->get_Count(); ++i) uidls.push_back(array->GetString(i));
  return uidls;
}

Download Mailbox::downloaded(const quorvel::Ref<quorvel::IQuorvelEmailBundle>& bundle) {
  if (!bundle) throw failure();
  Download download;
  for (std::int32_t i = 0; i < bundle->get_MessageCount(); ++i) {
    auto email = bundle->GetEmail(i).as<quorvel::IQuorvelEmail3>();
    if (email) download.emails.push_back(std::move(email));
  }
  for (const std::string& error : session_.entries().errors) {
    if (error.starts_with("Cannot fetch mail message")) ++download.failed;
    if (error == "Failed to get command response on socket") download.brokenListing = true;
  }
  // When the connection breaks in the middle of a message, it is that message which failed.
  if (download.failed > 0) download.brokenListing = false;
  return download;
}

Download Mailbox::headers(const std::string& filter) {
  session_.beginOperation();
  session_.mailMan().put_Filter(filter);
  return downloaded(session_.mailMan().GetAllHeaders(1));
}

Download Mailbox::copy(std::int32_t maxCount, const std::string& journal, ProgressBar* bar) {
  session_.beginOperation();
  session_.mailMan().put_Filter("");
  session_.mailMan().put_MaxCount(maxCount);
  session_.mailMan().put_LogMailReceivedFilename(journal);
  const ShownProgress progress(session_.mailMan(), ShownProgress::Work::receiving, bar);
  return downloaded(session_.mailMan().CopyMail());
}

Download Mailbox::transfer(const std::string& filter, ProgressBar* bar) {
  session_.beginOperation();
  session_.mailMan().put_Filter(filter);
  const ShownProgress progress(session_.mailMan(), ShownProgress::Work::receiving, bar);
  return downloaded(session_.mailMan().TransferMail());
}

Download Mailbox::fetch(const std::vector<std::string>& uidls) {
  session_.beginOperation();
  return downloaded(session_.mailMan().FetchMultiple(newArray(uidls).get()));
}

/// A deletion reports nothing; what the server lists afterwards is what became of it.
std::vector<std::string> Mailbox::uidlsAfterDeletion() {
  try {
    return uidls();
  } catch (Failure& failure) {
    failure.what = "it is not known what the server has deleted: " + failure.what;
    throw;
  }
}

Removal Mailbox::remove(const std::vector<std::string>& uidls) {
  Removal removal;
  const Counts before = countsOf(this->uidls());
  std::vector<std::string> wanted;
  for (const auto& [uidl, times] : countsOf(uidls)) {
    const std::size_t there = countIn(before, uidl);
    (there == 0 ? removal.missing : there > times ? removal.shared : wanted).push_back(uidl);
  }
  if (wanted.empty()) return removal;
  session_.beginOperation();
  session_.mailMan().DeleteMultiple(newArray(wanted).get());
  const Counts after = countsOf(uidlsAfterDeletion());
  for (const std::string& uidl : wanted) {
    const std::size_t still = countIn(after, uidl);
    removal.deleted += countIn(before, uidl) - std::min(still, countIn(before, uidl));
    if (still > 0) removal.left.push_back(uidl);
  }
  return removal;
}

void warnOfLack(const Download& download) {
  if (download.failed > 0) {
    warn(counted(download.failed, "message") + " could not be downloaded; --log shows why");
  }
  if (download.brokenListing) {
    warn("the server's list of messages broke off: there may be more; --log shows what was said");
  }
}

void warnOfRest(const Removal& removal) {
  warnOfList("not on the server:", removal.missing);
  warnOfList("not deleted, for other messages have the same unique id:", removal.shared);
  warnOfList("not deleted, and still on the server:", removal.left);
}

}  // namespace cli
