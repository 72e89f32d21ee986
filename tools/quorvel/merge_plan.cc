#include "quorvel/merge_plan.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
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
  const Failure& first = broken.front();
  std::string others = first.details;
  for (std::size_t i = 1; i < broken.size(); ++i) others += broken[i].what + "\n";
  throw Failure{first.status, first.what, others, "nothing was sent; " + first.nextStep};
}

/// What becomes of the `place`th row of an address that so many mails were sent to.
MergeStep stepOf(std::size_t place, std::size_t numSent, bool everyRow) {
  if (everyRow) return place < numSent ? MergeStep::sentBefore : MergeStep::send;
  if (place > 0) return MergeStep::repeated;
  return numSent > 0 ? MergeStep::sentBefore : MergeStep::send;
}

/// Goes over both tables in the order of their addresses. An empty address is none.
void decide(const AddressTable& listed, const AddressTable& sent, bool everyRow,
            std::vector<MergeStep>& steps) {
  const std::vector<std::uint32_t> rows = listed.sorted();
  const std::vector<std::uint32_t> mails = sent.sorted();
  auto mail = mails.begin();
  for (auto row = rows.begin(); row != rows.end();) {
    const std::string_view address = listed.at(*row);
    while (mail != mails.end() && sent.at(*mail) < address) ++mail;
    std::size_t numSent = 0;
    for (; mail != mails.end() && sent.at(*mail) == address; ++mail) ++numSent;
    for (std::size_t place = 0; row != rows.end() && listed.at(*row) == address; ++row, ++place) {
      if (!address.empty()) steps[*row] = stepOf(place, numSent, everyRow);
    }
  }
}

}  // namespace

MergePlan planOf(RecipientList& list, const AddressTable& sent, bool everyRow) {
  MergePlan plan;
  AddressTable listed;
  std::vector<Failure> broken;
  for (Recipient recipient; nextUsable(list, recipient, broken);) {
    listed.add(recipient.fault.empty() ? recipient.address : "");
    plan.steps.push_back(MergeStep::noAddress);
    plan.isAscii = plan.isAscii && std::all_of(recipient.values.begin(), recipient.values.end(), isAscii);
  }
  throwAll(std::move(broken));
  decide(listed, sent, everyRow, plan.steps);
  const auto count = [&](MergeStep step) {
    return static_cast<std::size_t>(std::count(plan.steps.begin(), plan.steps.end(), step));
  };
  plan.toSend = count(MergeStep::send);
  plan.sentBefore = count(MergeStep::sentBefore);
  return plan;
}

}  // namespace cli
