// Mail as it lies in mailboxes, made up: the same messages for the same seed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace qv_bench {

/// Message texts with CR LF line ends, `bytes` in all or a little more. Sizes go from 2 KB to 200 KB, most of
/// them small; headers have 12 to 25 fields; layouts go from a plain text to related images and files around
/// alternatives. Texts are in 7bit or quoted-printable, files in base64, in lines of 76 characters. Written
/// without the component's own codings, so that it reads somebody else's mail.
std::vector<std::string> generateMail(std::uint32_t seed, std::size_t bytes);

}  // namespace qv_bench
