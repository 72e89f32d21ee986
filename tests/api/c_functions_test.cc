#include <gtest/gtest.h>
#include <quorvel/quorvel_c.h>

#include <atomic>
#include <cstring>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "api/component.h"

namespace {

quorvel_object make(const char* name) {
  quorvel_object object = 0;
  EXPECT_EQ(quorvel_create(name, &object), QUORVEL_OK);
  return object;
}
quorvel_object newMailMan() {
  return make("QuorvelMail.QuorvelMailMan");
}
quorvel_object newEmail() {
  return make("QuorvelMail.QuorvelEmail");
}

quorvel_value text(std::string_view bytes) {
  quorvel_value value{};
  value.type = QUORVEL_TEXT;
  value.data = bytes.data();
  value.size = bytes.size();
  return value;
}
quorvel_value integer(std::int32_t number) {
  quorvel_value value{};
  value.type = QUORVEL_INTEGER;
  value.number = number;
  return value;
}
quorvel_value object(quorvel_object number) {
  quorvel_value value{};
  value.type = QUORVEL_OBJECT;
  value.object = number;
  return value;
}

quorvel_status invoke(quorvel_object target, const char* name, quorvel_kind kind,
                      std::vector<quorvel_value> arguments, quorvel_value* result = nullptr) {
  std::int32_t id = 0;
  EXPECT_EQ(quorvel_id_of_name(target, name, &id), QUORVEL_OK) << name;
  return quorvel_invoke(target, id, kind, arguments.data(), arguments.size(), result);
}

std::string read(quorvel_object target, const char* name, quorvel_kind kind = QUORVEL_GET) {
  quorvel_value value{};
  EXPECT_EQ(invoke(target, name, kind, {}, &value), QUORVEL_OK);
  EXPECT_EQ(value.type, QUORVEL_TEXT);
  std::string result(value.data, value.size);
  quorvel_free_value(&value);
  return result;
}

TEST(CFunctions, CrossEveryType) {
  const quorvel_object email = newEmail();
  const quorvel_object mailMan = newMailMan();
  const std::string bytes("nul\0 and \xff", 10);
  quorvel_value argument = text(bytes);
  argument.type = QUORVEL_BYTES;
  EXPECT_EQ(invoke(email, "Subject", QUORVEL_PUT, {argument}), QUORVEL_OK);
  EXPECT_EQ(read(email, "Subject"), bytes);

  quorvel_value result{};
  EXPECT_EQ(invoke(email, "AddTo", QUORVEL_METHOD, {text("Ann"), text("ann@h")}, &result), QUORVEL_OK);
  EXPECT_EQ(result.type, QUORVEL_INTEGER);
  EXPECT_EQ(result.number, 1);
  EXPECT_EQ(invoke(email, "EmailDate", QUORVEL_GET, {}, &result), QUORVEL_OK);
  EXPECT_EQ(result.type, QUORVEL_DATE);
  EXPECT_GT(result.date, 36526);
  EXPECT_EQ(invoke(email, "ClearTo", QUORVEL_METHOD, {}, &result), QUORVEL_OK);
  EXPECT_EQ(result.type, QUORVEL_NOTHING);
  EXPECT_EQ(invoke(mailMan, "GetLog", QUORVEL_METHOD, {}, &result), QUORVEL_OK);
  EXPECT_EQ(result.type, QUORVEL_OBJECT);
  const char* name = nullptr;
  EXPECT_EQ(quorvel_class_name(result.object, &name), QUORVEL_OK);
  EXPECT_STREQ(name, "CQuorvelLog");
  const quorvel_object log = result.object;
  quorvel_free_value(&result);
  quorvel_free_value(&result);  // nothing by now
  EXPECT_EQ(quorvel_add_ref(log), QUORVEL_UNKNOWN_OBJECT);
  EXPECT_EQ(quorvel_release(email) + quorvel_release(mailMan), QUORVEL_OK);
}

TEST(CFunctions, SayWhetherThisCallLeftAReport) {
  const quorvel_object mailMan = newMailMan();
  quorvel_value result{};
  quorvel_error error{};
  EXPECT_EQ(invoke(mailMan, "SendEmail", QUORVEL_METHOD, {object(0)}, &result), QUORVEL_FAILED);
  EXPECT_EQ(result.type, QUORVEL_INTEGER);
  EXPECT_EQ(result.number, 0);
  EXPECT_EQ(quorvel_last_error(&error), QUORVEL_OK);
  EXPECT_EQ(std::string(error.description, error.description_size), "Email parameter is NULL in SendEmail");
  EXPECT_STREQ(error.source, "QuorvelMail.QuorvelMailMan");
  EXPECT_STREQ(error.interface_name, "IQuorvelMailMan2");
  EXPECT_EQ(invoke(mailMan, "SmtpPort", QUORVEL_PUT, {integer(1)}), QUORVEL_OK);
  EXPECT_EQ(invoke(mailMan, "VerifySmtpConnection", QUORVEL_METHOD, {}, &result), QUORVEL_OK);
  EXPECT_EQ(result.number, 0);
  EXPECT_EQ(quorvel_last_error(&error), QUORVEL_OK);
  EXPECT_STREQ(error.description, "");
  quorvel_release(mailMan);
}

TEST(CFunctions, AnswerMisuse) {
  const quorvel_object email = newEmail();
  const quorvel_object gone = newEmail();
  quorvel_release(gone);
  quorvel_value argument = text("x");
  quorvel_value unknown{};
  unknown.type = 99;
  quorvel_value noData = text("x");
  noData.data = nullptr;
  const quorvel_value goneObject = object(gone);
  const char* name = nullptr;
  const quorvel_member* members = nullptr;
  std::size_t count = 0;
  std::int32_t id = 0;
  const auto sink = [](void*, std::int32_t, std::int32_t, std::int32_t, std::int32_t) {};
  quorvel_object made = 0;
  const struct {
    int line;
    quorvel_status status, expected;
  } rows[] = {
      {__LINE__, quorvel_create(nullptr, &made), QUORVEL_NULL_POINTER},
      {__LINE__, quorvel_create("x", nullptr), QUORVEL_NULL_POINTER},
      {__LINE__, quorvel_create("x", &made), QUORVEL_UNKNOWN_CLASS},
      {__LINE__, quorvel_release(0), QUORVEL_UNKNOWN_OBJECT},
      {__LINE__, quorvel_release(gone), QUORVEL_UNKNOWN_OBJECT},
      {__LINE__, quorvel_release(UINT64_MAX), QUORVEL_UNKNOWN_OBJECT},
      {__LINE__, quorvel_add_ref(gone), QUORVEL_UNKNOWN_OBJECT},
      {__LINE__, quorvel_class_name(gone, &name), QUORVEL_UNKNOWN_OBJECT},
      {__LINE__, quorvel_class_name(email, nullptr), QUORVEL_NULL_POINTER},
      {__LINE__, quorvel_members(gone, &members, &count), QUORVEL_UNKNOWN_OBJECT},
      {__LINE__, quorvel_members(email, nullptr, &count), QUORVEL_NULL_POINTER},
      {__LINE__, quorvel_members(email, &members, nullptr), QUORVEL_NULL_POINTER},
      {__LINE__, quorvel_id_of_name(email, "body", &id), QUORVEL_UNKNOWN_MEMBER},
      {__LINE__, quorvel_id_of_name(email, nullptr, &id), QUORVEL_NULL_POINTER},
      {__LINE__, quorvel_invoke(gone, 3, QUORVEL_GET, nullptr, 0, nullptr), QUORVEL_UNKNOWN_OBJECT},
      {__LINE__, quorvel_invoke(email, 3, QUORVEL_GET, nullptr, 0, nullptr), QUORVEL_OK},
      {__LINE__, quorvel_invoke(email, 3, QUORVEL_PUT, nullptr, 1, nullptr), QUORVEL_NULL_POINTER},
      {__LINE__, quorvel_invoke(email, 3, QUORVEL_PUT, &argument, 1, nullptr), QUORVEL_OK},
      {__LINE__, quorvel_invoke(email, 3, QUORVEL_PUT, &argument, 0, nullptr), QUORVEL_WRONG_COUNT},
      {__LINE__, quorvel_invoke(email, 3, QUORVEL_PUT, &unknown, 1, nullptr), QUORVEL_WRONG_TYPE},
      {__LINE__, quorvel_invoke(email, 3, QUORVEL_PUT, &noData, 1, nullptr), QUORVEL_NULL_POINTER},
      {__LINE__, quorvel_invoke(email, 3, QUORVEL_PUT, &goneObject, 1, nullptr), QUORVEL_UNKNOWN_OBJECT},
      {__LINE__, quorvel_invoke(email, 4711, QUORVEL_GET, nullptr, 0, nullptr), QUORVEL_UNKNOWN_MEMBER},
      {__LINE__, quorvel_connect(email, sink, nullptr, nullptr, &id), QUORVEL_NO_EVENTS},
      {__LINE__, quorvel_connect(email, nullptr, nullptr, nullptr, &id), QUORVEL_NULL_POINTER},
      {__LINE__, quorvel_disconnect(email, 1), QUORVEL_NO_EVENTS},
      {__LINE__, quorvel_disconnect(gone, 1), QUORVEL_UNKNOWN_OBJECT},
      {__LINE__, quorvel_last_error(nullptr), QUORVEL_NULL_POINTER},
      {__LINE__, quorvel_set_certificate_root(nullptr), QUORVEL_NULL_POINTER},
  };
  for (const auto& row : rows) EXPECT_EQ(row.status, row.expected) << "line " << row.line;
  quorvel_free_value(nullptr);
  quorvel_release(email);
}

/// What a sink did, and is told to do.
struct Seen {
  quorvel_object mailMan = 0;
  std::int32_t token = 0;
  bool release = false;
  bool disconnect = false;
  int events = 0;
  int disposed = 0;
};
extern "C" void onEvent(void* context, std::int32_t, std::int32_t, std::int32_t, std::int32_t) {
  Seen& seen = *static_cast<Seen*>(context);
  ++seen.events;
  EXPECT_EQ(seen.disposed, 0);
  if (seen.disconnect) EXPECT_EQ(quorvel_disconnect(seen.mailMan, seen.token), QUORVEL_OK);
  if (seen.release) {
    EXPECT_EQ(quorvel_release(seen.mailMan), seen.events == 1 ? QUORVEL_OK : QUORVEL_UNKNOWN_OBJECT);
    EXPECT_EQ(quorvel_add_ref(seen.mailMan), QUORVEL_UNKNOWN_OBJECT);
  } else {
    EXPECT_EQ(read(seen.mailMan, "SmtpHost"), "127.0.0.1");  // the lock is this thread's own
  }
}
extern "C" void onDispose(void* context) {
  ++static_cast<Seen*>(context)->disposed;
}

TEST(CFunctions, ASinkMayDisconnectItselfAndReleaseTheObject) {
  for (const bool disconnect : {false, true}) {
    for (const bool release : {false, true}) {
      Seen seen;
      seen.disconnect = disconnect;
      seen.release = release;
      seen.mailMan = newMailMan();
      const quorvel_object email = newEmail();
      invoke(seen.mailMan, "SmtpHost", QUORVEL_PUT, {text("127.0.0.1")});
      invoke(seen.mailMan, "SmtpPort", QUORVEL_PUT, {integer(1)});  // nobody listens: two events all the same
      ASSERT_EQ(quorvel_connect(seen.mailMan, onEvent, &seen, onDispose, &seen.token), QUORVEL_OK);
      quorvel_value result{};
      EXPECT_EQ(
          quorvel_invoke(seen.mailMan, 2, QUORVEL_METHOD, std::vector{object(email)}.data(), 1, &result),
          QUORVEL_FAILED);
      EXPECT_EQ(seen.events, disconnect ? 1 : 2);
      EXPECT_EQ(seen.disposed, disconnect || release ? 1 : 0);
      EXPECT_EQ(quorvel_release(seen.mailMan), release ? QUORVEL_UNKNOWN_OBJECT : QUORVEL_OK);
      EXPECT_EQ(seen.disposed, 1);
      quorvel_release(email);
    }
  }
}

TEST(CFunctions, SeveralThreadsShareObjects) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 300;
  const quorvel_object mailMans[] = {newMailMan(), newMailMan()};
  const quorvel_object email = newEmail();
  for (const quorvel_object each : mailMans) invoke(each, "SmtpPort", QUORVEL_PUT, {integer(1)});
  std::atomic<int> failures{0};
  const auto work = [&](int number) {
    const std::string subject(static_cast<std::size_t>(number) * 50, static_cast<char>('a' + number));
    for (int round = 0; round < kRounds; ++round) {
      const quorvel_object mailMan = mailMans[static_cast<std::size_t>(round + number) % 2];
      if (round % 30 == 0) {  // two threads lock the same two objects, by way of either
        failures += invoke(mailMan, "SendEmail", QUORVEL_METHOD, {object(email)}) != QUORVEL_FAILED;
        quorvel_error error{};
        quorvel_last_error(&error);
        failures += std::strstr(error.description, "Failed to connect to SMTP server.") == nullptr;
      }
      invoke(email, "Subject", QUORVEL_PUT, {text(subject)});
      const std::string seen = read(email, "Subject");
      failures += seen.find_first_not_of(seen.empty() ? 'x' : seen.front()) != std::string::npos;
      invoke(email, "AddTo", QUORVEL_METHOD, {text(subject), text("a@h")});
      quorvel_value log{};
      failures += invoke(mailMan, "GetLog", QUORVEL_METHOD, {}, &log) != QUORVEL_OK;
      failures += quorvel_add_ref(log.object) + quorvel_release(log.object);
      quorvel_free_value(&log);
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) threads.emplace_back(work, i);
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(failures, 0);
  quorvel_value count{};
  invoke(email, "NumTo", QUORVEL_GET, {}, &count);
  EXPECT_EQ(count.number, kThreads * kRounds);
  for (const quorvel_object each : {mailMans[0], mailMans[1], email})
    EXPECT_EQ(quorvel_release(each), QUORVEL_OK);
}

}  // namespace
