#include "mailman/expression.h"

#include <algorithm>
#include <cstddef>
#include <initializer_list>

#include "core/text.h"
#include "mailman/expression_words.h"

namespace qv {

namespace {

/// The text with as many parentheses as it takes to have one ")" for each "(". All of them count, those
/// inside quotes too.
std::string balanced(std::string_view text) {
  const auto opened = static_cast<std::size_t>(std::count(text.begin(), text.end(), '('));
  const auto closed = static_cast<std::size_t>(std::count(text.begin(), text.end(), ')'));
  std::string result(closed > opened ? closed - opened : 0, '(');
  result += text;
  result.append(opened > closed ? opened - closed : 0, ')');
  return result;
}

class Tokenizer {
 public:
  explicit Tokenizer(std::string_view text) : rest_(text) {}

  /// False at the end of the text.
  bool next(ExpressionToken& token) {
    while (!rest_.empty() && isWhite(rest_.front())) rest_.remove_prefix(1);
    if (rest_.empty()) return false;
    for (const ExpressionWord& word : kExpressionWords) {
      if (!startsWithNoCase(rest_, word.spelling)) continue;
      rest_.remove_prefix(word.spelling.size());
      token.type = word.type;
      return true;
    }
    token.type = rest_.front() == '"' ? TokenType::literal : TokenType::term;
    token.text.set(token.type == TokenType::literal ? literal() : term());
    return true;
  }

 private:
  std::string literal() {
    std::string text;
    rest_.remove_prefix(1);
    while (!rest_.empty() && rest_.front() != '"') text += character();
    if (!rest_.empty()) rest_.remove_prefix(1);
    return text;
  }
  std::string term() {
    std::string name;
    do {
      name += character();
    } while (!rest_.empty() && !isWhite(rest_.front()) && rest_.front() != '(' && rest_.front() != ')');
    return name;
  }
  /// One character, taken as it stands after a backslash. A backslash that ends the text stands for itself.
  char character() {
    if (rest_.front() == '\\' && rest_.size() > 1) rest_.remove_prefix(1);
    const char c = rest_.front();
    rest_.remove_prefix(1);
    return c;
  }

  std::string_view rest_;
};

bool isValue(TokenType type) {
  return type == TokenType::literal || type == TokenType::term;
}
bool isBoolean(TokenType type) {
  return type == TokenType::isFalse || type == TokenType::isTrue;
}
bool isValueOrBoolean(TokenType type) {
  return isValue(type) || isBoolean(type);
}
bool isLogical(TokenType type) {
  return type == TokenType::logicalAnd || type == TokenType::logicalOr;
}
bool isBinary(TokenType type) {
  switch (type) {
    case TokenType::like:
    case TokenType::equals:
    case TokenType::gt:
    case TokenType::lt:
    case TokenType::gte:
    case TokenType::lte:
    case TokenType::ne:
    case TokenType::contains:
      return true;
    default:
      return false;
  }
}

/// Of two texts in lower case.
bool compare(std::string_view left, const ExpressionToken& op, std::string_view right, bool rightIsLiteral) {
  switch (op.type) {
    case TokenType::equals:
      return left == right;
    case TokenType::ne:
      return left != right;
    case TokenType::gt:
      return left > right;
    case TokenType::lt:
      return left < right;
    case TokenType::gte:
      return left >= right;
    case TokenType::lte:
      return left <= right;
    case TokenType::contains:
      return !left.empty() && !right.empty() && findText(left, right) != std::string_view::npos;
    default:  // like; a pattern without "*" matches what it equals
      return rightIsLiteral ? wildcardMatch(left, right, true) : left == right;
  }
}

/// Reduces the tokens that are shifted onto its stack. Nothing is copied: the stack points to the
/// expression's own tokens and to the two results.
class Reducer {
 public:
  using Explain = Expression::Explain;
  using Stack = std::vector<const ExpressionToken*>;

  Reducer(const ExpressionTermSource& source, const Explain* explain) : source_(source), explain_(explain) {}

  void shift(const ExpressionToken& token) {
    stack_.push_back(&token);
    tell([&] { return "shift " + token.visible(); });
    while (reduce()) {
    }
  }

  /// Whatever did not reduce, the first token decides.
  bool value() const { return !stack_.empty() && stack_.front()->truthValue(source_); }

 private:
  /// Carries out the first rule that applies to the top of the stack; false when none does or no further one
  /// is to be tried.
  bool reduce() {
    return parenthesised() || logicalOperation() || comparison() || negation() || emptyParentheses();
  }

  bool parenthesised() {
    if (stack_.size() < 3 || top(2).type != TokenType::lparen || !isValueOrBoolean(top(1).type) ||
        top(0).type != TokenType::rparen) {
      return false;
    }
    const ExpressionToken& inner = top(1);
    replace(3, inner);
    tell([&] { return "parentheses around " + inner.visible(); });
    return true;
  }

  bool logicalOperation() {
    if (stack_.size() < 3 || !isBoolean(top(2).type) || !isLogical(top(1).type) || !isBoolean(top(0).type)) {
      return false;
    }
    const ExpressionToken &left = top(2), &op = top(1), &right = top(0);
    const bool a = left.type == TokenType::isTrue;
    const bool b = right.type == TokenType::isTrue;
    const bool result = op.type == TokenType::logicalAnd ? a && b : a || b;
    replace(3, resultToken(result));
    tell([&] { return joined({left.visible(), op.visible(), right.visible()}) + gives(result); });
    return true;
  }

  bool comparison() {
    if (stack_.size() < 3 || !isValue(top(2).type) || !isBinary(top(1).type) || !isValue(top(0).type)) {
      return false;
    }
    const ExpressionToken &left = top(2), &op = top(1), &right = top(0);
    std::string step;
    if (explain_ != nullptr) step = joined({withValue(left), op.visible(), withValue(right)});
    fetchLower(left, left_);
    fetchLower(right, right_);
    const bool result = compare(left_, op, right_, right.type == TokenType::literal);
    replace(3, resultToken(result));
    tell([&] { return step + gives(result); });
    return true;
  }

  bool negation() {
    if (stack_.size() < 2 || top(1).type != TokenType::negate || !isValueOrBoolean(top(0).type)) return false;
    const ExpressionToken& operand = top(0);
    const bool result = !operand.truthValue(source_);
    replace(2, resultToken(result));
    tell([&] { return "not " + withValue(operand) + gives(result); });
    return true;
  }

  /// Ends the repetition for this shift: what now lies on top is looked at again with the next token.
  bool emptyParentheses() {
    if (stack_.size() < 2 || top(1).type != TokenType::lparen || top(0).type != TokenType::rparen)
      return false;
    stack_.resize(stack_.size() - 2);
    tell([] { return std::string("empty parentheses are left out"); });
    return false;
  }

  const ExpressionToken& top(std::size_t below) const { return *stack_[stack_.size() - 1 - below]; }
  void replace(std::size_t count, const ExpressionToken& token) {
    stack_.resize(stack_.size() - count);
    stack_.push_back(&token);
  }
  static const ExpressionToken& resultToken(bool result) {
    static const ExpressionToken kFalse{.type = TokenType::isFalse}, kTrue{.type = TokenType::isTrue};
    return result ? kTrue : kFalse;
  }
  /// All comparisons are of ASCII letters in lower case.
  void fetchLower(const ExpressionToken& token, StringBuffer& out) const {
    out.clear();
    token.valueText(source_, out);
    out.toLower();
  }

  template <typename Step>
  void tell(Step step) const {
    if (explain_ != nullptr) (*explain_)(step(), stack_);
  }
  static std::string joined(std::initializer_list<std::string> words) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
    return text;
  }
  static std::string gives(bool result) { return result ? " -> true" : " -> false"; }
  std::string withValue(const ExpressionToken& token) const {
    if (token.type != TokenType::term) return token.visible();
    StringBuffer value;
    token.valueText(source_, value);
    return token.visible() + " (" + visibleQuoted(value) + ")";
  }

  const ExpressionTermSource& source_;
  const Explain* explain_;
  Stack stack_;
  StringBuffer left_, right_;  // one of each for all comparisons
};

bool evaluateWith(const std::vector<ExpressionToken>& tokens, const ExpressionTermSource& source,
                  const Expression::Explain* explain) {
  Reducer reducer(source, explain);
  for (const ExpressionToken& token : tokens) reducer.shift(token);
  return reducer.value();
}

/// The parts between two "*" are each taken at their first place: a later one would leave less for those
/// behind.
bool matches(std::string_view text, std::string_view pattern) {
  const std::size_t first = pattern.find('*');
  if (first == std::string_view::npos) return text == pattern;
  if (!text.starts_with(pattern.substr(0, first))) return false;
  text.remove_prefix(first);
  pattern.remove_prefix(first + 1);
  for (;;) {
    const std::size_t end = pattern.find('*');
    if (end == std::string_view::npos) return text.ends_with(pattern);
    const std::size_t at = findText(text, pattern.substr(0, end));
    if (at == std::string_view::npos) return false;
    text.remove_prefix(at + end);
    pattern.remove_prefix(end + 1);
  }
}

}  // namespace

void ExpressionToken::valueText(const ExpressionTermSource& source, StringBuffer& out) const {
  switch (type) {
    case TokenType::literal:
      out.append(text);
      break;
    case TokenType::term:
      source.getTermValue(text, out);
      break;
    default:
      out.append(type == TokenType::isTrue ? '1' : '0');
  }
}

bool ExpressionToken::truthValue(const ExpressionTermSource& source) const {
  if (type != TokenType::term) return type == TokenType::isTrue;
  StringBuffer value;
  source.getTermValue(text, value);
  std::string_view number = value;
  while (!number.empty() && isWhite(number.front())) number.remove_prefix(1);
  if (!number.empty() && (number.front() == '+' || number.front() == '-')) number.remove_prefix(1);
  const std::size_t digits = std::min(number.find_first_not_of("0123456789"), number.size());
  if (digits == 0) return !value.empty();
  return number.find_first_not_of('0') < digits;
}

Expression::Expression(std::string_view text) {
  const std::string whole = balanced(text);
  Tokenizer tokenizer(whole);
  for (ExpressionToken token; tokenizer.next(token); token = {}) tokens_.push_back(std::move(token));
}

bool Expression::evaluate(const ExpressionTermSource& source) const {
  return evaluateWith(tokens_, source, nullptr);
}

bool Expression::evaluate(const ExpressionTermSource& source, const Explain& explain) const {
  return evaluateWith(tokens_, source, explain ? &explain : nullptr);
}

bool wildcardMatch(std::string_view text, std::string_view pattern, bool caseSensitive) {
  return caseSensitive ? matches(text, pattern) : matches(toLower(text), toLower(pattern));
}

}  // namespace qv
