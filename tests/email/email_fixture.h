// E-mails whose every byte is known, and one-line views of them.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "email/email.h"
#include "mime/mime_message.h"
#include "platform/clock.h"
#include "platform/host_name.h"
#include "platform/random.h"
#include "support/log_lines.h"
#include "support/tree_dump.h"

namespace qv_test {

/// Tuesday, 5 March 2002, 19:03:07 UT, in that zone; host "mail.example"; UUIDs "abc0001d-...",
/// "abc0002d-...".
class EmailTest : public testing::Test {
 protected:
  EmailTest() {
    setenv("TZ", "UTC0", 1);
    tzset();
    qv::setClockForTest([] { return 1015354987; });
    qv::setHostNameForTest("mail.example");
    qv::setUuidForTest([this] {
      char uuid[37];
      std::snprintf(uuid, sizeof uuid, "abc0%03dd-eeee-4fff-8000-1111222233334", ++numUuids_ % 1000);
      return std::string(uuid);
    });
  }
  ~EmailTest() override {
    qv::setClockForTest({});
    qv::setHostNameForTest({});
    qv::setUuidForTest({});
  }

  int numUuids_ = 0;
  LogLines log_;
};

/// type, ":" and its `type` parameter, "=" and its body, (parts). Types without "multipart/" and "text/";
/// files are "file".
inline std::string dump(const qv::Email& email) {
  const std::string type(email.contentType());
  std::string out = type == "application/octet-stream" ? "file" : type;
  for (const char* prefix : {"multipart/", "text/"}) {
    if (type.starts_with(prefix)) out = type.substr(std::string_view(prefix).size());
  }
  const std::string related = email.getContentTypeParams().relatedType.str();
  if (!related.empty()) out += ':' + related;
  if (!email.body().data().empty()) out += '=' + std::string(email.body().data().view());
  for (std::size_t i = 0; i < email.parts().size(); ++i) {
    out += (i == 0 ? '(' : ' ') + dump(*email.parts().at(i));
  }
  return email.parts().empty() ? out : out + ')';
}

inline std::string written(const qv::Email& email, std::string_view excludePrefix = {}) {
  qv::StringBuffer out;
  email.writeMime(out, excludePrefix);
  return out.str();
}

/// The field names of every entity: of an e-mail, and of what a reader makes of its text.
inline std::string shape(const qv::Email& email) {
  std::string out = "[";
  for (std::size_t i = 0; i < email.numHeaderFields(); ++i)
    out += std::string(email.getHeaderFieldName(i)) + ' ';
  for (const auto& part : email.parts()) out += shape(*part);
  return out + ']';
}
inline std::string shape(const qv::MimeMessage2& entity) {
  std::string out = "[";
  const qv::MimeHeader& header = entity.header();
  for (std::size_t i = 0; i < header.getFieldCount(); ++i) out += std::string(header.getFieldName(i)) + ' ';
  for (std::size_t i = 0; i < entity.getNumParts(); ++i) out += shape(*entity.getPart(i));
  return out + ']';
}
inline std::string shapeReadBack(const qv::Email& email) {
  qv::MimeMessage2 message(nullptr);
  message.parseMime(written(email));
  return shape(message);
}

/// A file attachment in miniature.
inline std::unique_ptr<qv::Email> attachment(std::string_view name, std::string_view bytes) {
  auto part = qv::Email::newEmptyPart(nullptr);
  part->setDisposition("attachment", name);
  part->setTransferEncoding("base64");
  part->setContentType("application/octet-stream", name);
  part->body().setForBase64(qv::BinaryData(bytes));
  return part;
}
inline void addAttachment(qv::Email& email, std::string_view name, std::string_view bytes) {
  if (email.contentType() != "multipart/mixed") qv::Email::convertToMixed(email);
  email.addPart(attachment(name, bytes));
}

}  // namespace qv_test
