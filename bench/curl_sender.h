// libcurl as a sender to the server of the benchmarks, where it is there.
#pragma once

#ifdef QUORVEL_HAVE_CURL

#include <curl/curl.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "receiving_server.h"

namespace qv_bench {

/// One session, which opens with the first message and lasts as long as this.
class CurlSender {
 public:
  CurlSender() {
    const std::string url = "smtp://127.0.0.1:" + std::to_string(serverPort());
    curl_easy_setopt(curl_, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl_, CURLOPT_MAIL_FROM, "<sender@example.org>");
    curl_easy_setopt(curl_, CURLOPT_MAIL_RCPT, recipients_);
    curl_easy_setopt(curl_, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(curl_, CURLOPT_READFUNCTION, &CurlSender::read);
    curl_easy_setopt(curl_, CURLOPT_READDATA, &rest_);
  }
  ~CurlSender() {
    curl_easy_cleanup(curl_);
    curl_slist_free_all(recipients_);
  }
  CurlSender(const CurlSender&) = delete;
  CurlSender& operator=(const CurlSender&) = delete;

  bool send(std::string_view text) {
    rest_ = text;
    return curl_easy_perform(curl_) == CURLE_OK;
  }

 private:
  static std::size_t read(char* buffer, std::size_t unit, std::size_t count, void* user) {
    auto& rest = *static_cast<std::string_view*>(user);
    const std::size_t taken = rest.copy(buffer, unit * count);
    rest.remove_prefix(taken);
    return taken;
  }

  CURL* curl_ = curl_easy_init();
  curl_slist* recipients_ = curl_slist_append(nullptr, "<reader@example.org>");
  std::string_view rest_;
};

}  // namespace qv_bench

#endif
