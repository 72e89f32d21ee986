// Every member of every interface, called by its id on a new object.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <quorvel/quorvel.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/temporary_folder.h"
#include "support/public_objects.h"

namespace {

using namespace std::string_literals;
using quorvel::Argument;
using quorvel::IQuorvelObject;
using quorvel::Kind;
using quorvel::Member;
using quorvel::Ref;
using quorvel::Type;
using quorvel::Value;

const char* nameOf(Kind kind) {
  return kind == Kind::method ? "method" : kind == Kind::get ? "get" : "put";
}

/// Values of one kind each, for arguments of any type.
struct Sample {
  std::string text;
  std::int32_t number;
  double date;
};
const Sample kEmpty{"", 0, 0};

std::vector<Argument> argumentsOf(const Member& member, const Sample& sample) {
  std::vector<Argument> arguments;
  for (const quorvel::Parameter& parameter : member.parameters) {
    switch (parameter.type) {
      case Type::integer:
        arguments.emplace_back(sample.number);
        break;
      case Type::date:
        arguments.emplace_back(sample.date);
        break;
      case Type::object:
        arguments.emplace_back(std::monostate());
        break;
      default:
        arguments.emplace_back(std::string_view(sample.text));
        break;
    }
  }
  return arguments;
}

/// What differs from run to run.
bool changes(const Member& member) {
  static const std::set<std::string> kNames = {"RawHeader", "GenerateFilename", "GetMime", "GetXml",
                                               "EmailDate", "LocalDate",        "GetImpl", "Size"};
  return kNames.contains(member.name);
}

std::string shown(const Member& member, const Value& value) {
  if (const auto* number = std::get_if<std::int32_t>(&value)) {
    return changes(member) ? "(number)" : std::to_string(*number);
  }
  if (std::holds_alternative<double>(value))
    return changes(member) ? "(date)" : "date " + std::to_string(std::get<double>(value));
  if (const auto* text = std::get_if<std::string>(&value))
    return changes(member) ? "(text)" : '"' + *text + '"';
  if (const auto* bytes = std::get_if<quorvel::Bytes>(&value))
    return std::to_string(bytes->size()) + " bytes";
  if (const auto* object = std::get_if<Ref<IQuorvelObject>>(&value)) {
    return *object ? std::string((*object)->className()) : "null";
  }
  return "-";
}

std::string onOneLine(std::string text) {
  while (text.ends_with('\n')) text.pop_back();
  std::string line;
  for (const char c : text) line += c == '\n' ? "; "s : std::string(1, c);
  return line;
}

class EveryMember : public ::testing::Test {
 protected:
  EveryMember() {
    std::filesystem::current_path(folder_ / "");
    log_->ClearLog();
    log_->put_LineFormat("%m");
  }
  ~EveryMember() override {
    log_->put_LineFormat("");
    std::filesystem::current_path(home_);
  }

  /// A new object with the last interface of its line; null for those that only hosts implement.
  Ref<IQuorvelObject> newObject(std::string_view interfaceName) {
    if (interfaceName == "IQuorvelLog2") return log_;
    if (interfaceName == "IQuorvelZipEntry4") {
      const auto zip = quorvel::create<quorvel::IQuorvelZip4>("QuorvelMail.QuorvelZip");
      zip->Create(folder_ / "entries.zip");
      return zip->AppendEmail(qv_test::newEmail().get());
    }
    for (const char* name : {"QuorvelMailMan", "QuorvelEmail", "QuorvelEmailBundle", "QuorvelZip",
                             "QvStringArray", "QuorvelCert", "QuorvelCertStore"}) {
      const auto object = quorvel::create("QuorvelMail." + std::string(name));
      if (!object->implements(interfaceName) ||
          quorvel::members(*object).back().interfaceName != interfaceName) {
        continue;
      }
      if (const auto mailMan = object.as<quorvel::IQuorvelMailMan3>()) {
        for (const auto put :
             {&quorvel::IQuorvelMailMan3::put_SmtpPort, &quorvel::IQuorvelMailMan3::put_MailPort}) {
          (mailMan.get()->*put)(1);  // nobody listens there
        }
        mailMan->put_MailHost("127.0.0.1");
      }
      return object;
    }
    return nullptr;
  }

  /// Calls `visit` with each member of each class once, and a new object to call it on.
  template <typename Visit>
  void forEach(Visit visit) {
    const auto all = quorvel::interfaces();
    for (const auto& last : all) {
      const bool isBase =
          std::any_of(all.begin(), all.end(), [&](const auto& each) { return each.base == last.name; });
      if (isBase) continue;
      for (const Member& member : last.members) {
        if (const auto object = newObject(last.name)) visit(*object, member);
      }
    }
  }

  /// The log's settings outlive a test.
  class KeepsProperty {
   public:
    KeepsProperty(IQuorvelObject& object, const Member& member) : object_(object), member_(member) {
      if (isKept()) quorvel::invoke(object, member.id, Kind::get, {}, value_);
    }
    ~KeepsProperty() {
      if (!isKept()) return;
      Value none;
      const auto* text = std::get_if<std::string>(&value_);
      const Argument before = text != nullptr ? Argument(*text) : Argument(std::get<std::int32_t>(value_));
      quorvel::invoke(object_, member_.id, Kind::put, {before}, none);
    }
    KeepsProperty(const KeepsProperty&) = delete;
    KeepsProperty& operator=(const KeepsProperty&) = delete;

   private:
    bool isKept() const { return object_.className() == "CQuorvelLog" && member_.kind == Kind::put; }
    IQuorvelObject& object_;
    const Member& member_;
    Value value_;
  };

  Ref<quorvel::IQuorvelLog2> log_ = qv_test::sharedLog();
  const qv::TemporaryFolder folder_;  // the current one, for what members that are tried out may write
  const std::filesystem::path home_ = std::filesystem::current_path();
};

/// The log of the component, or the object's own.
Ref<quorvel::IQuorvelLog2> logOf(IQuorvelObject& object, const Ref<quorvel::IQuorvelLog2>& shared) {
  const auto cert = object.as<quorvel::IQuorvelCert>();
  return cert ? cert->GetLog() : shared;
}

// The rows say: interface, id, kind, name | result | context that it opens | errors that it logs, "failed: "
// before those that are reported.
TEST_F(EveryMember, GivenNothingDoesWhatItsRowSays) {
  std::ifstream file(QUORVEL_TEST_DATA "/members_given_nothing.txt");
  std::vector<std::string> expected, found;
  for (std::string text; std::getline(file, text);) {
    if (!text.starts_with('#')) expected.push_back(text);
  }
  forEach([&](IQuorvelObject& object, const Member& member) {
    const KeepsProperty kept(object, member);
    const auto log = logOf(object, log_);
    log->put_LineFormat("%m");
    log->ClearLog();
    Value value;
    const auto status = quorvel::invoke(object, member.id, member.kind, argumentsOf(member, kEmpty), value);
    const auto report = quorvel::lastError();
    EXPECT_EQ(status, report ? quorvel::Status::failed : quorvel::Status::ok) << member.name;
    std::string errors = (report ? "failed: " : "") + onOneLine(log->GetErrorEntries());
    if (report) EXPECT_THAT(errors, ::testing::EndsWith(onOneLine(report->description))) << member.name;
    const std::string xml = log->GetXml(0);
    constexpr std::string_view kOpening = "\n  <context name=\"";
    const std::size_t at = xml.find(kOpening);
    std::string context = "-";
    if (at != std::string::npos) {
      const std::size_t name = at + kOpening.size();
      context = xml.substr(name, xml.find('"', name) - name);
      if (member.name == "EnterContext") {
        log->LeaveContext();
      } else {
        EXPECT_EQ(xml.compare(name + context.size(), 18, "\" reportErrors=\"1\""), 0) << xml;
      }
    }
    if (errors.empty()) errors = "-";
    found.push_back(member.interfaceName + ' ' + std::to_string(member.id) + ' ' + nameOf(member.kind) + ' ' +
                    member.name + " | " + shown(member, value) + " | " + context + " | " + errors);
  });
  for (std::size_t i = 0; i < std::max(found.size(), expected.size()); ++i) {
    EXPECT_EQ(i < found.size() ? found[i] : "", i < expected.size() ? expected[i] : "");
  }
}

// Nothing that a host may pass makes a member throw, crash, or leave a context open; and where there is a put
// there is a get of the same id, name and type.
TEST_F(EveryMember, TakesAnyArgument) {
  const std::string lines = "x\r\nNOOP\r\n";
  const Sample samples[] = {
      {lines, -1, -1},
      {lines + '\0' + "\xFF\xFE%s%n", std::numeric_limits<std::int32_t>::min(), std::nan("")},
      {"../../" + std::string(100'000, 'x'), std::numeric_limits<std::int32_t>::max(), 1e308},
      {"<a@h>, \"b", 1, -INFINITY},
  };
  forEach([&](IQuorvelObject& object, const Member& member) {
    const KeepsProperty kept(object, member);
    const auto log = logOf(object, log_);
    for (const Sample& sample : samples) {
      Value value;
      const auto status = quorvel::invoke(object, member.id, member.kind, argumentsOf(member, sample), value);
      EXPECT_TRUE(status == quorvel::Status::ok || status == quorvel::Status::failed) << member.name;
      if (member.name == "EnterContext") log->LeaveContext();
    }
    log->ClearLog();
    EXPECT_THAT(log->GetXml(0), ::testing::Not(::testing::HasSubstr("<context"))) << member.name;
    if (member.kind != Kind::put) return;
    const auto members = quorvel::members(object);
    EXPECT_TRUE(std::any_of(members.begin(), members.end(), [&](const Member& each) {
      return each.kind == Kind::get && each.id == member.id && each.name == member.name &&
             each.result.type == member.parameters.front().type;
    })) << member.name;
  });
}

}  // namespace
