#include "email/distribution_list.h"

#include "core/text.h"

namespace qv {

long DistributionList::loadFromFile(std::string_view path, CLog* log) {
  clear();
  filename_ = path;
  StringBuffer text;
  if (!text.loadFile(path, log)) return -1;
  std::string_view lines = text;
  if (lines.starts_with("\xEF\xBB\xBF")) lines.remove_prefix(3);  // an editor's byte order mark
  for (const std::string_view line : splitText(lines, '\n')) {
    const std::string_view address = trimmed(line);
    if (address.find('@') != std::string_view::npos)
      addresses_.append(std::make_unique<StringBuffer>(address));
  }
  return static_cast<long>(addresses_.size());
}

std::string_view DistributionList::getAddress(std::size_t index) const noexcept {
  const StringBuffer* address = addresses_.at(index);
  return address == nullptr ? std::string_view{} : address->view();
}

void DistributionList::addUnique(std::string_view address) {
  address = trimmed(address);
  if (address.find('@') == std::string_view::npos) return;
  for (; numSeen_ < addresses_.size(); ++numSeen_) seen_.insert(toLower(*addresses_.at(numSeen_)));
  if (!seen_.insert(toLower(address)).second) return;
  addresses_.append(std::make_unique<StringBuffer>(address));
  ++numSeen_;
}

void DistributionList::clear() {
  filename_.clear();
  addresses_.deleteAll();
  seen_.clear();
  numSeen_ = 0;
}

}  // namespace qv
