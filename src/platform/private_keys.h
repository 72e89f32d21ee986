// Private keys as OpenSSL has them; included by nobody outside this folder.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/openssl_support.h"

namespace qv::ossl {

inline constexpr std::size_t kLargestKeyFile = std::size_t{64} << 10;

/// From PKCS #8 or the older forms, DER or PEM. `password` opens a PEM that is encrypted; where its data
/// pointer is null none is known. Null with the reason in `error`.
Owned<EVP_PKEY> parseKey(std::string_view bytes, std::string_view password, std::string& error);

/// Whether a key is that of a certificate.
bool belongTogether(const CertContext& certificate, EVP_PKEY* key, std::string& error);

/// The private key of a certificate, from its file. Null with the reason in `error` when it has none, or one
/// that is damaged, open to others or another certificate's.
Owned<EVP_PKEY> loadKey(const CertContext& certificate, std::string& error);

}  // namespace qv::ossl
