// The name of this machine.
#pragma once

#include <string>

namespace qv {

/// The local host name and its canonical (fully qualified) form as the name service gives it; the plain
/// host name when the name service has none, empty when even that is missing. Resolved once per process,
/// at the first call; safe from several threads.
const std::string& localHostName();  ///< as the machine calls itself
std::string canonicalHostName();     ///< fully qualified where it can be; at most 499 bytes

/// A test sets what `canonicalHostName` gives; empty gives the machine's own back.
void setHostNameForTest(const std::string& name);

}  // namespace qv
