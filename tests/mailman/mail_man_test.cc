#include "mailman/mail_man.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <ranges>
#include <stdexcept>

#include "support/linear_cost.h"
#include "support/log_lines.h"
#include "support/pop_server.h"
#include "support/sessions.h"

namespace qv {
namespace {

using qv_test::LogLines;
using qv_test::Percentages;
using qv_test::PopServer;
using qv_test::split;
using qv_test::Strings;

constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();

ReceiveSettings settingsFor(std::uint16_t port) {
  ReceiveSettings settings;
  settings.pop = qv_test::popSettings(port);
  return settings;
}

/// Messages of which number n has the subject "sn" and three body lines.
Strings messages(std::size_t count) {
  Strings texts;
  for (std::size_t n = 1; n <= count; ++n) {
    texts.push_back("From: f@h\r\nSubject: s" + std::to_string(n) + "\r\n\r\na\r\nb\r\nc\r\n");
  }
  return texts;
}

/// The rules hold from the second STAT on; the first one belongs to the login.
PopServer::Reply afterLogin(std::string_view rules) {
  return [then = qv_test::Replies::followRules(rules),
          stats = 0](std::string_view command) mutable -> std::optional<std::string> {
    if (command == "GREETING") stats = 0;
    stats += command == "STAT" ? 1 : 0;
    return stats > 1 || command != "STAT" ? then(command) : std::nullopt;
  };
}

/// The commands that are about one message, of these kinds.
Strings commandsOf(PopServer& server, std::string_view kinds) {
  Strings commands = server.commands();
  std::erase_if(commands, [&](const std::string& each) {
    const std::size_t blank = each.find(' ');
    return blank == each.npos || kinds.find(each.substr(0, blank)) == kinds.npos;
  });
  return commands;
}

std::string subjectsOf(const MailBundle* bundle) {
  if (bundle == nullptr) return "null";
  std::string subjects;
  for (std::size_t i = 0; i < bundle->count(); ++i) {
    subjects += (i == 0 ? "" : " ") + std::string(bundle->at(i)->getSubject());
  }
  return subjects;
}

TEST(MailMan, CopiesAndTransfers) {
  const struct {
    const char *rules, *filter;
    std::int32_t maxCount, sizeLimit;
    const char *copied, *commands, *left, *log;
  } rows[] = {
      {"", "", 9, 9, "s1 s2 s3", "RETR 1|RETR 2|RETR 3|DELE 1|DELE 2|DELE 3", "", ""},
      {"", "", 2, 9, "s1 s2", "RETR 1|RETR 2|DELE 1|DELE 2", "id-3", ""},
      {"", "", 0, 9, "", "", "id-1|id-2|id-3", ""},
      {"", "", -1, 9, "", "", "id-1|id-2|id-3", ""},
      {"", "", 9, -1, "", "", "id-1|id-2|id-3", ""},
      {"", "", 9, 0, "s1 s2 s3", "RETR 1|RETR 2|RETR 3|DELE 1|DELE 2|DELE 3", "", ""},
      {"", "subject != \"S2\"", 9, 9, "s1 s3", "RETR 1|RETR 2|RETR 3|DELE 1|DELE 3", "id-2",
       "filter: subject != \"S2\""},
      {"", "x", 9, 9, "", "RETR 1|RETR 2|RETR 3", "id-1|id-2|id-3", "filter: x"},
      {"", "x-uidl > \"id-1\"", 9, 9, "s2 s3", "RETR 1|RETR 2|RETR 3|DELE 2|DELE 3", "id-1", ""},
      {"RETR 2=-ERR gone", "", 9, 9, "s1 s3", "RETR 1|RETR 2|RETR 3|DELE 1|DELE 3", "id-2",
       "Cannot fetch mail message, response to RETR = -ERR gone"},
      {"DELE 1=-ERR no", "", 9, 9, "s1 s2 s3", "RETR 1|RETR 2|RETR 3|DELE 1|DELE 2|DELE 3", "id-1",
       "Cannot delete mail message, response to DELE = -ERR no"},
      {"STAT=-ERR no", "x", 9, 9, "null", "", "id-1|id-2|id-3", "filter: x|stat command failed"},
      {"UIDL=-ERR no", "", 9, 9, "null", "", "id-1|id-2|id-3",
       "Cannot get UIDLs, response to UIDL = -ERR no|list command failed"},
      {"UIDL=+OK\r\n3 a\r\n1 b\r\n3 c\r\n.", "", 9, 9, "s1 s3", "RETR 1|RETR 3|DELE 1|DELE 3", "id-2", ""},
  };
  for (const auto& row : rows) {
    for (const bool transfer : {false, true}) {
      PopServer server(messages(3), afterLogin(row.rules));
      ReceiveSettings settings = settingsFor(server.port());
      settings.filter = row.filter;
      settings.maxCount = row.maxCount;
      settings.sizeLimit = row.sizeLimit;
      LogLines log;
      MailMan engine(settings, nullptr, log.get());
      const auto bundle = transfer ? engine.xferMail() : engine.copyMail();
      EXPECT_EQ(subjectsOf(bundle.get()), row.copied) << row.rules << row.filter;
      if (transfer) EXPECT_TRUE(log.holds(split(row.log)));
      Strings expected = split(row.commands);
      if (!transfer) std::erase_if(expected, [](const auto& each) { return each.starts_with("DELE"); });
      EXPECT_EQ(commandsOf(server, "RETR DELE"), expected) << row.rules << row.filter;
      EXPECT_EQ(server.left(), transfer ? split(row.left) : split("id-1|id-2|id-3")) << row.rules;
      EXPECT_EQ(server.count("QUIT"), 1U);
    }
  }
}

// However a transfer breaks off, each message is on the server still or with the host.
TEST(MailMan, LosesNothing) {
  std::size_t broken = 0, kept = 0;
  for (std::size_t cut = 0; cut < 400; ++cut) {
    PopServer server(messages(3), nullptr, cut);
    const ReceiveSettings settings = settingsFor(server.port());
    const auto bundle = MailMan(settings, nullptr, nullptr).xferMail();
    Strings found = server.left();
    if (bundle == nullptr) EXPECT_EQ(found.size(), 3U) << cut;
    for (std::size_t i = 0; bundle != nullptr && i < bundle->count(); ++i) {
      found.emplace_back(bundle->at(i)->uidlOnServer());
      EXPECT_TRUE(bundle->at(i)->body().data().view().starts_with("a\r\nb\r\nc")) << cut;
    }
    std::ranges::sort(found);
    found.erase(std::unique(found.begin(), found.end()), found.end());
    // A listing that broke off tells of fewer, and those that it does not tell of stay.
    EXPECT_EQ(found, split("id-1|id-2|id-3")) << cut;
    broken += bundle == nullptr ? 1 : 0;
    kept += server.left().empty() ? 0 : 1;
  }
  EXPECT_TRUE(broken > 0 && kept > broken && kept < 400);
}

TEST(MailMan, CopiesHeaders) {
  const struct {
    HeaderRange range;
    std::int32_t lines;
    const char *rules, *filter, *copied, *commands;
  } rows[] = {
      {{}, 1, "", "", "s1 s2 s3", "TOP 1 1|TOP 2 1|TOP 3 1"},
      {{.all = true, .from = 2, .to = 1}, 0, "", "", "s1 s2 s3", "TOP 1 1|TOP 2 1|TOP 3 1"},
      {{.all = false, .from = 1, .to = 1}, 2, "", "", "s2", "TOP 2 2"},
      {{.all = false, .from = 1, .to = 9}, 2, "", "", "s2 s3", "TOP 2 2|TOP 3 2"},
      {{.all = false, .from = 3, .to = 1}, 2, "", "", "", ""},
      {{.all = false, .from = kLeast, .to = kMost}, 2, "", "", "s1 s2 s3", "TOP 1 2|TOP 2 2|TOP 3 2"},
      {{.all = false, .from = kLeast, .to = kLeast}, 2, "", "", "", ""},
      {{.all = false, .from = kMost, .to = kMost}, 2, "", "", "", ""},
      {{}, 1, "TOP 2=-ERR no", "", "s1 s3", "TOP 1 1|TOP 2 1|TOP 3 1"},
      {{}, 1, "", "Subject = \"s2\"", "s2", "TOP 1 1|TOP 2 1|TOP 3 1"},
      {{}, 1, "STAT=+OK 2 9", "", "s1 s2", "TOP 1 1|TOP 2 1"},
      {{}, 1, "STAT=+OK 2147483647 2147483647", "", "s1 s2 s3", "TOP 1 1|TOP 2 1|TOP 3 1"},
      {{}, 1, "STAT=+OK -2147483648 -2147483648", "", "", ""},
      {{}, 1, "STAT=-ERR no", "", "null", ""},
      {{.all = false, .from = 0, .to = 0}, 1, "STAT=-ERR no", "", "s1", "TOP 1 1"},
      {{}, 1, "UIDL=-ERR no", "", "null", ""},
  };
  for (const auto& row : rows) {
    PopServer server(messages(3), afterLogin(row.rules));
    ReceiveSettings settings = settingsFor(server.port());
    settings.filter = row.filter;
    settings.maxCount = 0;
    settings.sizeLimit = -1;
    LogLines log;
    Percentages sink(1);
    const auto bundle = MailMan(settings, &sink, log.get()).copyHeaders(row.range, row.lines);
    EXPECT_EQ(subjectsOf(bundle.get()), row.copied) << row.commands << row.rules;
    EXPECT_EQ(commandsOf(server, "TOP"), split(row.commands)) << row.rules;
    EXPECT_EQ(server.count("STAT"), row.range.all ? 2U : 1U);
    if (bundle != nullptr) EXPECT_TRUE(!sink.values.empty() && sink.values.back() == 100) << row.rules;
  }
}

TEST(MailMan, Progress) {
  const Strings texts = messages(2);
  const struct {
    const char* stat;
    std::int32_t sizeLimit;
    std::vector<int> percentages;
  } rows[] = {
      // 10000 - 2 * 400 + 600 = 9800
      {"STAT=+OK 2 10000", 0, {3, 6, 8, 10}},
      // 2 * 600 below a total of 1800, from (2 * 3 + 3) * 200
      {"STAT=+OK 2 199", -1, {16, 33, 66, 100}},
      {"STAT=+OK -1 -1", 0, {30, 60, 80, 100}},
      {"STAT=+OK -2147483648 2147483647", -1, {100}},
      {"STAT=+OK 2147483647 -2147483648", -1, {100}},
  };
  for (const auto& row : rows) {
    PopServer server(texts, afterLogin(row.stat));
    ReceiveSettings settings = settingsFor(server.port());
    settings.sizeLimit = row.sizeLimit;
    Percentages sink(1);
    EXPECT_NE(MailMan(settings, &sink, nullptr).copyMail(), nullptr);
    ASSERT_GE(sink.values.size(), row.percentages.size()) << row.stat;
    EXPECT_TRUE(std::ranges::equal(row.percentages, sink.values | std::views::take(row.percentages.size())))
        << row.stat << testing::PrintToString(sink.values);
    EXPECT_EQ(sink.values.back(), 100) << row.stat;
  }
  PopServer server(messages(3));
  const ReceiveSettings settings = settingsFor(server.port());
  Percentages sink(1);
  EXPECT_NE(MailMan(settings, &sink, nullptr).copyHeaders({}, 1), nullptr);
  EXPECT_EQ(sink.values, (std::vector<int>{25, 50, 67, 75, 92, 100}));  // of 4 * 700
}

TEST(MailMan, ExceptionsLoseNothing) {
  const struct {
    std::size_t event;  // the sink throws at this one
    bool comesOut;
  } rows[] = {{1, true}, {2, true}, {3, false}, {4, false}};
  for (const auto& row : rows) {
    PopServer server(messages(2));
    const ReceiveSettings settings = settingsFor(server.port());
    LogLines log;
    Percentages sink(1);
    sink.throwAt = row.event;
    MailMan engine(settings, &sink, log.get());
    if (row.comesOut) {
      EXPECT_THROW(engine.xferMail(), std::runtime_error) << row.event;
    } else {
      EXPECT_EQ(engine.xferMail(), nullptr) << row.event;
    }
    EXPECT_EQ(log.count("Unexpected exception in importMailMessage (1)"), row.comesOut ? 0U : 1U);
    EXPECT_EQ(server.left().size(), 2U);
    EXPECT_EQ(server.count("DELE"), 0U);
  }
}

TEST(MailMan, AsksTheServer) {
  const struct {
    const char* rules;
    bool known;
    const char* log;
  } counts[] = {
      {"STAT=+OK 7 700", true, "message-count: 7"},
      {"STAT=+ok 7 700", false, "Failed to query POP3 server for number of messages"},
  };
  for (const auto& row : counts) {
    PopServer server(messages(3), afterLogin(row.rules));
    const ReceiveSettings settings = settingsFor(server.port());
    LogLines log;
    bool known = !row.known;
    EXPECT_EQ(MailMan(settings, nullptr, log.get()).checkMail(known), row.known ? 7 : 0) << row.rules;
    EXPECT_EQ(known, row.known);
    EXPECT_TRUE(log.holds(split(row.log)));
  }
  const struct {
    const char* rules;
    bool listed;
    const char *uidls, *log;
  } listings[] = {
      {"", true, "id-1|id-2|id-3", "Login successful"},
      {"UIDL=+OK\r\n2 b\r\n1\r\n1 a\r\n.", true, "b|a", ""},
      {"UIDL=-ERR no", false, "", "Failed to query POP3 server for UIDLs"},
      {"PASS=-ERR no", false, "", "Failed to login to POP3 server: login name and/or password is invalid"},
  };
  for (const auto& row : listings) {
    PopServer server(messages(3), row.rules);
    const ReceiveSettings settings = settingsFor(server.port());
    LogLines log;
    MailMan engine(settings, nullptr, log.get());
    std::vector<StringBuffer> uidls;
    EXPECT_EQ(engine.getUidls(uidls), row.listed) << row.rules;
    EXPECT_TRUE(std::ranges::equal(uidls, split(row.uidls), {}, &StringBuffer::str)) << row.rules;
    EXPECT_TRUE(log.holds(split(row.log)));
    const bool canLogIn = !std::string_view(row.rules).starts_with("PASS");
    EXPECT_EQ(engine.verifyPopLogin(), canLogIn);
    EXPECT_TRUE(engine.verifyPopConnection());
    EXPECT_EQ(server.count("QUIT"), 3U) << row.rules;
    EXPECT_FALSE(engine.verifyPopLogin() || engine.verifyPopConnection());  // nobody listens any more
  }
}

TEST(MailMan, FetchesByIds) {
  const struct {
    const char *rules, *requested, *fetched, *commands;
  } rows[] = {
      {"", "id-3|x|ID-2|id-1", "s1 s3", "RETR 1|RETR 3"},
      {"", "id-1\r\nDELE 1|id-1 id-2| id-1|", "", ""},
      {"UIDL=+OK\r\n1 a\r\n2 a\r\n3 c\r\n.", "a", "s1 s2", "RETR 1|RETR 2"},
      {"UIDL=+OK\r\n2 a\r\n2 b\r\n.", "a|b", "s2 s2", "RETR 2|RETR 2"},
      {"RETR 2=-ERR no", "id-2|id-2|id-1|id-1|id-2", "s1", "RETR 1|RETR 2|RETR 2|RETR 2"},
      {"UIDL=-ERR no", "id-1", "null", ""},
  };
  for (const auto& row : rows) {
    PopServer server(messages(3), row.rules);
    ReceiveSettings settings = settingsFor(server.port());
    settings.filter = "x";  // none of these limits applies
    settings.maxCount = 0;
    settings.sizeLimit = -1;
    const Strings requested = split(row.requested);
    LogLines log;
    const auto bundle =
        MailMan(settings, nullptr, log.get()).fetchMultiple({requested.begin(), requested.end()});
    EXPECT_EQ(subjectsOf(bundle.get()), row.fetched) << row.requested;
    EXPECT_EQ(log.count("Failed to get UIDLs to fetch specific emails"), bundle == nullptr ? 1U : 0U);
    for (std::size_t i = 0; bundle != nullptr && i < bundle->count(); ++i) {
      EXPECT_EQ(bundle->at(i)->origination(), Origination::copiedFromPop3);
    }
    EXPECT_EQ(commandsOf(server, "RETR TOP DELE"), split(row.commands)) << row.requested;
  }
}

TEST(MailMan, FetchesOne) {
  const struct {
    const char *rules, *uidl, *subject, *log;
  } rows[] = {
      {"", "id-2", "s2", ""},
      {"", "ID-2", nullptr, ""},
      {"", "", nullptr, ""},
      {"UIDL=+OK\r\n3 a\r\n1 a\r\n.", "a", "s3", ""},
      {"RETR=-ERR no", "id-2", nullptr, "Cannot fetch mail message, response to RETR = -ERR no"},
      {"UIDL=-ERR no", "id-2", nullptr, "Failed to get UIDLs to fetch a specific email"},
  };
  for (const auto& row : rows) {
    PopServer server(messages(3), row.rules);
    const ReceiveSettings settings = settingsFor(server.port());
    LogLines log;
    const auto email = MailMan(settings, nullptr, log.get()).fetchEmail(row.uidl);
    ASSERT_EQ(email != nullptr, row.subject != nullptr) << row.uidl;
    if (email != nullptr) EXPECT_EQ(email->getSubject(), row.subject);
    EXPECT_TRUE(log.holds(split(row.log)));
    if (*row.log == '\0') EXPECT_EQ(log.lastError(), "");
  }
}

TEST(MailMan, DeletesByIds) {
  const struct {
    const char *rules, *requested, *left, *log;
  } rows[] = {
      {"", "id-3|x|id-1|id-3", "id-2", "uidl: id-1|id: 1|uidl: id-3|id: 3"},
      {"", "ID-1", "id-1|id-2|id-3", ""},
      {"UIDL=+OK\r\n1 a\r\n2 a\r\n3 c\r\n.", "a", "id-3", "uidl: a|id: 1|uidl: a|id: 2"},
      {"DELE 1=-ERR no", "id-1|id-2", "id-1|id-3",
       "Cannot delete mail message, response to DELE = -ERR no|Failed to delete message from server|"
       "uidl: id-1|id: 1|uidl: id-2|id: 2"},
      {"UIDL=-ERR no", "id-1", "id-1|id-2|id-3", "Cannot get UIDLs, response to UIDL = -ERR no"},
  };
  for (const auto& row : rows) {
    const Strings requested = split(row.requested);
    for (const bool one : {false, true}) {
      if (one && requested.size() > 1) continue;
      PopServer server(messages(3), row.rules);
      const ReceiveSettings settings = settingsFor(server.port());
      LogLines log;
      MailMan engine(settings, nullptr, log.get());
      if (one) {
        engine.deleteEmail(requested[0]);
      } else {
        engine.deleteMultiple({requested.begin(), requested.end()});
      }
      EXPECT_EQ(server.left(), split(row.left)) << row.requested;
      EXPECT_TRUE(log.holds(split(row.log)));
      const bool told = one && std::string_view(row.rules).starts_with("UIDL=-ERR");
      EXPECT_EQ(log.count("Failed to get UIDLs to delete an email"), told ? 1U : 0U);
    }
  }
}

TEST(MailMan, CostOfIdsIsLinear) {
  const auto make = [](std::size_t n) {
    std::pair<std::string, std::vector<StringBuffer>> input;
    for (std::size_t i = 0; i < n; ++i) {
      input.first += std::to_string(i + 1) + " listed" + std::to_string(i) + "\r\n";
      input.second.emplace_back("requested" + std::to_string(i));
    }
    return input;
  };
  const auto work = [](const auto& input) {
    PopServer server({}, "UIDL=+OK\r\n" + input.first + ".");
    const ReceiveSettings settings = settingsFor(server.port());
    MailMan engine(settings, nullptr, nullptr);
    EXPECT_NE(engine.fetchMultiple(input.second), nullptr);
    engine.deleteMultiple(input.second);
  };
  EXPECT_LT(qv_test::costOfTwice(5000, make, work), 3);
}

}  // namespace
}  // namespace qv
