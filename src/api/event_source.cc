#include "api/event_source.h"

#include <algorithm>

namespace qv {

std::int32_t EventSource::connectSink(quorvel::Ref<quorvel::IQuorvelOutgoing> sink) {
  if (!sink) return 0;
  connections_.push_back({lastToken_ + 1, std::move(sink)});
  return ++lastToken_;
}

bool EventSource::disconnectSink(std::int32_t token) {
  const auto found = std::find_if(connections_.begin(), connections_.end(),
                                  [&](const Connection& each) { return each.token == token; });
  if (found == connections_.end()) return false;
  const Connection gone = std::move(*found);  // what the sink does as it goes must find the list whole
  connections_.erase(found);
  return true;
}

void EventSource::fire(std::int32_t senderId, std::int32_t messageId, std::int32_t param1,
                       std::int32_t param2) noexcept {
  // The list may change in every call: the next sink is the one with the next higher token.
  const std::int32_t newest = lastToken_;
  for (std::int32_t token = 0;;) {
    const auto next = std::find_if(connections_.begin(), connections_.end(),
                                   [&](const Connection& each) { return each.token > token; });
    if (next == connections_.end() || next->token > newest) return;
    token = next->token;
    const auto sink = next->sink;
    try {
      sink->MessageProc(senderId, messageId, param1, param2);
    } catch (...) {
      // Events are advisory: a sink that fails changes nothing of the operation.
    }
  }
}

}  // namespace qv
