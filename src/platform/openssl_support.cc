#include "platform/openssl_support.h"

#include <openssl/err.h>
#include <openssl/provider.h>

#include <climits>

namespace qv::ossl {

OSSL_LIB_CTX* context() noexcept {
  // Never taken down: threads may still be using it while the process ends.
  static OSSL_LIB_CTX* const instance = []() -> OSSL_LIB_CTX* {
    OSSL_LIB_CTX* made = OSSL_LIB_CTX_new();
    if (made == nullptr) return nullptr;
    if (OSSL_PROVIDER_load(made, "default") == nullptr) {
      OSSL_LIB_CTX_free(made);
      return nullptr;
    }
    // Without the old ciphers everything else still works.
    OSSL_PROVIDER_load(made, "legacy");
    ERR_clear_error();
    return made;
  }();
  return instance;
}

std::string takeErrorText(std::string_view otherwise) {
  const unsigned long code = ERR_peek_last_error();
  const char* reason = code == 0 ? nullptr : ERR_reason_error_string(code);
  const char* library = code == 0 ? nullptr : ERR_lib_error_string(code);
  ERR_clear_error();
  std::string text(reason == nullptr ? otherwise : std::string_view(reason));
  if (library != nullptr) text.append(" (").append(library).append(")");
  return text;
}

Owned<BIO> readerOf(std::string_view bytes) {
  if (bytes.size() > INT_MAX) return nullptr;
  return Owned<BIO>(BIO_new_mem_buf(bytes.empty() ? "" : bytes.data(), static_cast<int>(bytes.size())));
}

}  // namespace qv::ossl
