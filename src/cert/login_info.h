// The login to a signing service.
#pragma once

#include "core/string_buffer.h"

namespace qv {

/// Kept by the mail manager and handed down to whoever signs. The password is never logged.
struct LoginInfo {
  StringBuffer username;
  StringBuffer domain;
  StringBuffer password;
};

}  // namespace qv
