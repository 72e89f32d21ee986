#include "mime/line_facts.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace qv {
namespace {

// Sixteen bytes that the compiler keeps in one vector register, on every processor that has them.
using Lanes = std::uint8_t __attribute__((vector_size(16)));
constexpr std::size_t kLanes = sizeof(Lanes);
constexpr std::size_t kMostRounds = 255;  // of adding up to one in each lane, until it is full

Lanes lanesAt(const char* at) noexcept {
  Lanes lanes;
  std::memcpy(&lanes, at, kLanes);
  return lanes;
}

std::size_t sumOf(const Lanes& lanes) noexcept {
  std::size_t sum = 0;
  for (std::size_t i = 0; i < kLanes; ++i) sum += lanes[i];
  return sum;
}

void addPair(char before, char c, LineFacts& facts) noexcept {
  if (c == '\n' && before != '\r') ++facts.bareLfs;
  if (c != '\n' && before == '\r') ++facts.loneCrs;
  if (c == '.' && before == '\n') ++facts.dots;
}

// `rounds` times sixteen bytes, each with the one before it. A comparison gives 255, that is -1, where it
// holds.
void addRounds(const char* at, std::size_t rounds, LineFacts& facts) noexcept {
  Lanes bareLfs{}, loneCrs{}, dots{};
  for (const char* const end = at + rounds * kLanes; at != end; at += kLanes) {
    const Lanes here = lanesAt(at), before = lanesAt(at - 1);
    const auto isLf = here == static_cast<std::uint8_t>('\n');
    const auto followsCr = before == static_cast<std::uint8_t>('\r');
    bareLfs -= reinterpret_cast<Lanes>(isLf & ~followsCr);
    loneCrs -= reinterpret_cast<Lanes>(followsCr & ~isLf);
    dots -= reinterpret_cast<Lanes>((here == static_cast<std::uint8_t>('.')) &
                                    (before == static_cast<std::uint8_t>('\n')));
  }
  facts.bareLfs += sumOf(bareLfs);
  facts.loneCrs += sumOf(loneCrs);
  facts.dots += sumOf(dots);
}

}  // namespace

void LineScan::add(std::string_view piece) noexcept {
  if (piece.empty()) return;
  addPair(last_, piece.front(), facts_);
  const char* at = piece.data() + 1;
  const char* const end = piece.data() + piece.size();
  while (static_cast<std::size_t>(end - at) >= kLanes) {
    const std::size_t rounds = std::min(static_cast<std::size_t>(end - at) / kLanes, kMostRounds);
    addRounds(at, rounds, facts_);
    at += rounds * kLanes;
  }
  for (; at != end; ++at) addPair(at[-1], *at, facts_);
  last_ = piece.back();
}

LineFacts LineScan::facts() const noexcept {
  LineFacts facts = facts_;
  if (last_ == '\r') ++facts.loneCrs;
  return facts;
}

LineFacts lineFactsOf(std::string_view text) noexcept {
  LineScan scan;
  scan.add(text);
  return scan.facts();
}

}  // namespace qv
