// What the component's own public objects derive from.
#pragma once

#include <string_view>

#include <quorvel/object.h>

#include "api/component.h"
#include "core/log.h"

namespace qv {

/// An implementation of `Interface`, the last one of its line.
template <typename Interface>
class ObjectBase : public quorvel::Implements<Interface> {
 protected:
  static CLog* log() noexcept { return component::sharedLog(); }

 private:
  component::LivingObject living_;
};

}  // namespace qv
