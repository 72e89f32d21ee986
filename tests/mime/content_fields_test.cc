#include "mime/content_fields.h"

#include <gtest/gtest.h>

#include <string>

#include "mime/limits.h"
#include "support/linear_cost.h"
#include "support/tree_dump.h"

namespace {

using qv::ContentFields;
using qv_test::shown;
using std::string_literals::operator""s;

ContentFields read(std::string_view name, std::string_view value) {
  qv::MimeHeader header;
  header.setHeaderField(name, value);
  return qv::readContentFields(header);
}

// The fields that are not empty, as "name=text".
std::string dump(const ContentFields& fields) {
  const std::pair<const char*, const qv::StringBuffer&> all[] = {
      {"contentType", fields.contentType}, {"name", fields.name},
      {"protocol", fields.protocol},       {"micalg", fields.micalg},
      {"charset", fields.charset},         {"boundary", fields.boundary},
      {"smimeType", fields.smimeType},     {"type", fields.type},
      {"disposition", fields.disposition}, {"filename", fields.filename},
      {"contentId", fields.contentId},     {"cte", fields.transferEncoding},
  };
  std::string out;
  for (const auto& [name, text] : all) {
    if (!text.empty()) out += (out.empty() ? "" : " ") + std::string(name) + "=" + text.str();
  }
  return out;
}

TEST(ContentFields, reads) {
  const struct {
    const char* name;
    std::string value;
    std::string fields;
  } rows[] = {
      {"Content-Type", "text/plain; CHARSET=\"ISO-8859-1\"; Name=\"My File.txt\"",
       "contentType=text/plain name=my file.txt charset=iso-8859-1"},
      {"content-type", "multipart/Mixed; boundary=\"----=_Part_A\"",
       "contentType=multipart/mixed boundary=----=_Part_A"},
      {"Content-Type", "a/b;protocol=P;micalg=M;smime-type=S;type=T/U",
       "contentType=a/b protocol=p micalg=m smimeType=s type=t/u"},
      {"Content-Type", "text/plain; charset=default", "contentType=text/plain"},
      {"Content-Type", "text/plain; charset=utf-8; charset=\"DEFAULT\"", "contentType=text/plain"},
      {"Content-Type", "text/plain; charset=a; charset=b", "contentType=text/plain charset=b"},
      {"Content-Type", " Text / Plain\t;;; name == a b ;; x=y", "contentType=text/plain name=ab"},
      {"Content-Type", "multipart/mixed;\r\n\tboundary=\"a\r\n b\"",
       "contentType=multipart/mixed boundary=a\r\n b"},
      {"Content-Type", "text/plain; name=\"a;b=c\"; charset=d",
       "contentType=text/plain name=a;b=c charset=d"},
      {"Content-Type", "text/plain; name=\"a\\\"; charset=d", "contentType=text/plain name=a\\ charset=d"},
      {"Content-Type", "text/plain; name=\"a\"b; charset=d", "contentType=text/plain name=a charset=d"},
      {"Content-Type", "text/plain; name=a\" b \"c\"d\"", "contentType=text/plain name=a b cd"},
      {"Content-Type", "text/plain; \"name\"=a; charset=d", "contentType=text/plain charset=d"},
      {"Content-Type", "text/plain; name=\"a\"; charset=\"d", "contentType=text/plain name=a"},
      {"Content-Type", "text/plain; name=a\"; charset=d", "contentType=text/plain name=a"},
      {"Content-Type", "\"Text/Plain\"; name=a", "contentType=text/plain name=a"},
      {"Content-Type", "text/plain; name=<[[0]]>; boundary=\"x\"",
       "contentType=text/plain name=<[[0]]> boundary=x"},
      {"Content-Type", "text/plain; charset", "contentType=text/plain"},
      {"Content-Type", "text/plain; charset; name=a", "contentType=text/plain"},  // a name ends at '='
      {"Content-Type", "text/plain; name=", "contentType=text/plain"},
      {"Content-Type", ";name=a", "name=a"},
      {"Content-Type", "text/plain; name=\"=?x?Q?a=22b?=\"; charset=d", "contentType=text/plain name=a"},
      {"Content-Type", "text/pl\0ain; name=\"\0\""s, "contentType=text/pl\0ain name=\0"s},
      {"Content-Disposition", "ATTACHMENT; filename=\"A B.Txt\"; name=c",
       "disposition=attachment filename=A B.Txt"},
      {"Content-Disposition", "inline;FileName=\"=?utf-8?B?w6k=?=.txt\"",
       "disposition=inline filename=\xC3\xA9.txt"},
      {"Content-ID", " <A@b> ; x", "contentId=<A@b>"},
      {"Content-Transfer-Encoding", "Base64 ;x", "cte=Base64"},
      {"Content-Transfer-Encoding", "=?x?q?8bit?=", "cte=8bit"},
      {"Subject", "text/plain; name=a", ""},
  };
  for (const auto& row : rows) EXPECT_EQ(dump(read(row.name, row.value)), row.fields) << shown(row.value);
}

TEST(ContentFields, readsNoParametersFromMoreThanItsLimit) {
  std::string value = "text/plain; name=a; x=";
  value.resize(qv::kMaxContentFieldValue, 'x');
  EXPECT_EQ(dump(read("Content-Type", value)), "contentType=text/plain name=a");
  value += 'x';
  EXPECT_EQ(dump(read("Content-Type", value)), "");
}

TEST(ContentFields, formatsContentType) {
  const struct {
    qv::ContentTypeParams params;
    std::string value;
  } rows[] = {
      {{.type = "text/plain"}, "text/plain; charset=\"us-ascii\""},
      {{.type = "Message/rfc822", .charset = "utf-8"}, "Message/rfc822; charset=\"utf-8\""},
      {{.type = "image/gif", .charset = "utf-8"}, "image/gif"},
      {{.type = "image/gif", .name = "a.gif"}, "image/gif;\r\n\tname=\"a.gif\""},
      {{.type = "multipart/related", .boundary = "B", .relatedType = "text/html"},
       "multipart/related; type=\"text/html\";\r\n\tboundary=\"B\""},
      {{.type = "text/x",
        .name = "n",
        .protocol = "p",
        .micalg = "m",
        .charset = "c",
        .boundary = "b",
        .smimeType = "s",
        .relatedType = "t"},
       "text/x; charset=\"c\"; "
       "type=\"t\";\r\n\tboundary=\"b\";\r\n\tname=\"n\";\r\n\tprotocol=\"p\";\r\n\tmicalg=m;"
       "\r\n\tsmime-type=\"s\""},
      {{.type = "a/b\r\n\r\nX: y\0"s,
        .name = "n\"; charset=\"x\r\nBcc: y\0"s,
        .micalg = "m; boundary=\"x\"\r\n"},
       "a/bX: y;\r\n\tname=\"n; charset=xBcc: y\";\r\n\tmicalg=mboundary=x"},
      {{.type = "text/a", .name = "\"", .charset = "\r\n"}, "text/a; charset=\"us-ascii\""},
      {{}, ""},
  };
  for (const auto& row : rows) EXPECT_EQ(shown(qv::formatContentType(row.params)), shown(row.value));
}

TEST(ContentFields, costsInProportionToTheValue) {
  for (const char* piece : {"; name=a", "\"", ";", "=", "\"a\";name=", " ", "<[["}) {
    const auto make = [&](std::size_t n) {
      qv::MimeHeader header;
      std::string value = "text/plain; a=b";
      for (std::size_t i = 0; i < n; ++i) value += piece;
      header.setHeaderField("Content-Type", value + "; charset=x");
      return header;
    };
    const auto work = [](const qv::MimeHeader& header) { return qv::readContentFields(header); };
    EXPECT_LT(qv_test::costOfTwice(100'000, make, work), 3) << piece;
  }
}

}  // namespace
