// What holds for every filter expression. The fuzzer tries to break these laws; the unit tests hold them
// against the seeds and many short expressions.
#pragma once

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <regex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/text.h"
#include "mailman/expression.h"

namespace laws {

struct FilteredMail final : qv::ExpressionTermSource {
  std::vector<std::pair<std::string, std::string>> fields;
  std::string value(std::string_view name) const {
    for (const auto& field : fields) {
      if (qv::equalsNoCase(field.first, name)) return field.second;
    }
    return {};
  }
  void getTermValue(std::string_view name, qv::StringBuffer& out) const override { out.append(value(name)); }
};

inline bool obviousWildcardMatch(std::string_view text, std::string_view pattern) {
  // reached[i]: the pattern so far matches the first i bytes.
  std::vector<bool> reached(text.size() + 1, false);
  reached[0] = true;
  for (const char c : pattern) {
    std::vector<bool> next(text.size() + 1, false);
    for (std::size_t i = 0; i <= text.size(); ++i) {
      next[i] = c == '*' ? reached[i] || (i > 0 && next[i - 1]) : i > 0 && reached[i - 1] && text[i - 1] == c;
    }
    reached = next;
  }
  return reached[text.size()];
}

/// Evaluates an expression the slow and obvious way: words by regular expressions, and the stack as a text
/// with a letter for each token, in which reductions replace what a regular expression finds at the end.
class ObviousFilter {
 public:
  ObviousFilter(std::string text, const FilteredMail& mail) : mail_(mail) {
    const auto opened = std::count(text.begin(), text.end(), '(');
    const auto closed = std::count(text.begin(), text.end(), ')');
    for (auto n = closed; n < opened; ++n) text += ')';
    for (auto n = opened; n < closed; ++n) text.insert(0, "(");
    while (!text.empty()) {
      for (const auto& [pattern, letter] : words()) {
        std::smatch found;
        if (!std::regex_search(text, found, pattern, std::regex_constants::match_continuous)) continue;
        static const std::regex escaped("\\\\([\\s\\S])");
        const std::string name = letter == 'L' ? found[1].str() : found[0].str();
        const auto length = static_cast<std::size_t>(found[0].length());
        if (letter != ' ') shift(letter, std::regex_replace(name, escaped, "$1"));
        text.erase(0, length);
        break;
      }
    }
  }
  bool value() const { return !letters_.empty() && truth(0); }

 private:
  static const std::vector<std::pair<std::regex, char>>& words() {
    static const std::vector<std::pair<std::regex, char>> all = [] {
      std::vector<std::pair<std::regex, char>> list;
      for (const auto& [pattern, letter] : std::initializer_list<std::pair<const char*, char>>{
               {"[ \t\r\n]+", ' '},
               {"[(]", '('},
               {"[)]", ')'},
               {"like", 'k'},
               {"contains", 'c'},
               {"not", '!'},
               {"or|[|][|]", '|'},
               {"and|&&", '&'},
               {"<=", 'l'},
               {">=", 'g'},
               {"!=", 'n'},
               {"!", '!'},
               {"<>", 'n'},
               {"=", 'e'},
               {">", '>'},
               {"<", '<'},
               {"\"((?:\\\\[\\s\\S]|[^\"\\\\])*\\\\?)(?:\"|$)", 'L'},
               {"(?:\\\\[\\s\\S]|[\\s\\S])(?:\\\\[\\s\\S]|[^ \t\r\n()\\\\]|\\\\$)*", 'T'}}) {
        list.emplace_back(std::regex(pattern, std::regex::icase), letter);
      }
      return list;
    }();
    return all;
  }
  void shift(char letter, const std::string& text) {
    static const std::regex parenthesised("[(][LT01][)]$"), logical("[01][&|][01]$"),
        comparison("[LT][kclgne<>][LT]$"), negation("![LT01]$"), empty("[(][)]$");
    push(letter, text);
    for (;;) {
      if (endsIn(parenthesised)) {
        const std::string inner = texts_[texts_.size() - 2];
        const char kind = letters_[letters_.size() - 2];
        pop(3), push(kind, inner);
      } else if (endsIn(logical)) {
        const std::string three = letters_.substr(letters_.size() - 3);
        const bool a = three[0] == '1', b = three[2] == '1';
        pop(3), push((three[1] == '&' ? a && b : a || b) ? '1' : '0', "");
      } else if (endsIn(comparison)) {
        const bool holds = compare(letters_.size() - 3);
        pop(3), push(holds ? '1' : '0', "");
      } else if (endsIn(negation)) {
        const bool holds = truth(letters_.size() - 1);
        pop(2), push(holds ? '0' : '1', "");
      } else {
        if (endsIn(empty)) pop(2);
        return;
      }
    }
  }
  bool endsIn(const std::regex& pattern) const {
    return std::regex_search(letters_.substr(letters_.size() - std::min<std::size_t>(letters_.size(), 3)),
                             pattern);
  }
  void push(char letter, const std::string& text) { letters_ += letter, texts_.push_back(text); }
  void pop(std::size_t count) {
    letters_.resize(letters_.size() - count);
    texts_.resize(texts_.size() - count);
  }
  bool truth(std::size_t at) const {
    if (letters_[at] != 'T') return letters_[at] == '1';
    const std::string value = mail_.value(texts_[at]);
    static const std::regex zero("[ \t\r\n]*[-+]?0+(?:[^0-9][\\s\\S]*)?");
    return !value.empty() && !std::regex_match(value, zero);
  }
  std::string lower(std::size_t at) const {
    return qv::toLower(letters_[at] == 'T' ? mail_.value(texts_[at]) : texts_[at]);
  }
  bool compare(std::size_t at) const {
    const std::string left = lower(at), right = lower(at + 2);
    switch (letters_[at + 1]) {
      case 'k':
        return letters_[at + 2] == 'L' ? obviousWildcardMatch(left, right) : left == right;
      case 'c':
        return !left.empty() && !right.empty() && left.find(right) != std::string::npos;
      case 'e':
        return left == right;
      case 'n':
        return left != right;
      case '>':
        return left > right;
      case '<':
        return left < right;
      case 'g':
        return left >= right;
      default:
        return left <= right;
    }
  }

  const FilteredMail& mail_;
  std::string letters_;
  std::vector<std::string> texts_;
};

inline void checkFilter(std::string_view text) {
  const auto require = [&](bool holds, const char* law) {
    if (holds) return;
    std::fprintf(stderr, "broken law: %s\nexpression: %.*s\n", law, static_cast<int>(text.size()),
                 text.data());
    std::abort();
  };
  static const FilteredMail mail = [] {
    FilteredMail fixed;
    fixed.fields = {{"Subject", "Monthly REPORT 3"},
                    {"From", "\"Ann\" <ann@example.org>"},
                    {"X-Priority", "10"},
                    {"a", "b*"},
                    {"b", " -0"},
                    {"es", "\x1b[2J\n\xE4"}};
    return fixed;
  }();
  const qv::Expression filter(text);
  const bool value = filter.evaluate(mail);
  require(filter.evaluate(mail) == value, "an expression gives the same value again");
  const std::string explained = qv::explainExpression(filter, mail);
  require(explained.find(value ? "\nValue: true" : "\nValue: false") != std::string::npos,
          "it is told truly");
  for (const char c : explained) {
    require(c == '\n' || !std::iscntrl(static_cast<unsigned char>(c)), "what is told is fit for a terminal");
  }
  if (text.size() > 300) return;  // regular expressions recurse
  require(ObviousFilter(std::string(text), mail).value() == value, "it has the obvious value");
}

}  // namespace laws
