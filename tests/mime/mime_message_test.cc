#include "mime/mime_message.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "../../fuzz/laws.h"
#include "mime/limits.h"
#include "platform/temporary_folder.h"
#include "support/linear_cost.h"
#include "support/short_texts.h"
#include "support/small_stack.h"
#include "support/tree_dump.h"

namespace {

using qv::MimeMessage2;
using qv_test::dumpTree;
using qv_test::shown;
using std::string_literals::operator""s;

constexpr const char* kOnlyHeader = "\"(multipart MIME message)\"";

std::string treeOf(std::string_view text) {
  MimeMessage2 message(nullptr);
  message.parseMime(text);
  return dumpTree(message);
}

std::string multipart(std::string_view boundary, std::string_view body, std::string_view subtype = "mixed") {
  return "Content-Type: multipart/" + std::string(subtype) + "; boundary=\"" + std::string(boundary) +
         "\"\r\n\r\n" + std::string(body);
}

TEST(MimeMessage2, readsLeaves) {
  const struct {
    std::string text;
    std::string tree;
  } rows[] = {
      {"", "-[0]"},
      {"A: b", "-[1]"},
      {"A: b\r\n\r\n", "-[1]"},
      {"A: b\n\nbody", "-[1]"},  // no CR LF CR LF: all header, up to its empty line
      {"A: b\n\nC: d\r\n\r\nbody", "-[1]\"body\""},
      {"\r\n\r\nA: b\r\n\r\nc", "-[0]\"A: b\\r\\n\\r\\nc\""},
      {"\r\nA: b\r\n\r\nc", "-[1]\"c\""},
      {"A: b\r\n\r\na\0\xFF"s, "-[1]\"a\\x00\\xFF\""},
      {"Content-Transfer-Encoding: BASE64\r\n\r\nYWI=", "-[1]\"ab\"b"},
      {"Content-Transfer-Encoding: quoted-printable ; x\r\n\r\na=3D=\r\nb", "-[1]\"a=b\"q"},
      {"Content-Transfer-Encoding: x-own\r\n\r\na=3D", "-[1]\"a=3D\""},
      {"Content-Type: message/rfc822\r\n\r\nA: b\r\n\r\nc", "message/rfc822[1]\"A: b\\r\\n\\r\\nc\""},
      {"Content-Type: multipart/mixed\r\n\r\n--x\r\n\r\na", "multipart/mixed[1]\"--x\\r\\n\\r\\na\""},
      {"Content-Type: multipart/mixed; boundary=\"\"\r\n\r\na", "multipart/mixed[1]\"a\""},
  };
  for (const auto& row : rows) EXPECT_EQ(treeOf(row.text), row.tree) << shown(row.text);
}

TEST(MimeMessage2, dividesMultiparts) {
  const std::string a = "\r\nContent-Type: text/plain\r\n\r\nA\r\n";
  const std::string b = "\r\nContent-Type: text/html\r\n\r\nB\r\n";
  const std::string partA = "text/plain[1]\"A\"", partB = "text/html[1]\"B\"";
  const struct {
    const char* boundary;
    std::string body;
    std::string parts;
  } rows[] = {
      {"XYZ", "pre\r\n--XYZ" + a + "--XYZ" + b + "--XYZ--\r\nepi", '(' + partA + ' ' + partB + ')'},
      {"XYZ", "--XYZ" + a + "--XYZ\r\nContent-Type: text/plain\r\n\r\nB\r\n",
       '(' + partA + " text/plain[1]" + kOnlyHeader + ')'},
      {"XYZ", "--XYZ\r\n\r\nB\r\n--XYZ" + a + "--XYZ--", "(-[1] " + partA + ')'},
      {"XYZ", "A: b\r\n\r\nnever", "(-[1]"s + kOnlyHeader + ')'},
      {"XYZ", "never", "(-[1])"},
      {"XYZ", "\r\n\r\nnever", "(-[0]"s + kOnlyHeader + ')'},
      {"XYZ", "--XYZ", "(-[0])"},
      {"XYZ", "--XYZ--\r\n--XYZ" + a + "--XYZ--", "(" + partA + ")"},  // the first is never the last
      {"XYZ", "XYZ\r\nA\r\n--XYZ--", "(-[1])"},
      {"XYZ", "XYZ\r\n\r\n--XYZ--", ""},  // too short for a part
      {"XYZ", "XYZ123456XYZ--", ""},
      {"XYZ", "XYZ1234567XYZ--", "(-[1])"},  // the boundary counts anywhere
      {"XYZ", "--xyz" + a + "--xyz--", "(text/plain[2]"s + kOnlyHeader + ')'},
      {"X", "--XY" + a + "--XY--", "(" + partA + ' ' + "-[1])"},
      {"X--", "--X--" + a + "--X----", "(" + partA + ')'},
      {"a", "aaaaaaaaaa", "(-[0])"},
      {"=?x?q?b?=", "--b" + a + "--b--", "(" + partA + ')'},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(treeOf(multipart(row.boundary, row.body)), "multipart/mixed[1]" + row.parts) << shown(row.body);
  }
  const std::string inner = multipart("inner", "--inner" + a + "--inner--");
  EXPECT_EQ(treeOf(multipart("out", "--out\r\n" + inner + "\r\n--out" + b + "--out--")),
            "multipart/mixed[1](multipart/mixed[1](" + partA + ") " + partB + ')');
}

TEST(MimeMessage2, keepsSignedTextsOnce) {
  const std::string leaf = "A: b\r\n\r\n c \r\n";
  const std::string signature = "\r\n--2\r\nB: c\r\n\r\ns\r\n--2--";
  const std::string inner = multipart("2", "--2\r\n" + leaf + signature, "signed");
  MimeMessage2 message(nullptr);
  message.parseMime(multipart("1", "pre\r\n--1\r\n" + inner + "\r\n--1\r\nB: c\r\n\r\ns\r\n--1--", "Signed"));
  ASSERT_EQ(message.getNumParts(), 2U);
  EXPECT_EQ(message.signedText(), "");
  EXPECT_EQ(message.getPart(0)->signedText(), inner);
  EXPECT_EQ(message.getPart(1)->signedText(), "");
  const std::string_view deeper = message.getPart(0)->getPart(0)->signedText();
  EXPECT_EQ(deeper, leaf);
  EXPECT_EQ(deeper.data(), message.getPart(0)->signedText().data() + inner.find(leaf)) << "copied again";
}

TEST(MimeMessage2, readsHeaderOnly) {
  const struct {
    const char* text;
    std::string tree;
  } rows[] = {
      {"A: b", "-[1]"},
      {"A: b\r\n\r\n", "-[1]"s + kOnlyHeader},
      {"Content-Type: multipart/x; boundary=y\r\n\r\n--y\r\nabcdefgh--y", "multipart/x[1]"s + kOnlyHeader},
      {"\r\n\r\nA: b", "-[0]"s + kOnlyHeader},
  };
  for (const auto& row : rows) {
    MimeMessage2 message(nullptr);
    message.parseHeaderOnly(row.text);
    EXPECT_EQ(dumpTree(message), row.tree) << row.text;
  }
}

TEST(MimeMessage2, readsMarkedHtml) {
  const struct {
    const char* head;
    const char* body;
    const char* field;
  } rows[] = {
      {"Content-Type: text/plain", "  <X-HTML><b>x</b>", "text/html; charset=\"us-ascii\""},
      {"Content-Type: multipart/x", "\r\n\t<x-html>", "text/html; charset=\"us-ascii\""},
      {"Content-Type: TEXT/html", "<x-html>", "TEXT/html"},
      {"Content-Type: text/plain", "<x-htm>", "text/plain"},
      {"Content-Type: text/plain", ".<x-html>", "text/plain"},
  };
  for (const auto& row : rows) {
    MimeMessage2 message(nullptr);
    message.parseMime(row.head + "\r\n\r\n"s + row.body);
    EXPECT_EQ(message.header().getHeaderField("Content-Type"), row.field) << row.body;
    EXPECT_EQ(message.modified(), message.getCharset() == "us-ascii") << row.body;
    EXPECT_EQ(message.body().data().view(), row.body);
  }
}

TEST(MimeMessage2, tellsItsKind) {
  const struct {
    const char* type;
    const char* kinds;  // multipart, signed, enveloped, opaque signed, has a charset
  } rows[] = {
      {"text/plain; charset=x", "----c"},
      {"message/rfc822; charset=x", "----c"},
      {"image/png; charset=x", "-----"},
      {"MULTIPART/mixed", "m----"},
      {"multipart/SIGNED", "ms---"},
      {"application/pkcs7-mime", "--e--"},
      {"application/X-pkcs7-mime; smime-type=enveloped-data", "--e--"},
      {"application/pkcs7-mime; smime-type=Signed-Data", "---o-"},
      {"application/pkcs7-signature; smime-type=signed-data", "-----"},
  };
  for (const auto& row : rows) {
    MimeMessage2 entity(nullptr);
    entity.parseMime("Content-Type: "s + row.type);
    std::string kinds = "-----";
    if (entity.isMultipart()) kinds[0] = 'm';
    if (entity.isMultipartSigned()) kinds[1] = 's';
    if (entity.isPkcs7Enveloped()) kinds[2] = 'e';
    if (entity.isPkcs7SignedData()) kinds[3] = 'o';
    if (!entity.getCharset().empty()) kinds[4] = 'c';
    EXPECT_EQ(kinds, row.kinds) << row.type;
  }
}

TEST(MimeMessage2, readsFieldsAndStartsAnew) {
  MimeMessage2 message(nullptr);
  message.parseMime(
      "To: =?utf-8?Q?J=C3=B6rg?= <j@h>, J@H\r\nCc: k@h, l@h\r\nX: =?x?q?=3D=3Fx=3Fq=3Fa=3F=3D?=\r\n"
      "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\n--b--\r\nA: b\r\n\r\nc");
  qv::ExtPtrArray<qv::Rfc822Address> to, cc;
  message.getToAddresses(to);
  message.getCcAddresses(cc);
  ASSERT_EQ(to.size(), 1U);
  EXPECT_EQ(to.at(0)->getDisplayName(), "J\xC3\xB6rg");
  EXPECT_EQ(cc.size(), 2U);
  EXPECT_EQ(message.header().getHeaderField("X"), "=?x?q?a?=");
  EXPECT_EQ(message.getDecodedField("X").view(), "a");
  EXPECT_TRUE(message.utf8Header());
  EXPECT_FALSE(message.modified());

  message.addPart(std::make_unique<MimeMessage2>(nullptr));
  message.setContentType({.type = "a/b", .boundary = "q\"uote"});
  EXPECT_TRUE(message.modified());
  EXPECT_EQ(message.getBoundary(), "quote") << "must be what the field says";
  EXPECT_EQ(message.header().getFieldName(3), "content-type");
  message.parseMime("A: b\r\n\r\nc");
  EXPECT_EQ(dumpTree(message), "-[1]\"c\"");
  EXPECT_FALSE(message.modified() || message.utf8Header());
  EXPECT_EQ(message.getBoundary(), "");
}

TEST(MimeBody, knowsItsCodingAndSize) {
  const std::string bytes(54, '\xFF');
  qv::MimeBody body, other;
  EXPECT_EQ(body.getEstimatedEncodedSize(), 100U);
  body.setForQuotedPrintable(qv::BinaryData("a=b"));
  other.copyFrom(body);
  qv::StringBuffer out;
  other.getEncodedBody(out);
  other.getRawBody(out);
  EXPECT_EQ(out.view(), "a=3Dba=b");
  EXPECT_EQ(other.getEstimatedEncodedSize(), 3U);
  body.setForBase64(qv::BinaryData(bytes));
  out.clear();
  body.getEncodedBody(out);
  EXPECT_EQ(out.view(), std::string(72, '/') + "\r\n\r\n");
  EXPECT_EQ(body.getEstimatedEncodedSize(), 79U);
  other.takeData(body);
  EXPECT_EQ(other.data().view(), bytes);
  EXPECT_TRUE(other.coding() == qv::MimeBody::Coding::raw && body.data().empty());
  body.setForBase64({});
  EXPECT_EQ(body.getEstimatedEncodedSize(), 142U);
}

// Multiparts inside each other, `depth` of them, around a leaf.
std::string nest(std::size_t depth) {
  std::string text, end;
  for (std::size_t i = 0; i < depth; ++i) {
    const std::string boundary = '<' + std::to_string(i) + '>';
    text += multipart(boundary, "--" + boundary + "\r\n", i % 2 == 0 ? "signed" : "mixed");
  }
  text += "A: b\r\n\r\nleaf";
  for (std::size_t i = depth; i-- > 0;) end += "\r\n--<" + std::to_string(i) + ">--";
  return text + end;
}

TEST(MimeMessage2, leavesWhatLiesTooDeepUndivided) {
  for (const std::size_t depth : {qv::kMaxNesting - 1, qv::kMaxNesting, qv::kMaxNesting + 1}) {
    MimeMessage2 message(nullptr);
    message.parseMime(nest(depth));
    const MimeMessage2* deepest = &message;
    std::size_t levels = 0;
    for (; deepest->getNumParts() == 1; ++levels) deepest = deepest->getPart(0);
    EXPECT_EQ(levels, std::min(depth, qv::kMaxNesting));
    const std::string boundary = "<" + std::to_string(qv::kMaxNesting) + ">";
    EXPECT_EQ(
        deepest->body().data().view(),
        depth <= qv::kMaxNesting ? "leaf" : "--" + boundary + "\r\nA: b\r\n\r\nleaf\r\n--" + boundary + "--");
  }
  MimeMessage2 layer(nullptr);
  layer.parseMime(nest(1), qv::kMaxNesting - 1);
  EXPECT_EQ(layer.getNumParts(), 1U);
  layer.parseMime(nest(1), qv::kMaxNesting);
  EXPECT_EQ(layer.getNumParts(), 0U);
}

TEST(MimeMessage2, needsLittleStackAtAnyDepth) {
  for (const std::size_t depth : {10U, 1'000U, 100'000U}) {
    const std::string text = nest(depth);
    qv_test::runOnSmallStack([&] {
      MimeMessage2 message(nullptr);
      message.parseMime(text);
      EXPECT_EQ(message.getNumParts(), 1U);
      // A tree that is made by hand may be deeper than any that is read.
      auto tree = std::make_unique<MimeMessage2>(nullptr);
      for (std::size_t i = 0; i < depth; ++i) {
        auto parent = std::make_unique<MimeMessage2>(nullptr);
        parent->addPart(std::move(tree));
        tree = std::move(parent);
      }
    });
  }
}

TEST(MimeMessage2, costsInProportionToItsText) {
  const auto repeated = [](const std::string& boundary, const std::string& piece) {
    return [=](std::size_t n) {
      std::string body;
      for (std::size_t i = 0; i < n; ++i) body += piece;
      return multipart(boundary, body);
    };
  };
  const struct {
    const char* what;
    std::size_t n;
    std::function<std::string(std::size_t)> make;
  } rows[] = {
      {"deep nesting", 1'000, nest},
      {"tiny parts", 10'000, repeated("b", "b\r\n12345\r\n--")},
      {"tiny multiparts", 2'000, repeated("b", "b\r\n" + multipart("c", "c\r\nX: y\r\n--c--") + "\r\n--")},
      {"nothing but boundaries", 100'000, repeated("a", "aaaaaaaaaa")},
      {"nearly boundaries", 100'000, repeated(std::string(1'000, 'a') + 'b', "aaaaaaaaaa")},
      {"never a boundary", 200'000, repeated("bbbbbbbb", "bbbbbbb\r\n--")},
      {"line breaks", 200'000, repeated("b", "\r\n\r\r\n")},
  };
  for (const auto& row : rows) {
    const auto work = [](const std::string& text) {
      MimeMessage2 message(nullptr);
      message.parseMime(text);
    };
    EXPECT_LT(qv_test::costOfTwice(row.n, row.make, work), 3) << row.what;
  }
}

// Each tests/data/<name>.eml (its lines end in LF, read as CR LF) gives the tree in <name>.tree beside it.
TEST(MimeMessage2, readsTheFilesAsTheirTreesSay) {
  std::size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(QUORVEL_TEST_DATA)) {
    if (entry.path().extension() != ".tree") continue;
    ++count;
    qv::StringBuffer text(qv::contentsOf(std::filesystem::path(entry.path()).replace_extension(".eml")));
    text.replaceAll("\n", "\r\n");
    EXPECT_EQ(treeOf(text) + '\n', qv::contentsOf(entry.path())) << entry.path();
  }
  EXPECT_GT(count, 0U);
}

// Every short body over the bytes that boundaries are made of.
TEST(MimeMessage2, lawsHoldForAllShortBodies) {
  qv_test::forEachShortText("b-\nX:1", 6, [](const std::string& pieces) {
    qv::StringBuffer body(pieces);
    body.replaceAll("\n", "\r\n");
    laws::checkTree(multipart("b", "b" + body.str() + "b--"));
  });
}

}  // namespace
