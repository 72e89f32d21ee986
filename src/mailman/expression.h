// The filter language: which e-mails a receiving operation keeps. docs/filters.md tells it to a person.
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
  StringBuffer text{};  ///< of a literal or the name of a term; otherwise empty

  /// Appends what it is worth in a comparison: a literal its text, a term the field's value, true "1",
  /// everything else "0".
  void valueText(const ExpressionTermSource& source, StringBuffer& out) const;
  /// What it is worth as a result. A term: whether its value, when that begins with a decimal integer of any
  /// length (white space and a sign may stand before it), is not 0; otherwise whether it is not empty. A
  /// literal is false, as an operator is.
  bool truthValue(const ExpressionTermSource& source) const;
  /// As one would write it, without control characters; a long text is cut short. "[true]" and "[false]" are
  /// results.
  std::string visible() const;
};

/// A filter expression. Made once from its text, evaluated against any number of e-mails; evaluating changes
/// nothing, never fails, and takes time in proportion to the expression and the values that it compares.
class Expression {
 public:
  explicit Expression(std::string_view text);

  bool evaluate(const ExpressionTermSource& source) const;

  /// Tells a person how the value comes about: called after each token that is shifted and after each
  /// reduction, with what happened, fit for a terminal, and the stack as it then is, bottom first.
  using Explain =
      std::function<void(std::string_view step, const std::vector<const ExpressionToken*>& stack)>;
  bool evaluate(const ExpressionTermSource& source, const Explain& explain) const;

  const std::vector<ExpressionToken>& tokens() const noexcept { return tokens_; }

 private:
  std::vector<ExpressionToken> tokens_;
};

/// The tokens, each step with the stack after it, and the value with what it rests on: lines for a person, of
/// printable text whatever the e-mail holds. Grows with the number of tokens; long texts and stacks are cut
/// short.
std::string explainExpression(const Expression& expression, const ExpressionTermSource& source);

/// Whether `text` is matched by `pattern`, in which "*" stands for any bytes. Linear in both. An empty
/// pattern matches the empty text only.
bool wildcardMatch(std::string_view text, std::string_view pattern, bool caseSensitive);

}  // namespace qv
