// The one place where the ids, names and signatures of the public interfaces stand.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include <quorvel/dispatch.h>

#include "api/member_row.h"

namespace qv {

/// An interface with its own rows, in the order of their ids.
struct InterfaceRows {
  std::string_view name;
  std::string_view base;  ///< the interface that it extends; empty when none
  std::span<const Row> rows;
};

/// All interfaces; each stands after the one that it extends.
std::span<const InterfaceRows> typeLibrary() noexcept;

/// An interface as hosts see it, with the rows of all its members beside them.
struct InterfaceMembers {
  const quorvel::InterfaceInfo* info;
  std::vector<const Row*> rows;
};

/// Null when there is no interface of that name.
const InterfaceMembers* interfaceMembers(std::string_view name);

}  // namespace qv
