// The message digest MD4 (RFC 1320), which NTLM makes its keys with. For nothing else: it is broken.
#pragma once

#include <string_view>

#include "net/md_hash.h"

namespace qv {

MdDigest md4(std::string_view bytes) noexcept;

}  // namespace qv
