#include <quorvel/dispatch.h>

#include <algorithm>
#include <new>
#include <vector>

#include <quorvel/outgoing.h>

#include "api/component.h"
#include "api/event_source.h"
#include "api/factory.h"
#include "api/member_row.h"
#include "api/type_library.h"

namespace qv {

namespace {

using quorvel::InterfaceInfo;
using quorvel::Member;

Member asMember(const Row& row, std::string_view interfaceName) {
  Member member{.id = row.id,
                .kind = row.kind,
                .name = std::string(row.name),
                .interfaceName = std::string(interfaceName),
                .parameters = {},
                .result = {{}, row.resultType.type, std::string(row.resultType.interfaceName)},
                .summary = std::string(row.summary)};
  std::string_view names = row.argumentNames;
  for (const TypeInfo& type : row.argumentTypes) {
    const std::size_t end = std::min(names.find(", "), names.size());
    member.parameters.push_back(
        {std::string(names.substr(0, end)), type.type, std::string(type.interfaceName)});
    names.remove_prefix(std::min(end + 2, names.size()));
  }
  return member;
}

/// The type library as hosts see it. Made once and never destroyed.
struct Library {
  std::vector<InterfaceInfo> infos;
  std::vector<InterfaceMembers> members;

  Library() {
    infos.reserve(typeLibrary().size());
    for (const InterfaceRows& each : typeLibrary()) {
      InterfaceInfo info{.name = std::string(each.name), .base = std::string(each.base), .members = {}};
      InterfaceMembers rows{};
      if (const InterfaceMembers* base = find(each.base)) {
        info.members = base->info->members;
        rows.rows = base->rows;
      }
      info.numInherited = info.members.size();
      for (const Row& row : each.rows) {
        info.members.push_back(asMember(row, each.name));
        rows.rows.push_back(&row);
      }
      infos.push_back(std::move(info));
      rows.info = &infos.back();
      members.push_back(std::move(rows));
    }
  }

  const InterfaceMembers* find(std::string_view name) const {
    const auto found = std::find_if(members.begin(), members.end(),
                                    [&](const InterfaceMembers& each) { return each.info->name == name; });
    return found == members.end() ? nullptr : &*found;
  }
};

const Library& library() {
  static const Library* const instance = new Library;
  return *instance;
}

const InterfaceMembers* membersOf(const quorvel::IQuorvelObject& object) {
  const ClassInfo* itsClass = classOf(object);
  return itsClass == nullptr ? nullptr : library().find(itsClass->interfaceName);
}

}  // namespace

const InterfaceMembers* interfaceMembers(std::string_view name) {
  return library().find(name);
}

}  // namespace qv

namespace quorvel {

std::span<const InterfaceInfo> interfaces() noexcept {
  return qv::library().infos;
}

std::span<const Member> members(const IQuorvelObject& object) noexcept {
  const qv::InterfaceMembers* all = qv::membersOf(object);
  return all == nullptr ? std::span<const Member>() : all->info->members;
}

std::int32_t idOfName(const IQuorvelObject& object, std::string_view name) noexcept {
  for (const Member& member : members(object)) {
    if (member.name == name) return member.id;
  }
  return 0;
}

Status invoke(IQuorvelObject& object, std::int32_t id, Kind kind, std::span<const Argument> arguments,
              Value& result) noexcept {
  qv::component::clearErrorReport();
  try {
    const qv::InterfaceMembers* all = qv::membersOf(object);
    if (all == nullptr) return Status::unknownObject;
    const auto found = std::find_if(all->rows.begin(), all->rows.end(),
                                    [&](const qv::Row* row) { return row->id == id && row->kind == kind; });
    if (found == all->rows.end()) return Status::unknownMember;
    const qv::Row& row = **found;
    if (arguments.size() != row.argumentTypes.size()) return Status::wrongCount;
    if (!std::equal(arguments.begin(), arguments.end(), row.argumentTypes.begin(), qv::fits)) {
      return Status::wrongType;
    }
    result = row.call(object, arguments);
    return qv::component::errorReport() == nullptr ? Status::ok : Status::failed;
  } catch (...) {
    return Status::outOfMemory;
  }
}

std::int32_t connect(IQuorvelObject& source, Ref<IQuorvelOutgoing> sink) noexcept {
  try {
    auto* events = dynamic_cast<qv::EventSource*>(&source);
    return events == nullptr ? 0 : events->connectSink(std::move(sink));
  } catch (...) {
    return 0;  // out of memory
  }
}

bool disconnect(IQuorvelObject& source, std::int32_t token) noexcept {
  auto* events = dynamic_cast<qv::EventSource*>(&source);
  return events != nullptr && events->disconnectSink(token);
}

}  // namespace quorvel
