// Random identifiers from the operating system's generator.
#pragma once

#include <functional>
#include <string>

namespace qv {

/// A new random UUID (RFC 4122 version 4): 36 characters, 8-4-4-4-12 lower-case hexadecimal digits.
std::string newUuid();

/// A test sets what `newUuid` gives. An empty function gives the generator back.
void setUuidForTest(std::function<std::string()> source);

}  // namespace qv
