// Random numbers and identifiers from the operating system's generator.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace qv {

/// Fills up to 256 bytes, fit for keys. Throws std::system_error where the system gives none.
void randomBytes(char* bytes, std::size_t count);

/// A new random UUID (RFC 4122 version 4): 36 characters, 8-4-4-4-12 lower-case hexadecimal digits.
std::string newUuid();

/// A test sets what `newUuid` gives. An empty function gives the generator back.
void setUuidForTest(std::function<std::string()> source);

}  // namespace qv
