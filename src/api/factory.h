// The classes of the component's objects.
#pragma once

#include <span>
#include <string_view>

#include <quorvel/object.h>

namespace qv {

struct ClassInfo {
  std::string_view name;           ///< as "CQuorvelEmail"
  std::string_view interfaceName;  ///< the last one of its line
  std::string_view progId;         ///< the name that hosts create it by; empty when they cannot
  quorvel::Ref<quorvel::IQuorvelObject> (*make)();
};

std::span<const ClassInfo> classes() noexcept;

/// Null for an object of the host's own.
const ClassInfo* classOf(const quorvel::IQuorvelObject& object) noexcept;

}  // namespace qv
