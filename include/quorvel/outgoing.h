// The events that a mail manager raises, and how a host listens to them.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>
#include <utility>

#include <quorvel/object.h>

namespace quorvel {

/// Implemented by the host. Called on the thread of the operation, in the middle of the network work: a sink
/// that takes its time delays the operation. It may call the object, disconnect itself and let go of the
/// object; what it throws is dropped, and changes nothing of the operation.
class QUORVEL_API IQuorvelOutgoing : public IQuorvelObject {
 public:
  using Base = IQuorvelObject;
  static constexpr std::string_view kInterfaceName = "IQuorvelOutgoing";

  /// `senderID` is 102. `messageID` is 2 while sending and 1 while receiving; `param1` is then the percentage
  /// done, which never goes down within an operation, and `param2` is 0.
  virtual void MessageProc(std::int32_t senderID, std::int32_t messageID, std::int32_t param1,
                           std::int32_t param2) = 0;
};

/// Connects a sink to an object that raises events. Gives the token for `disconnect`, 0 when the object
/// raises none or `sink` is null. The object holds the sink until it is disconnected or the object goes.
QUORVEL_API std::int32_t connect(IQuorvelObject& source, Ref<IQuorvelOutgoing> sink) noexcept;
/// False when no sink of that token is connected.
QUORVEL_API bool disconnect(IQuorvelObject& source, std::int32_t token) noexcept;

using MessageProcFunction = std::function<void(std::int32_t, std::int32_t, std::int32_t, std::int32_t)>;

/// The same for any function.
inline std::int32_t connect(IQuorvelObject& source, MessageProcFunction function) {
  class Sink final : public Implements<IQuorvelOutgoing> {
   public:
    explicit Sink(MessageProcFunction call) : call_(std::move(call)) {}
    void MessageProc(std::int32_t senderID, std::int32_t messageID, std::int32_t param1,
                     std::int32_t param2) override {
      call_(senderID, messageID, param1, param2);
    }

   private:
    MessageProcFunction call_;
  };
  return connect(source, Ref<IQuorvelOutgoing>(make<Sink>(std::move(function))));
}

}  // namespace quorvel
