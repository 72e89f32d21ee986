// The sinks that a host has connected to an object.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include <quorvel/outgoing.h>

namespace qv {

class EventSource {
 public:
  virtual ~EventSource() = default;

  /// The token of the new connection, never 0; 0 for a null sink.
  std::int32_t connectSink(quorvel::Ref<quorvel::IQuorvelOutgoing> sink);
  /// False when no sink has this token.
  bool disconnectSink(std::int32_t token);
  bool hasSinks() const noexcept { return !connections_.empty(); }

 protected:
  /// Calls every sink that is connected when its turn comes. A sink may connect and disconnect, itself
  /// included; one that throws is passed over.
  void fire(std::int32_t senderId, std::int32_t messageId, std::int32_t param1, std::int32_t param2) noexcept;

 private:
  struct Connection {
    std::int32_t token;
    quorvel::Ref<quorvel::IQuorvelOutgoing> sink;
  };
  std::vector<Connection> connections_;  // by rising token
  std::int32_t lastToken_ = 0;
};

}  // namespace qv
