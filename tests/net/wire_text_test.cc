#include "net/wire_text.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "support/linear_cost.h"

namespace qv {
namespace {

using namespace std::string_view_literals;

// Without a dot that begins a line, with one for each that does.
std::string stuffed(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '.' && (i == 0 || text[i - 1] == '\n')) out += '.';
    out += text[i];
  }
  return out;
}

std::string read(const WireText& text, std::mt19937& random) {
  WireText::Reader reader(text);
  std::string out;
  for (std::string_view piece; !(piece = reader.next(1 + random() % 100'000)).empty();) out += piece;
  return out;
}

/// Bytes that are worth a look, `size` of them; most are long lines where `calm` is high.
std::string nastyText(std::size_t size, std::size_t calm, std::mt19937& random) {
  std::string text;
  while (text.size() < size) {
    text.append(random() % calm, 'x');
    text += "..\n\n\r\0-"sv[random() % 7];
  }
  text.resize(size);
  return text;
}

void expectSameAsInOnePiece(const Email& email, std::mt19937& random) {
  StringBuffer written;
  email.writeMime(written, "QVX-");
  const std::string expected = stuffed(written);
  for (const bool mayReadBodies : {true, false}) {
    const WireText text(email, mayReadBodies);
    EXPECT_EQ(text.size(), expected.size());
    EXPECT_TRUE(read(text, random) == expected) << mayReadBodies;
    EXPECT_TRUE(text.whole().view() == expected);
  }
}

TEST(WireText, IsTheMessageWithItsDotsDoubledWhateverIsReadAtATime) {
  std::mt19937 random(7);
  const std::size_t sizes[] = {0, 1, 60, 65'535, 65'536, 2 * 64'800, 2 * 64'800 + 1, 200'000, 54 * 2000 + 53};
  for (const std::size_t size : sizes) {
    for (const std::size_t calm : {1U, 5U, 200U, 100'000U}) {
      for (const auto coding :
           {MimeBody::Coding::raw, MimeBody::Coding::base64, MimeBody::Coding::quotedPrintable}) {
        Email email(nullptr);
        email.setHeaderField("QVX-Own", "secret");
        email.body().setComposed(nastyText(size, calm, random));
        email.body().setCoding(coding);
        expectSameAsInOnePiece(email, random);
      }
    }
  }
}

TEST(WireText, HoldsEveryPartInItsPlace) {
  std::mt19937 random(8);
  Email email(nullptr);
  email.setContentType({.type = "multipart/mixed", .boundary = "B"});
  for (const std::size_t size : {100'000U, 10U, 70'000U, 0U, 90'000U}) {
    for (const auto coding : {MimeBody::Coding::raw, MimeBody::Coding::base64}) {
      auto part = Email::withoutFields(nullptr);
      part->body().setRaw(nastyText(size, 9, random));
      part->body().setCoding(coding);
      email.addPart(std::move(part));
    }
  }
  expectSameAsInOnePiece(email, random);

  // A boundary inside a body that is not copied is seen as well.
  email.setContentType({.type = "multipart/mixed", .boundary = "xxxx"});
  email.parts().at(0)->body().setRaw(std::string(100'000, 'x'));
  const StringBuffer text = WireText(email, true).whole();
  EXPECT_FALSE(text.contains("boundary=\"xxxx\""));
}

TEST(WireText, ADotOnEveryLineCostsInProportion) {
  const auto make = [](std::size_t n) {
    auto email = std::make_unique<Email>(nullptr);
    std::string text;
    for (std::size_t i = 0; i < n; ++i) text += "\n.";
    email->setBody(text, false);
    return email;
  };
  const auto work = [](const std::unique_ptr<Email>& email) { WireText(*email, true).whole(); };
  EXPECT_LT(qv_test::costOfTwice(300'000, make, work), 3);
}

}  // namespace
}  // namespace qv
