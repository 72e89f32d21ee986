// Opening the security layers of a received message (RFC 5751).
#pragma once

#include <cstddef>

#include "core/log.h"
#include "email/security.h"
#include "mime/mime_message.h"

namespace qv {

/// Layers, signed or encrypted, around one another: each may cost a pass over all that is in it.
inline constexpr std::size_t kMaxLayersOnPath = 30;
/// Layers of one message in all: each costs work with keys.
inline constexpr std::size_t kMaxLayersInMessage = 100;

/// Replaces each signed or encrypted entity of a tree by what is inside it, and logs what it meets. A layer
/// that fails stays as it came, and so does one beyond the limits. `autoSaveCerts` adds the certificates
/// whose detached signatures are good to the component's own store. Without recursion.
ReceivedSecurity unwrapSecurity(MimeMessage2& top, bool autoSaveCerts, CLog* log);

/// Logs how it went. Nothing when no layer was found.
void logSecurity(const ReceivedSecurity& found, CLog* log);

}  // namespace qv
