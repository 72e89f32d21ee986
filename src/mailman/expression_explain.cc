// Showing an expression and its evaluation to a person.
#include <algorithm>
#include <cstddef>

#include "core/log_text.h"
#include "core/text.h"
#include "mailman/expression_words.h"

namespace qv {

namespace {

constexpr std::size_t kShownBytes = 80;   // of one text
constexpr std::size_t kShownTokens = 10;  // of a stack, from its top
constexpr std::size_t kStepWidth = 46;
constexpr std::string_view kCut = "...";

/// The beginning of a text; no UTF-8 sequence is cut through.
std::string_view beginning(std::string_view text) {
  std::size_t end = 0;
  while (end < text.size() && end < kShownBytes) {
    end += std::max<std::size_t>(utf8SequenceAt(text, end), 1);
  }
  return text.substr(0, end);
}

std::string withoutControls(std::string_view text) {
  std::string visible, result;
  appendVisible(text, {.lineBreak = "\\n"}, visible);
  for (const char c : visible) {
    if (c == '\t') {
      result += "\\t";
    } else {
      result += c;
    }
  }
  return result;
}

/// With backslashes where the name of a field would otherwise not be read as one.
std::string visibleTerm(std::string_view name) {
  const bool splits = name.starts_with('"') ||
                      std::any_of(std::begin(kExpressionWords), std::end(kExpressionWords),
                                  [&](const auto& word) { return startsWithNoCase(name, word.spelling); });
  const std::string_view shown = beginning(name);
  std::string text;
  for (const char c : shown) {
    const bool quoted = c == '\\' || c == '(' || c == ')' || isWhite(c) || (text.empty() && splits);
    if (quoted) text += '\\';
    text += c;
  }
  return withoutControls(text).append(shown.size() < name.size() ? kCut : "");
}

std::string_view spellingOf(TokenType type) {
  switch (type) {
    case TokenType::isFalse:
      return "[false]";
    case TokenType::isTrue:
      return "[true]";
    default: {
      const auto* const word = std::find_if(std::begin(kExpressionWords), std::end(kExpressionWords),
                                            [=](const auto& each) { return each.type == type; });
      return word == std::end(kExpressionWords) ? "[nothing]" : word->spelling;
    }
  }
}

using Stack = std::vector<const ExpressionToken*>;

std::string visibleStack(const Stack& stack) {
  const std::size_t hidden = stack.size() - std::min(stack.size(), kShownTokens);
  std::string text = hidden == 0 ? "" : " (" + std::to_string(hidden) + " more)";
  for (std::size_t i = hidden; i < stack.size(); ++i) text += " " + stack[i]->visible();
  return text;
}

std::string reasonFor(const ExpressionToken* first, const ExpressionTermSource& source) {
  if (first == nullptr) return "nothing is left to decide";
  switch (first->type) {
    case TokenType::isFalse:
    case TokenType::isTrue:
      return "the first result on the stack";
    case TokenType::term: {
      StringBuffer value;
      first->valueText(source, value);
      return first->visible() + " (" + visibleQuoted(value) + ") by itself; false when empty or the number 0";
    }
    case TokenType::literal:
      return first->visible() + " by itself; a text is never true";
    default:
      return first->visible() + " comes first and has nothing to work on";
  }
}

}  // namespace

std::string visibleQuoted(std::string_view text) {
  const std::string_view shown = beginning(text);
  std::string quoted;
  for (const char c : shown) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return "\"" + withoutControls(quoted) + "\"" + std::string(shown.size() < text.size() ? kCut : "");
}

std::string ExpressionToken::visible() const {
  if (type == TokenType::literal) return visibleQuoted(text);
  return type == TokenType::term ? visibleTerm(text) : std::string(spellingOf(type));
}

std::string explainExpression(const Expression& expression, const ExpressionTermSource& source) {
  std::string text = "Tokens\n";
  for (const ExpressionToken& token : expression.tokens()) {
    const bool isText = token.type == TokenType::literal, isTerm = token.type == TokenType::term;
    text += std::string(isText ? "  text   " : isTerm ? "  field  " : "         ") + token.visible() + "\n";
  }
  text += "Steps, and what stands on the stack after each\n";
  const ExpressionToken* first = nullptr;
  std::size_t left = 0;
  const bool value = expression.evaluate(source, [&](std::string_view step, const Stack& stack) {
    const std::size_t padding = kStepWidth - std::min(step.size(), kStepWidth);
    text.append("  ").append(step).append(padding, ' ').append(" |").append(visibleStack(stack)) += '\n';
    first = stack.empty() ? nullptr : stack.front();
    left = stack.size();
  });
  text += std::string("Value: ") + (value ? "true" : "false") + ", " + reasonFor(first, source) + "\n";
  if (left > 1)
    text += "The " + std::to_string(left - 1) + " after it did not fit together and count for nothing.\n";
  return text;
}

}  // namespace qv
