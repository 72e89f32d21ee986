// The attachments and related items of a message as hosts reach them: by index, with an account in the log.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/log.h"
#include "core/string_buffer.h"
#include "email/email.h"

namespace qv {

enum class ItemKind { attachment, relatedItem };

/// The item at an index of any value. Null when it is out of range, with the error "Index out of range: no
/// attachment at index = 7." (or "no related item") and the data "index" and "num_attachments" (or
/// "num_related_items").
Email* itemAt(Email& email, ItemKind kind, std::int32_t index, CLog* log);

/// The bytes of an item as text without CRs, up to the first NUL. Empty for null, as the next.
StringBuffer itemText(const Email* item);
/// All bytes of an item as text, with a CR before each LF that has none.
StringBuffer itemTextCrLf(const Email* item);

/// Writes the bytes of an item to a new file in a directory, which is made with its parents when missing. The
/// file has the item's name as `safeFileName` leaves it, with a number where that is taken; nothing is ever
/// written over. The item is then named like its file, also when the file could not be written.
///
/// An item without a name of its own is "attachment" or, with its index, "relatedItem0". False, with
/// "Failed to save attachment" (or "related item") and the reason in the log, when there is no such item or
/// no file; nothing half-written is left.
bool saveItem(Email& email, ItemKind kind, std::int32_t index, std::string_view directory, CLog* log);

/// Saves every attachment, going on after a failure; whether all were saved. Linear in their number, whatever
/// their names.
bool saveAllAttachments(Email& email, std::string_view directory, CLog* log);

/// Reads a whole file. False, with "Failed to read file into memory." in the log, when that is not possible.
bool readFileContent(std::string_view filename, StringBuffer& out, CLog* log);

}  // namespace qv
