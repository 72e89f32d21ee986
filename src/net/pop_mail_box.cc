#include "net/pop_session.h"
#include "platform/random.h"

namespace qv {

MailBox::Scatter::Scatter() {
  randomBytes(reinterpret_cast<char*>(&secret_), sizeof secret_);
}

std::size_t MailBox::Scatter::operator()(std::int32_t number) const noexcept {
  // The mixing is that of splitmix64.
  std::uint64_t mixed = secret_ + static_cast<std::uint32_t>(number);
  mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9U;
  mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBU;
  return mixed ^ (mixed >> 31);
}

MailOnServer* MailBox::find(std::int32_t number) const {
  const auto found = places_.find(number);
  return found == places_.end() ? nullptr : entries_[found->second].get();
}

void MailBox::add(std::int32_t number, std::int32_t size, std::string_view uidl) {
  auto entry = std::make_unique<MailOnServer>();
  entry->number = number;
  entry->size = size;
  entry->uidl = uidl;
  entries_.push_back(std::move(entry));
  const auto [place, isNew] = places_.try_emplace(number, entries_.size() - 1);
  if (isNew) return;
  entries_[place->second].reset();
  place->second = entries_.size() - 1;
  // A server that repeats itself must not make a list of holes.
  if (++holes_ > entries_.size() / 2) closeHoles();
}

MailOnServer* MailBox::at(std::size_t position) const {
  closeHoles();
  return position < entries_.size() ? entries_[position].get() : nullptr;
}

void MailBox::closeHoles() const {
  if (holes_ == 0) return;
  std::erase(entries_, nullptr);
  for (std::size_t place = 0; place < entries_.size(); ++place) places_[entries_[place]->number] = place;
  holes_ = 0;
}

}  // namespace qv
