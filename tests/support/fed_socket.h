// A connection without a network: receives what a test feeds it, and keeps what is sent.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "net/socket.h"

namespace qv_test {

class FedSocket final : public qv::QuorvelSocket {
 public:
  struct Record {
    bool keepsSent = true;
    std::vector<std::string> sent;
    std::vector<std::int32_t> readTimeouts;
  };
  /// After `sendsLeft` sends every further one fails. `record` outlives the socket.
  FedSocket(std::string_view received, Record& record, std::size_t sendsLeft = std::string::npos)
      : record_(record), sendsLeft_(sendsLeft) {
    buffer_.append(received);
  }

  void close() override {}
  bool connectToHost(std::string_view, std::int32_t) override { return true; }
  bool checkSocket() override { return false; }
  bool receiveExact(char*, std::size_t, qv::CLog*) override { return false; }
  bool receiveBytes(char*, std::size_t&, qv::CLog*) override { return false; }
  bool sendText(qv::TextSource& text, qv::CLog*, qv::ProgressMonitor*) override {
    if (sendsLeft_ == 0) return false;
    --sendsLeft_;
    if (!record_.keepsSent) return true;  // nor does any copy of it stay in memory
    qv::StringBuffer sent;
    qv::appendFrom(text, sent);
    record_.sent.push_back(sent.str());
    return true;
  }
  bool receiveUntil(qv::StringBuffer& out, std::string_view terminator, std::size_t, qv::CLog*,
                    qv::ProgressMonitor*, std::size_t limit, std::size_t) override {
    return buffer_.extractThrough(terminator, out) && out.size() <= limit;
  }
  void getLocalHostName(qv::StringBuffer& out) override { out.set("me"); }
  bool listenOnPort(std::int32_t) override { return false; }
  std::unique_ptr<QuorvelSocket> acceptConnection() override { return nullptr; }
  qv::tcp::Handle getHandle() const noexcept override { return qv::tcp::kNone; }
  void setReadTimeout(std::int32_t seconds) override { record_.readTimeouts.push_back(seconds); }
  void setConnectTimeout(std::int32_t) override {}
  void detachHandle() override {}

 private:
  qv::ParseBuffer buffer_;
  Record& record_;
  std::size_t sendsLeft_;
};

}  // namespace qv_test
