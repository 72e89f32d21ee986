// The filter language: which e-mails a receiving operation keeps.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/string_buffer.h"
#include "core/term_source.h"

namespace qv {

/// What stands in an expression. The numbers are those of the language's description and never change.
enum class TokenType : std::int32_t {
  isFalse = 0,
  isTrue = 1,
  nothing = 2,
  negate = 3,
  logicalAnd = 4,
  logicalOr = 5,
  like = 6,
  equals = 7,
  gt = 8,
  lt = 9,
  lte = 10,
  gte = 11,
  ne = 12,
  literal = 13,
  term = 14,
  lparen = 15,
  rparen = 16,
  contains = 17,
};

struct ExpressionToken {
  TokenType type = TokenType::nothing;
  StringBuffer text;  ///< of a literal or the name of a term; otherwise empty

  /// What it is worth in a comparison.
  void valueText(const ExpressionTermSource& source, StringBuffer& out) const;
  bool truthValue(const ExpressionTermSource& source) const;
};

/// A filter expression. Made once from its text, evaluated against any number of e-mails; evaluating changes
/// nothing and takes time in proportion to the expression and the values that it compares.
class Expression {
 public:
  explicit Expression(std::string_view text);

  bool evaluate(const ExpressionTermSource& source) const;

  /// Tells a person how the value comes about: called after each token that is shifted and after each
  /// reduction, with what happened and the stack as it then is, bottom first.
  using Explain = std::function<void(std::string_view step, const std::vector<ExpressionToken>& stack)>;
  bool evaluate(const ExpressionTermSource& source, const Explain& explain) const;

 private:
  std::vector<ExpressionToken> tokens_;
};

/// Whether `text` is matched by `pattern`, in which "*" stands for any bytes. Linear in the text for each part
/// of the pattern between two "*".
bool wildcardMatch(std::string_view text, std::string_view pattern, bool caseSensitive);

}  // namespace qv
