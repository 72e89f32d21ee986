// Names of files that are made from texts which others chose.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace qv {

/// Bytes in the name of a file; the file systems in use take no more.
inline constexpr std::size_t kMaxFileName = 255;

/// What of a received text may name a file: what stands behind its last '/' or '\' and behind a drive letter,
/// without control characters, ':' and '"', and without dots and blanks at its end; cut to `kMaxFileName`
/// bytes before its extension. Always a name inside the directory that it is used in; empty when nothing is
/// left, as of "..". Giving it a safe name changes nothing.
std::string safeFileName(std::string_view received);

/// The name to try as the `number`-th for a file: `name` itself first, then with the number put in before its
/// last '.', or at its end (report.pdf, report2.pdf, report3.pdf); cut to `kMaxFileName` bytes.
std::string uniqueFileName(std::string_view name, std::uint64_t number);

}  // namespace qv
