#include "quorvel/merge_plan.h"

#include <algorithm>
#include <string>
#include <utility>

#include "quorvel/composing.h"
#include "quorvel/report.h"

namespace cli {

namespace {

/// The next recipient; rows that are broken are noted, and it goes on.
bool nextUsable(RecipientList& list, Recipient& recipient, std::vector<Failure>& broken) {
  constexpr std::size_t kNoted = 10;
  while (true) {
    try {
      return list.next(recipient);
    } catch (const Failure& failure) {
      broken.push_back(failure);
      if (broken.size() == kNoted) return false;
    }
  }
}

/// Tells the first one, and the others below it.
void throwAll(std::vector<Failure> broken) {
  if (broken.empty()) return;
  Failure failure = broken.front();
  for (std::size_t i = 1; i < broken.size(); ++i) failure.details += broken[i].what + "\n";
  failure.nextStep = "nothing was sent; " + failure.nextStep;
  throw failure;
}

/// How often an address is still to be passed over, and whether it has been met.
class Repetitions {
 public:
  Repetitions(SentCounts sent, bool everyRow) : sent_(std::move(sent)), everyRow_(everyRow) {}
  MergeStep stepFor(const Recipient& recipient) {
    if (!recipient.fault.empty()) return MergeStep::noAddress;
    const auto [entry, isNew] = sent_.try_emplace(lowerCase(recipient.address), 0);
    std::uint32_t& count = entry->second;
    if (everyRow_) {
      if (count == 0) return MergeStep::send;
      --count;
      return MergeStep::sentBefore;
    }
    if (count == kMet) return MergeStep::repeated;
    const bool wasSent = !isNew && count > 0;
    count = kMet;
    return wasSent ? MergeStep::sentBefore : MergeStep::send;
  }

 private:
  static constexpr std::uint32_t kMet = static_cast<std::uint32_t>(-1);
  SentCounts sent_;
  bool everyRow_;
};

}  // namespace

MergePlan planOf(RecipientList& list, SentCounts sent, bool everyRow) {
  MergePlan plan;
  Repetitions repetitions(std::move(sent), everyRow);
  std::vector<Failure> broken;
  for (Recipient recipient; nextUsable(list, recipient, broken);) {
    plan.steps.push_back(repetitions.stepFor(recipient));
    plan.toSend += plan.steps.back() == MergeStep::send ? 1 : 0;
    plan.sentBefore += plan.steps.back() == MergeStep::sentBefore ? 1 : 0;
    plan.isAscii = plan.isAscii && std::all_of(recipient.values.begin(), recipient.values.end(), isAscii);
  }
  throwAll(std::move(broken));
  return plan;
}

}  // namespace cli
