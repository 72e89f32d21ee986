#include <gtest/gtest.h>
#include <quorvel/quorvel.h>

#include <fstream>
#include <string>
#include <vector>

namespace {

using quorvel::Argument;
using quorvel::Kind;
using quorvel::Status;
using quorvel::Value;
using Strings = std::vector<std::string>;

const char* nameOf(Kind kind) {
  return kind == Kind::method ? "method" : kind == Kind::get ? "get" : "put";
}

std::string line(const std::string& interfaceName, const quorvel::Member& member) {
  return interfaceName + " " + std::to_string(member.id) + " " + nameOf(member.kind) + " " + member.name;
}

TEST(Members, ArePinned) {
  std::ifstream file(QUORVEL_TEST_DATA "/members.txt");
  Strings pinned;
  for (std::string text; std::getline(file, text);) {
    if (!text.starts_with('#')) pinned.push_back(text);
  }
  Strings found;
  for (const auto& each : quorvel::interfaces()) {
    for (std::size_t i = each.numInherited; i < each.members.size(); ++i) {
      found.push_back(line(each.name, each.members[i]));
      EXPECT_EQ(each.members[i].interfaceName, each.name);
      EXPECT_FALSE(each.members[i].summary.empty()) << found.back();
    }
  }
  EXPECT_EQ(found, pinned);
}

TEST(Members, OfAnObjectAreThoseOfItsWholeLine) {
  const auto mailMan = quorvel::create("QuorvelMail.QuorvelMailMan");
  const auto members = quorvel::members(*mailMan);
  EXPECT_EQ(line("", members.front()), " 1 get SmtpHost");
  EXPECT_EQ(line("", members.back()), " 61 method ExplainFilter");
  EXPECT_EQ(quorvel::idOfName(*mailMan, "SaveXmlLog"), 57);
  for (const char* unknown : {"savexmllog", "", "SendEmail ", "GetMime"}) {
    EXPECT_EQ(quorvel::idOfName(*mailMan, unknown), 0) << unknown;
  }
  for (const char* name : {"IQuorvelObject", "IQuorvelMailMan", "IQuorvelMailMan3"}) {
    EXPECT_TRUE(mailMan->implements(name)) << name;
  }
  EXPECT_FALSE(mailMan->implements("IQuorvelEmail"));
  EXPECT_FALSE(mailMan.as<quorvel::IQuorvelEmail>());
}

TEST(Create, KnowsItsNames) {
  EXPECT_EQ(quorvel::create("QuorvelMail.QuorvelEmail")->className(), "CQuorvelEmail");
  EXPECT_EQ(quorvel::create("QuorvelMail.QuorvelMailMan.1")->className(), "CQuorvelMailMan");
  for (const char* unknown : {"", ".1", "QuorvelMail.QuorvelEmail.2", "QuorvelMail.QuorvelEmail.1.1",
                              "quorvelmail.quorvelemail", "CQuorvelLog", "QuorvelMail.QuorvelLog"}) {
    EXPECT_FALSE(quorvel::create(unknown)) << unknown;
  }
}

class HostObject final : public quorvel::Implements<quorvel::IQuorvelOutgoing> {
  void MessageProc(std::int32_t, std::int32_t, std::int32_t, std::int32_t) override {}
};

TEST(Invoke, ChecksKindCountAndTypes) {
  const auto mailMan = quorvel::create("QuorvelMail.QuorvelMailMan");
  const auto email = quorvel::create("QuorvelMail.QuorvelEmail");
  const auto foreign = quorvel::make<HostObject>();
  const struct {
    quorvel::IQuorvelObject* object;
    std::int32_t id;
    Kind kind;
    std::vector<Argument> arguments;
    Status status;
  } rows[] = {
      {mailMan.get(), 7, Kind::get, {}, Status::ok},
      {mailMan.get(), 7, Kind::put, {26}, Status::ok},
      {mailMan.get(), 1, Kind::put, {"host"}, Status::ok},
      {mailMan.get(), 2, Kind::method, {std::monostate()}, Status::failed},  // a null e-mail
      {mailMan.get(), 2, Kind::method, {static_cast<quorvel::IQuorvelObject*>(nullptr)}, Status::failed},
      {mailMan.get(), 7, Kind::method, {}, Status::unknownMember},
      {mailMan.get(), 22, Kind::put, {"3"}, Status::unknownMember},
      {mailMan.get(), 2, Kind::get, {}, Status::unknownMember},
      {mailMan.get(), 0, Kind::get, {}, Status::unknownMember},
      {mailMan.get(), -1, Kind::method, {}, Status::unknownMember},
      {mailMan.get(), 7, static_cast<Kind>(9), {}, Status::unknownMember},
      {mailMan.get(), 7, Kind::get, {1}, Status::wrongCount},
      {mailMan.get(), 7, Kind::put, {}, Status::wrongCount},
      {mailMan.get(), 7, Kind::put, {1, 2}, Status::wrongCount},
      {mailMan.get(), 7, Kind::put, {"25"}, Status::wrongType},
      {mailMan.get(), 7, Kind::put, {25.0}, Status::wrongType},
      {mailMan.get(), 7, Kind::put, {std::monostate()}, Status::wrongType},
      {mailMan.get(), 1, Kind::put, {1}, Status::wrongType},
      {mailMan.get(), 1, Kind::put, {email.get()}, Status::wrongType},
      {mailMan.get(), 2, Kind::method, {"email"}, Status::wrongType},
      {mailMan.get(), 2, Kind::method, {mailMan.get()}, Status::wrongType},
      {mailMan.get(), 2, Kind::method, {foreign.get()}, Status::wrongType},
      {email.get(), 27, Kind::put, {1.0}, Status::ok},
      {email.get(), 27, Kind::put, {1}, Status::wrongType},
      {foreign.get(), 1, Kind::method, {1, 2, 3, 4}, Status::unknownObject},
  };
  for (const auto& row : rows) {
    Value result;
    EXPECT_EQ(quorvel::invoke(*row.object, row.id, row.kind, row.arguments, result), row.status)
        << row.object->className() << " " << row.id << " " << nameOf(row.kind);
    EXPECT_EQ(quorvel::lastError().has_value(), row.status == Status::failed);
  }
}

}  // namespace
