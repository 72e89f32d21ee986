// The fixed words of the filter language, and how its tokens are shown.
#pragma once

#include <string>
#include <string_view>

#include "mailman/expression.h"

namespace qv {

struct ExpressionWord {
  std::string_view spelling;
  TokenType type;
};

/// In the order in which they are tried: the first one that the text begins with, in any case, is taken,
/// whatever follows it. The first spelling of a type is the one that is shown.
inline constexpr ExpressionWord kExpressionWords[] = {
    {"(", TokenType::lparen},      {")", TokenType::rparen},
    {"like", TokenType::like},     {"contains", TokenType::contains},
    {"not", TokenType::negate},    {"or", TokenType::logicalOr},
    {"||", TokenType::logicalOr},  {"and", TokenType::logicalAnd},
    {"&&", TokenType::logicalAnd}, {"<=", TokenType::lte},
    {">=", TokenType::gte},        {"!=", TokenType::ne},
    {"!", TokenType::negate},      {"<>", TokenType::ne},
    {"=", TokenType::equals},      {">", TokenType::gt},
    {"<", TokenType::lt},
};

/// In double quotes as a literal is written, without control characters; a long text is cut short.
std::string visibleQuoted(std::string_view text);

}  // namespace qv
