// Calling objects by name or dispatch id, for hosts that do not know the interfaces when they are compiled.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <quorvel/object.h>

namespace quorvel {

/// An argument: nothing (which reads as a null object), an integer, a date, a text or bytes, an object. Texts
/// and objects are borrowed for the call.
using Argument = std::variant<std::monostate, std::int32_t, double, std::string_view, IQuorvelObject*>;
/// A result, in the same order; a null object is a null `Ref`.
using Value = std::variant<std::monostate, std::int32_t, double, std::string, Bytes, Ref<IQuorvelObject>>;

// The numbers of these three are those of <quorvel/quorvel_c.h> and never change.
enum class Kind : std::int32_t { method = 1, get = 2, put = 3 };
enum class Type : std::int32_t { nothing = 0, integer = 1, date = 2, text = 3, bytes = 4, object = 5 };
enum class Status : std::int32_t {
  ok = 0,             ///< called; it left no error report
  failed = 1,         ///< called; it left an error report (`lastError`)
  unknownClass = 2,   ///< no class of that name
  unknownObject = 3,  ///< no object, or none of this component
  unknownMember = 4,  ///< the object has no such member of that kind
  wrongCount = 5,     ///< too few or too many arguments
  wrongType = 6,      ///< an argument is not of its type
  nullPointer = 7,    ///< a pointer that must not be null is
  noEvents = 8,       ///< the object raises no events, or has no such sink
  outOfMemory = 9,
};

struct Parameter {
  std::string name;
  Type type = Type::nothing;
  std::string interfaceName;  ///< of an object
};

struct Member {
  std::int32_t id = 0;
  Kind kind = Kind::method;
  std::string name;
  std::string interfaceName;  ///< the interface that it came with
  std::vector<Parameter> parameters;
  Parameter result;  ///< without a name
  std::string summary;
};

/// An interface and all its members, those of the interface that it extends first; within an interface in the
/// order of their ids, a property's get before its put.
struct InterfaceInfo {
  std::string name;
  std::string base;  ///< the interface that it extends; empty when none
  std::vector<Member> members;
  std::size_t numInherited = 0;
};

/// All interfaces; each stands after the one that it extends.
QUORVEL_API std::span<const InterfaceInfo> interfaces() noexcept;

/// The members of an object; empty for a host's own.
QUORVEL_API std::span<const Member> members(const IQuorvelObject& object) noexcept;
/// The dispatch id of a member, compared with case; 0 when there is none of that name.
QUORVEL_API std::int32_t idOfName(const IQuorvelObject& object, std::string_view name) noexcept;

/// Calls a member. `result` is set when the status is ok or failed.
QUORVEL_API Status invoke(IQuorvelObject& object, std::int32_t id, Kind kind,
                          std::span<const Argument> arguments, Value& result) noexcept;
inline Status invoke(IQuorvelObject& object, std::int32_t id, Kind kind,
                     std::initializer_list<Argument> arguments, Value& result) noexcept {
  return invoke(object, id, kind, std::span<const Argument>(arguments.begin(), arguments.size()), result);
}

}  // namespace quorvel
