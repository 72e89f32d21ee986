#include "core/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <random>
#include <thread>
#include <vector>

#include "core/log_store.h"
#include "platform/clock.h"
#include "platform/temporary_folder.h"

namespace qv {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::size_t countOf(std::string_view text, std::string_view what) {
  std::size_t count = 0;
  for (std::size_t at = text.find(what); at != text.npos; at = text.find(what, at + what.size())) ++count;
  return count;
}

/// Why a text is no well-formed XML element of the plain kind that the log writes; empty when it is one.
std::string whyNotXml(std::string_view text) {
  std::vector<std::string> open;
  const auto fault = [&](std::size_t at) {
    return "at " + std::to_string(at) + ": " + std::string(text.substr(at, 60));
  };
  for (std::size_t i = 0; i < text.size();) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c == '<') {
      const std::size_t end = text.find('>', i);
      if (end == text.npos) return fault(i);
      std::string tag(text.substr(i + 1, end - i - 1));
      i = end + 1;
      if (tag.starts_with('/')) {
        if (open.empty() || open.back() != tag.substr(1)) return fault(i);
        open.pop_back();
        continue;
      }
      if (countOf(tag, "\"") % 2 != 0 || countOf(tag, "<") != 0 || countOf(tag, "\n") != 0) return fault(i);
      if (!tag.ends_with('/')) open.push_back(tag.substr(0, tag.find(' ')));
      continue;
    }
    if (open.empty() && c != '\n') return fault(i);
    if (c == '&') {
      const std::string_view entity = text.substr(i, text.find(';', i) - i);
      if (entity != "&amp" && entity != "&lt" && entity != "&gt" && entity != "&quot") return fault(i);
    }
    std::size_t length = 1;
    if (c >= 0x80) {  // decoded the long way
      length = c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : 2;
      if (c < 0xC0 || c > 0xF7 || i + length > text.size()) return fault(i);
      unsigned code = c & (0xFFu >> (length + 1));
      for (std::size_t k = 1; k < length; ++k) {
        const auto tail = static_cast<unsigned char>(text[i + k]);
        if ((tail & 0xC0) != 0x80) return fault(i);
        code = code << 6 | (tail & 0x3F);
      }
      constexpr unsigned kLowest[] = {0, 0, 0x80, 0x800, 0x10000};
      if (code < kLowest[length] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF) || code == 0xFFFE ||
          code == 0xFFFF || code < 0xA0) {
        return fault(i);
      }
    } else if (c < 0x20 ? c != '\t' && c != '\n' : c == 0x7F) {
      return fault(i);
    }
    i += length;
  }
  return open.empty() ? "" : "open: " + open.back();
}

class Log : public testing::Test {
 protected:
  void SetUp() override {
    setenv("TZ", "EST5", 1);
    tzset();
    setClockForTest([] { return std::int64_t{1026702245}; });
    log.put_ComponentName("QuorvelMail2_9_0");
  }
  void TearDown() override {
    setClockForTest({});
    unsetenv("TZ");
    tzset();
  }
  /// The whole log as text.
  std::string text() {
    const TemporaryFolder folder;
    EXPECT_TRUE(log.AppendToFile(folder / "log"));
    return contentsOf(folder / "log");
  }
  void sendThatFails() {
    const LogContext context(&log, "SendEmail", true);
    log.LogDataLong("smtp_port", 25);
    {
      const LogContext inner(&log, "recipients");
      log.LogError("550 5.7.1 Unable to relay\r\n");
      log.LogData("bad_address", "a<b>@c");
    }
    log.LogError("Send failed.");
  }

  CLogImpl log{std::make_shared<LogStore>()};
};

TEST_F(Log, ShowsOneOperationInEveryForm) {
  sendThatFails();
  log.LogInfo2("outside", "k&");
  log.LogDebug("seen");
  const std::string time = "2002-07-14 22:04:05.000 ";
  const std::string port = time + "INFO  SendEmail: smtp_port: 25\n";
  const std::string relay = time + "ERROR SendEmail/recipients: 550 5.7.1 Unable to relay\n";
  const std::string bad = time + "INFO  SendEmail/recipients: bad_address: a<b>@c\n";
  const std::string failed = time + "ERROR SendEmail: Send failed.\n";
  const std::string outside = time + "INFO  outside\n";
  const std::string debug = time + "DEBUG seen\n";
  EXPECT_EQ(log.GetErrorEntries(), relay + failed);
  EXPECT_EQ(log.GetInfoEntries(), port + bad + outside);
  EXPECT_EQ(log.GetDebugEntries(), debug);
  EXPECT_EQ(log.GetKeywordEntries("k&"), outside);
  EXPECT_EQ(log.GetKeywordEntries("bad_address"), "") << "tags of data are no keywords";
  EXPECT_EQ(log.GetKeywordEntries(""), "");
  EXPECT_EQ(text(), port + relay + bad + failed + outside + debug);
  EXPECT_EQ(log.GetXml(false), R"(<log component="QuorvelMail2_9_0" version="2.9.0">
  <context name="SendEmail" reportErrors="1">
    <data name="smtp_port">25</data>
    <context name="recipients">
      <error>550 5.7.1 Unable to relay
</error>
      <data name="bad_address">a&lt;b&gt;@c</data>
    </context>
    <error>Send failed.</error>
  </context>
  <info keyword="k&amp;">outside</info>
  <debug>seen</debug>
</log>
)");
  EXPECT_THAT(log.GetXml(true), HasSubstr(R"(<debug time="2002-07-14T22:04:05.000-05:00">seen)"));
  const TemporaryFolder folder;
  ASSERT_TRUE(log.SaveXml(false, folder / "log.xml"));
  EXPECT_EQ(contentsOf(folder / "log.xml"),
            "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n" + log.GetXml(false));
  EXPECT_FALSE(log.SaveXml(false, folder / "no/log.xml"));
  EXPECT_FALSE(log.AppendToFile(""));
}

TEST_F(Log, LaysEntriesOutAsAsked) {
  log.SetNamedFormat("short", "%w=%m");
  const struct {
    std::string_view lineFormat, prefix;
    bool html;
    std::string_view named, message, line;
  } rows[] = {
      {"", "> ", false, "", "a\r\nb\rc\nd\r\n", "2002-07-14 22:04:05.000 INFO  Op: a\n> b\n> c\n> d\n"},
      {"%k|%c|%m|%%|%x|%", "", false, "", "100% %s %n %m", "INFO |Op|100% %s %n %m|%|%x|%\n"},
      {"%m", "", false, "short", "a", "key=a\n"},
      {"%m", "", false, "unknown", "a", "a\n"},
      {"<b>%m</b>", "<", true, "", "x<y>&\"\nz",
       "<p class=\"info\"><b>x&lt;y&gt;&amp;&quot;<br>\n&lt;z</b></p>\n"},
      {"%m", "> ", false, "", std::string_view("\x1b[2J\0\x7f\t\v", 8), "\\x1B[2J\\x00\\x7F\t\\x0B\n"},
      {"%m", "> ", false, "",
       "caf\xc3\xa9 caf\xe9 \xc2\x85 \xe2\x80\xa8 \xed\xa0\x80 \xf0\x9f\x98\x80 \xf0\x9f",
       "caf\xc3\xa9 caf\\xE9 \\xC2\\x85 \\xE2\\x80\\xA8 \\xED\\xA0\\x80 \xf0\x9f\x98\x80 \\xF0\\x9F\n"},
      {"%m", "> ", false, "", "", "\n"},
  };
  for (const auto& row : rows) {
    log.ClearLog();
    log.put_LineFormat(row.lineFormat);
    log.put_ContinuationPrefix(row.prefix);
    log.put_IsHTML(row.html);
    const LogContext context(&log, "Op");
    log.LogInfo3(row.message, "key", row.named);
    EXPECT_EQ(log.GetInfoEntries(), row.line);
  }
  log.put_LineFormat("");
  EXPECT_EQ(log.get_LineFormat(), LogLayout::kDefaultFormat);
  EXPECT_EQ(log.GetNamedFormat("short"), "%w=%m");
  log.SetNamedFormat("short", "");
  EXPECT_EQ(log.GetNamedFormat("short"), "");
}

TEST_F(Log, GivesWellFormedXmlAndWholeEntriesWhateverIsLogged) {
  std::mt19937 random(20021115);
  const std::string_view nasty[] = {"]]>", "<!--",         "&#0;", "\r\n",  "\"",
                                    "'",   "\xEF\xBF\xBF", "\xC3", "</log>"};
  const auto anything = [&] {
    std::string bytes;
    for (auto n = random() % 12; n > 0; --n) {
      if (random() % 3 == 0) {
        bytes += nasty[random() % std::size(nasty)];
      } else {
        bytes += static_cast<char>(random() % 256);
      }
    }
    return bytes;
  };
  log.put_LineFormat("ENTRY %m %w %c");
  for (int round = 0; round < 300; ++round) {
    log.ClearLog();
    log.EnterContext(anything(), true);
    for (int i = 0; i < 5; ++i) {
      log.LogData(anything(), anything());
      log.LogError2(anything(), anything());
      log.EnterContext(anything(), false);
      log.LogXml(anything());
    }
    while (log.LeaveContext()) {
    }
    const std::string xml = log.GetXml(round % 2 == 0);
    ASSERT_EQ(whyNotXml(xml), "") << xml;
    ASSERT_EQ(countOf(xml, "<error"), 5u);
    const std::string entries = "\n" + text();
    ASSERT_EQ(countOf(entries, "\nENTRY "), 15u) << entries;
    ASSERT_EQ(countOf(entries, "\n") - countOf(entries, "\n    | "), 16u) << entries;
  }
}

TEST_F(Log, LastErrorHoldsTheErrorsOfTheThreadsOperation) {
  EXPECT_EQ(log.get_LastError(), "");
  sendThatFails();
  const std::string failed = "550 5.7.1 Unable to relay\nSend failed.";
  EXPECT_EQ(log.get_LastError(), failed);
  log.LogInfo("a remark of the host's");
  EXPECT_EQ(log.get_LastError(), failed);
  log.LogError("outside");
  log.LogError("any context");
  EXPECT_EQ(log.get_LastError(), "outside\nany context");
  {
    const LogContext context(&log, "GetHeader", true);
    EXPECT_EQ(log.get_LastError(), "");
    log.LogCommonError("Index out of range\r\nas a server says");
    EXPECT_EQ(log.get_LastError(), "Index out of range\nas a server says");
    const LogContext nested(&log, "SMTP_Connect");
    log.LogError("and more");
  }
  EXPECT_EQ(log.get_LastError(), "Index out of range\nas a server says\nand more");
  {
    const LogContext host(&log, "a context of the host's");
    {
      const LogContext first(&log, "SendEmail", true);
      log.LogError("550 unable to relay");
    }
    const LogContext second(&log, "SendEmail", true);
    log.LogError("Failed to connect");
    EXPECT_EQ(log.get_LastError(), "Failed to connect");
  }
  // A host that is called back runs another operation inside.
  {
    const LogContext outer(&log, "SendEmail", true);
    log.LogError("550 no");
    for (int i = 0; i < 2; ++i) {
      {
        const LogContext inner(&log, "GetTo", true);
        EXPECT_EQ(log.get_LastError(), "");
        log.LogError("out of range");
      }
      EXPECT_EQ(log.get_LastError(), "out of range") << "for the report of the inner operation";
    }
    log.LogError("Send failed.");
    EXPECT_EQ(log.get_LastError(), "550 no\nout of range\nout of range\nSend failed.");
    const LogContext inner(&log, "get_Size", true);
  }
  EXPECT_EQ(log.get_LastError(), "550 no\nout of range\nout of range\nSend failed.");
  {
    const LogContext outer(&log, "SendEmail", true);
    log.LogError("outer");
    log.EnterContext("x", true);
    for (int i = 0; i < 3; ++i) log.LeaveContext();  // more than it entered
    log.LogError("outside");
  }
  EXPECT_EQ(log.get_LastError(), "outside");
  std::thread([&] { EXPECT_EQ(log.get_LastError(), ""); }).join();
  log.ClearLog();
  EXPECT_EQ(log.get_LastError(), "");

  const LogContext context(&log, "SendBundle", true);
  log.LogError("first");
  for (int i = 0; i < 20000; ++i) log.LogError("caf\xc3\xa9 no such user " + std::to_string(i));
  log.LogError("last");
  const std::string bounded = log.get_LastError();
  EXPECT_LT(bounded.size(), 200000u);
  EXPECT_THAT(bounded,
              AllOf(StartsWith("first\ncaf"), HasSubstr(" bytes left out ..."), testing::EndsWith("\nlast")));
}

TEST_F(Log, ContextsStayBalanced) {
  EXPECT_FALSE(log.LeaveContext());
  log.LogData("outside", "1");
  {
    LogContext outer(&log, "Outer");
    { const LogContext inner(&log, "Inner"); }
    outer.leave();
    outer.leave();
    log.EnterContext("Second", true);
    EXPECT_TRUE(log.ClearLog());
    log.LogInfo("after clearing");
  }
  EXPECT_THAT(log.GetXml(false), AllOf(Not(HasSubstr("Outer")), HasSubstr("    <info>after clearing")));
  EXPECT_TRUE(log.LeaveContext());
  EXPECT_FALSE(log.LeaveContext());

  log.ClearLog();
  for (std::size_t i = 0; i < 5 * LogStore::kMaxContextDepth; ++i) log.EnterContext("deep", false);
  log.LogInfo("bottom");
  for (std::size_t i = 0; i < 5 * LogStore::kMaxContextDepth; ++i) ASSERT_TRUE(log.LeaveContext());
  EXPECT_FALSE(log.LeaveContext());
  EXPECT_EQ(countOf(log.GetXml(false), "<context"), LogStore::kMaxContextDepth);
}

TEST_F(Log, HighWaterMarkDropsTheOldestAndSaysSo) {
  EXPECT_EQ(log.get_HighWaterMark(), LogStore::kDefaultHighWaterMark);
  const auto entries = [&] {
    const std::string xml = log.GetXml(false);
    EXPECT_EQ(whyNotXml(xml), "");
    return countOf(xml, "<context") + countOf(xml, "<info>");
  };
  log.put_HighWaterMark(200);
  // Operations that ended.
  for (int i = 0; i < 1000; ++i) {
    const LogContext context(&log, "Op" + std::to_string(i), true);
    log.LogInfo("done");
    ASSERT_LE(entries(), 200u);
  }
  EXPECT_THAT(log.GetXml(false), AllOf(HasSubstr("\"Op999\""), HasSubstr("\"Op950\""),
                                       Not(HasSubstr("\"Op700\"")), HasSubstr("<dropped entries=")));
  // One that goes on and on keeps the contexts it is in, and the errors that tell why it failed.
  {
    const LogContext context(&log, "SendEmail", true);
    log.LogError("the reason");
    const LogContext inner(&log, "recipients");
    for (int i = 0; i < 1000; ++i) {
      const LogContext each(&log, "recipient");
      log.LogInfo("number " + std::to_string(i));
      ASSERT_LE(entries(), 200u);
    }
    EXPECT_GE(entries(), 100u);
    EXPECT_THAT(log.GetXml(false), AllOf(HasSubstr("name=\"SendEmail\""), HasSubstr("name=\"recipients\""),
                                         HasSubstr("number 999"), Not(HasSubstr("number 500<"))));
    EXPECT_THAT(text(), AllOf(HasSubstr("older entries were dropped"),
                              HasSubstr("SendEmail/recipients/recipient: number 999")));
    EXPECT_EQ(log.get_LastError(), "the reason");
  }
  // Entries outside contexts, and what a thread left open when it ended.
  std::thread([&] { log.EnterContext("abandoned", true); }).join();
  for (int i = 0; i < 1000; ++i) log.LogInfo("loose");
  EXPECT_LE(entries(), 200u);
  EXPECT_THAT(log.GetXml(false), Not(HasSubstr("abandoned")));
  log.put_HighWaterMark(1);
  log.CheckHighWater();
  EXPECT_EQ(entries(), 1u);
  log.put_HighWaterMark(0);
  for (int i = 0; i < 1000; ++i) log.LogInfo("loose");
  EXPECT_EQ(entries(), 1001u);
}

TEST_F(Log, BoundsTheBytesToo) {
  const std::string large(1 << 20, 'x');
  for (int i = 0; i < 200; ++i) {
    const LogContext context(&log, "Op");
    log.LogInfo(large);
  }
  const std::size_t kept = log.GetXml(false).size();
  EXPECT_LE(kept, LogStore::kMaxBytes + (1 << 20));
  EXPECT_GE(kept, LogStore::kMaxBytes / 2);
}

TEST_F(Log, KeepsTheOperationsOfThreadsApart) {
  constexpr int kThreads = 4;
  constexpr int kOperations = 200;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([this, t] {
      const std::string name = "thread" + std::to_string(t);
      for (int i = 0; i < kOperations; ++i) {
        {
          const LogContext context(&log, name, true);
          log.LogData("owner", name);
          const LogContext inner(&log, "inner");
          log.LogError(name + " " + std::to_string(i));
          if (i % 50 == 0) std::this_thread::yield();
        }
        ASSERT_EQ(log.get_LastError(), name + " " + std::to_string(i));
        if (i % 100 == 0) log.CheckHighWater();
        if (i % 100 == 50) log.GetXml(true);
      }
    });
  }
  for (std::thread& each : threads) each.join();
  const std::string xml = log.GetXml(false);
  for (int t = 0; t < kThreads; ++t) {
    const std::string name = "thread" + std::to_string(t);
    std::string expected =
        "  <context name=\"NAME\" reportErrors=\"1\">\n    <data name=\"owner\">NAME</data>\n"
        "    <context name=\"inner\">\n      <error>NAME ";
    for (std::size_t at; (at = expected.find("NAME")) != expected.npos;) expected.replace(at, 4, name);
    EXPECT_EQ(countOf(xml, expected), std::size_t{kOperations});
  }
}

TEST_F(Log, WithoutAStoreDoesNothingAndFails) {
  CLogImpl none(nullptr);
  {
    const LogContext context(&none, "Op", true);
    EXPECT_FALSE(none.LogError("x"));
    EXPECT_FALSE(none.LogData("a", "b"));
  }
  EXPECT_EQ(none.get_LastError() + none.GetXml(true) + none.GetErrorEntries() + none.get_Version(), "");
  EXPECT_FALSE(none.SaveXml(false, "/nowhere") || none.ClearLog() || none.LeaveContext() ||
               none.UseSystemEventLog());
  EXPECT_EQ(none.get_HighWaterMark(), 0);
  EXPECT_EQ(none.GetInterface(), nullptr);
  const LogContext nothing(nullptr, "Op");
  logError(nullptr, "x");
}

}  // namespace
}  // namespace qv
