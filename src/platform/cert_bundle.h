// Files that carry a certificate from one machine to another, often together with its private key: PKCS #12
// (RFC 7292), or PEM.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "platform/cert_context.h"
#include "platform/wipe.h"

namespace qv {

struct CertBundle {
  std::shared_ptr<const CertContext> certificate{};
  Secret key{};               ///< PKCS #8 as PEM; empty when the file holds none
  std::size_t numOthers = 0;  ///< further certificates, as those of authorities, which are left out
};

/// From a file of PKCS #12, or of certificates (DER or PEM) with or without a private key behind or before
/// them. Of several certificates it is the key's, or without a key the first. `password` opens PKCS #12, or
/// an encrypted key in PEM. False with the reason.
bool readBundle(std::string_view path, std::string_view password, CertBundle& bundle, std::string& error);

/// Whether a file can be opened with a password only. False also of one that cannot be read at all.
bool needsPassword(std::string_view path);

/// Writes a certificate and its key as PKCS #12 with AES, to a file of mode 0600 that takes the place of
/// `path`. False with the reason.
bool writeBundle(std::string_view path, const CertContext& certificate, std::string_view password,
                 std::string& error);

}  // namespace qv
