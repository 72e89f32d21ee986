#include "quorvel/answer.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <set>
#include <vector>

#include "quorvel/arrived.h"
#include "quorvel/composing.h"
#include "quorvel/recipient_list.h"
#include "quorvel/report.h"
#include "quorvel/session.h"

namespace cli {

namespace {

/// What is true of a message that came, and not of one that is made of it. The component takes away what
/// else there is (Received, Return-Path, requests for receipts, Bcc).
constexpr std::array<std::string_view, 28> kOfItsWay = {
    "Delivered-To",
    "X-Original-To",
    "Envelope-To",
    "Errors-To",
    "Precedence",
    "Auto-Submitted",
    "Received-SPF",
    "DKIM-Signature",
    "DomainKey-Signature",
    "ARC-Seal",
    "ARC-Message-Signature",
    "ARC-Authentication-Results",
    "Authentication-Results",
    "List-Id",
    "List-Post",
    "List-Help",
    "List-Subscribe",
    "List-Unsubscribe",
    "List-Unsubscribe-Post",
    "List-Owner",
    "List-Archive",
    "Resent-From",
    "Resent-Sender",
    "Resent-To",
    "Resent-Cc",
    "Resent-Bcc",
    "Resent-Date",
    "Resent-Message-ID",
};
constexpr std::array<std::string_view, 4> kOfItsThread = {"In-Reply-To", "References", "Thread-Topic",
                                                          "Thread-Index"};

/// The identifiers <...> in a field, as far as they are some.
std::vector<std::string> messageIdsIn(std::string_view field) {
  constexpr std::size_t kLongest = 250;
  std::vector<std::string> ids;
  for (std::size_t open = field.find('<'); open != field.npos; open = field.find('<', open + 1)) {
    const std::string_view rest = field.substr(open, kLongest);
    std::size_t end = 1;
    while (end < rest.size() && rest[end] > ' ' && rest[end] < 0x7f && rest[end] != '<' && rest[end] != '>') {
      ++end;
    }
    if (end > 1 && end < rest.size() && rest[end] == '>') ids.emplace_back(rest.substr(0, end + 1));
  }
  return ids;
}

std::string newBoundary() {
  std::random_device device;
  std::string boundary = "quorvel";
  for (int i = 0; i < 4; ++i) boundary += "-" + std::to_string(device());
  return boundary;
}

/// The lines of a header whose field names begin with "Content-", or the others.
std::string fieldsOf(std::string_view header, bool areOfContent) {
  std::string fields;
  bool isWanted = false;
  while (!header.empty()) {
    const std::size_t end = header.find('\n');
    const std::string_view line = header.substr(0, end == header.npos ? end : end + 1);
    header.remove_prefix(line.size());
    const bool isFold = line.starts_with(' ') || line.starts_with('\t');
    if (!isFold) isWanted = lowerCase(line.substr(0, 8)) == "content-" ? areOfContent : !areOfContent;
    if (isWanted) fields += line;
  }
  if (!fields.empty() && !fields.ends_with('\n')) fields += "\r\n";
  return fields;
}

/// The message with a text in front of it that is a part of its own.
std::string withPartBefore(const std::string& message, const std::string& text) {
  const std::string boundary = newBoundary();
  const std::string_view header = headerOf(message);
  std::string type = fieldsOf(header, true);
  // Where no field stands, readers may take the first lines of the text for some.
  if (type.empty()) type = "Content-Type: text/plain; charset=us-ascii\r\n";
  return fieldsOf(header, false) + "Content-Type: multipart/mixed; boundary=\"" + boundary + "\"\r\n\r\n--" +
         boundary + "\r\nContent-Type: text/plain; charset=" + (isAscii(text) ? "us-ascii" : "utf-8") +
         "\r\nContent-Transfer-Encoding: " + (isAscii(text) ? "7bit" : "8bit") + "\r\n\r\n" + text +
         "\r\n--" + boundary + "\r\n" + type + "\r\n" + std::string(bodyOf(message)) + "\r\n--" + boundary +
         "--\r\n";
}

/// Whether the e-mail is one plain text that another one may be put in front of.
bool isPlainTextFor(quorvel::IQuorvelEmail2& email, std::string_view text) {
  const std::string type = lowerCase(email.GetHeaderField("Content-Type"));
  const bool isPlain = type.empty() || type.starts_with("text/plain");
  return isPlain && (isAscii(text) || type.find("utf-8") != std::string::npos);
}

}  // namespace

Email answerTo(quorvel::IQuorvelEmail3& source,
               quorvel::Ref<quorvel::IQuorvelEmail2> (quorvel::IQuorvelEmail2::*make)()) {
  Email answer = (source.*make)().as<quorvel::IQuorvelEmail3>();
  if (!answer)
    throw Failure{Status::failed, "the component made no answer of the message", "", "--log shows why"};
  for (const std::string_view field : kOfItsWay) answer->AddHeaderField(field, "");
  for (const std::string_view field : kOfItsThread) answer->AddHeaderField(field, "");
  return answer;
}

void continueThread(quorvel::IQuorvelEmail2& reply, quorvel::IQuorvelEmail2& source) {
  constexpr std::size_t kMost = 20;
  const std::vector<std::string> own = messageIdsIn(source.GetHeaderField("Message-ID"));
  if (own.empty()) return;
  std::vector<std::string> thread = messageIdsIn(source.GetHeaderField("References"));
  if (thread.empty()) thread = messageIdsIn(source.GetHeaderField("In-Reply-To"));
  // The first of a long conversation, and the last ones.
  if (thread.size() > kMost)
    thread.erase(thread.begin() + 1, thread.end() - static_cast<std::ptrdiff_t>(kMost - 1));
  std::string references;
  for (const std::string& id : thread) references += id + "\r\n ";
  reply.AddHeaderField("In-Reply-To", own.front());
  reply.AddHeaderField("References", references + own.front());
}

void followReplyTo(quorvel::IQuorvelEmail2& reply, quorvel::IQuorvelEmail2& source) {
  const auto asked = newEmail();
  if (asked->AddMultipleTo(source.get_ReplyTo()) != 1) return;
  reply.ClearTo();
  reply.AddMultipleTo(source.get_ReplyTo());
}

void addOthers(quorvel::IQuorvelEmail2& reply, quorvel::IQuorvelEmail2& source, std::string_view self) {
  const auto bare = [probe = newEmail()](std::string_view full) {
    probe->put_From(full);
    return lowerCase(probe->get_FromAddress());
  };
  std::set<std::string> known = {bare(self)};
  for (std::int32_t i = 0; i < reply.get_NumTo(); ++i) known.insert(bare(reply.GetTo(i)));
  std::vector<std::string> unusable;
  const auto add = [&](const std::string& full) {
    const std::string address = bare(full);
    if (!known.insert(address).second) return;
    if (faultOf(address).empty()) {
      reply.AddMultipleCC(full);
    } else {
      unusable.push_back(full);
    }
  };
  for (std::int32_t i = 0; i < source.get_NumTo(); ++i) add(source.GetTo(i));
  for (std::int32_t i = 0; i < source.get_NumCC(); ++i) add(source.GetCC(i));
  warnOfList("no address that a copy could go to:", unusable);
}

void putBefore(Email& answer, const std::string& ownText) {
  if (ownText.empty()) return;
  const std::string text = withMailLineEnds(ownText);
  if (isPlainTextFor(*answer, text)) return answer->put_Body(text + "\r\n\r\n" + answer->get_Body());
  auto whole = newEmail().as<quorvel::IQuorvelEmail3>();
  if (whole->LoadMime(withPartBefore(answer->GetMime(), text)) != 1) {
    throw Failure{Status::failed, "the text cannot be put in front of the message", "", "try it without"};
  }
  answer = whole;
}

}  // namespace cli
