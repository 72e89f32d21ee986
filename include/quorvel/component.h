// Creating objects, and what belongs to the component as a whole.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <quorvel/object.h>

namespace quorvel {

/// A new object by its name, "QuorvelMail.QuorvelEmail" or "QuorvelMail.QuorvelEmail.1"; null when there is
/// no class of that name, or no memory for it.
QUORVEL_API Ref<IQuorvelObject> create(std::string_view name) noexcept;
/// The same by one of its interfaces.
template <typename T>
Ref<T> create(std::string_view name) noexcept {
  return create(name).as<T>();
}

/// What a failed operation tells the host.
struct ErrorReport {
  std::string description;
  std::string source;         ///< "QuorvelMail.QuorvelMailMan"
  std::string interfaceName;  ///< "IQuorvelMailMan2"
};
/// The report that the last operation on this thread left, whatever its object; none when it left none.
QUORVEL_API std::optional<ErrorReport> lastError();

/// The directory below which certificate stores live; empty, as at first, for the one below the user's home.
QUORVEL_API void setCertificateRoot(std::string_view path);

/// As "2.9.0".
QUORVEL_API std::string_view version() noexcept;
/// Whether no object is left; the log is then deleted, with all its entries.
QUORVEL_API bool canUnload() noexcept;

}  // namespace quorvel
