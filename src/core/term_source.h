// What a filter expression asks for the value of a term.
#pragma once

#include <string_view>

#include "core/string_buffer.h"

namespace qv {

class ExpressionTermSource {
 public:
  virtual ~ExpressionTermSource() = default;
  /// Appends the value of the first header field named `name` (any case); nothing when there is none.
  virtual void getTermValue(std::string_view name, StringBuffer& out) const = 0;
};

}  // namespace qv
