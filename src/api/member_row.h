// One row of the table of members, made from a member function.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

#include <quorvel/dispatch.h>
#include <quorvel/object.h>

namespace qv {

using quorvel::Argument;
using quorvel::Kind;
using quorvel::Type;
using quorvel::Value;

/// A type as it crosses the dispatch; the interface's name for an object.
struct TypeInfo {
  Type type = Type::nothing;
  std::string_view interfaceName = {};
};

struct Row {
  std::int32_t id;
  Kind kind;
  std::string_view name;
  std::string_view argumentNames;  ///< separated by ", "
  std::string_view summary;
  std::span<const TypeInfo> argumentTypes;
  TypeInfo resultType;
  /// Calls the member. The arguments are as many as the types and fit them (see `fits`).
  Value (*call)(quorvel::IQuorvelObject& object, std::span<const Argument> arguments);
};

/// Whether an argument can be given where `wanted` is asked for. Nothing stands for a null object.
inline bool fits(const Argument& argument, const TypeInfo& wanted) noexcept {
  switch (wanted.type) {
    case Type::integer:
      return std::holds_alternative<std::int32_t>(argument);
    case Type::date:
      return std::holds_alternative<double>(argument);
    case Type::text:
    case Type::bytes:
      return std::holds_alternative<std::string_view>(argument);
    case Type::object: {
      if (std::holds_alternative<std::monostate>(argument)) return true;
      const auto* object = std::get_if<quorvel::IQuorvelObject*>(&argument);
      return object != nullptr && (*object == nullptr || (*object)->implements(wanted.interfaceName));
    }
    case Type::nothing:
      break;
  }
  return false;
}

namespace member_row {

// How a C++ type crosses, and how an argument becomes one.
template <typename T>
struct Crossing;
template <>
struct Crossing<void> {
  static constexpr TypeInfo kType{};
};
template <>
struct Crossing<std::int32_t> {
  static constexpr TypeInfo kType{Type::integer};
  static std::int32_t take(const Argument& argument) { return std::get<std::int32_t>(argument); }
};
template <>
struct Crossing<double> {
  static constexpr TypeInfo kType{Type::date};
  static double take(const Argument& argument) { return std::get<double>(argument); }
};
template <>
struct Crossing<std::string_view> {
  static constexpr TypeInfo kType{Type::text};
  static std::string_view take(const Argument& argument) { return std::get<std::string_view>(argument); }
};
template <>
struct Crossing<std::string> {
  static constexpr TypeInfo kType{Type::text};
};
template <>
struct Crossing<quorvel::Bytes> {
  static constexpr TypeInfo kType{Type::bytes};
};
template <>
struct Crossing<const quorvel::Bytes&> {
  static constexpr TypeInfo kType{Type::bytes};
  static quorvel::Bytes take(const Argument& argument) {
    const std::string_view bytes = std::get<std::string_view>(argument);
    return {bytes.begin(), bytes.end()};
  }
};
template <typename Interface>
struct Crossing<Interface*> {
  static constexpr TypeInfo kType{Type::object, Interface::kInterfaceName};
  static Interface* take(const Argument& argument) {
    const auto* object = std::get_if<quorvel::IQuorvelObject*>(&argument);
    return object == nullptr ? nullptr : static_cast<Interface*>(*object);
  }
};
template <typename Interface>
struct Crossing<quorvel::Ref<Interface>> {
  static constexpr TypeInfo kType{Type::object, Interface::kInterfaceName};
};

inline Value asValue(std::int32_t result) {
  return result;
}
inline Value asValue(double result) {
  return result;
}
inline Value asValue(std::string&& result) {
  return std::move(result);
}
inline Value asValue(quorvel::Bytes&& result) {
  return std::move(result);
}
template <typename Interface>
Value asValue(quorvel::Ref<Interface>&& result) {
  return quorvel::Ref<quorvel::IQuorvelObject>(std::move(result));
}

template <typename Function>
struct Signature;
template <typename R, typename Class, typename... Arguments>
struct Signature<R (Class::*)(Arguments...)> {
  using Result = R;
  static constexpr std::size_t kCount = sizeof...(Arguments);
  static constexpr std::array<TypeInfo, kCount> kTypes{Crossing<Arguments>::kType...};

  template <auto function, std::size_t... I>
  static Value call(quorvel::IQuorvelObject& object, std::span<const Argument> arguments,
                    std::index_sequence<I...>) {
    auto& self = static_cast<Class&>(object);
    if constexpr (std::is_void_v<R>) {
      (self.*function)(Crossing<Arguments>::take(arguments[I])...);
      return {};
    } else {
      return asValue((self.*function)(Crossing<Arguments>::take(arguments[I])...));
    }
  }
};

template <auto function>
Value callMember(quorvel::IQuorvelObject& object, std::span<const Argument> arguments) {
  using Its = Signature<decltype(function)>;
  return Its::template call<function>(object, arguments, std::make_index_sequence<Its::kCount>());
}

/// The member function's own name, from the compiler's description of this function: "...Class::name]" or
/// "...Class::name; ...]".
template <auto function>
consteval std::string_view functionName() {
  std::string_view text = __PRETTY_FUNCTION__;
  text = text.substr(text.find("function = ") + 11);
  text = text.substr(0, text.find_first_of(";])"));
  return text.substr(text.rfind(':') + 1);
}

}  // namespace member_row

/// The row of a member. Argument and result types are the member function's; that the names are as many, and
/// that the row's name and kind are the function's, is checked as the row is compiled.
template <auto function>
consteval Row row(std::int32_t id, Kind kind, std::string_view name, std::string_view argumentNames,
                  std::string_view summary) {
  using namespace member_row;
  using Its = Signature<decltype(function)>;
  constexpr bool hasResult = !std::is_void_v<typename Its::Result>;

  std::size_t names = argumentNames.empty() ? 0 : 1;
  for (const char c : argumentNames) names += c == ',' ? 1 : 0;
  if (names != Its::kCount) throw "one name for each argument";
  if (kind == Kind::get && (Its::kCount != 0 || !hasResult)) throw "a get only gives a result";
  if (kind == Kind::put && (Its::kCount != 1 || hasResult)) throw "a put only takes a value";
  std::string_view own = functionName<function>();
  if (kind != Kind::method) {
    if (own.substr(0, 4) != (kind == Kind::get ? "get_" : "put_")) throw "not the row's kind of function";
    own.remove_prefix(4);
  }
  if (own != name) throw "the row and its function differ in name";

  return {id,
          kind,
          name,
          argumentNames,
          summary,
          Its::kTypes,
          Crossing<typename Its::Result>::kType,
          &callMember<function>};
}

}  // namespace qv
