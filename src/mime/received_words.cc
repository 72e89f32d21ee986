#include "mime/received_words.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "core/text.h"
#include "mime/mime_xml_fields.h"
#include "mime/quoted_cursor.h"

namespace qv {
namespace {

constexpr std::string_view kKeywords[] = {"from", "by", "via", "with", "id", "for"};

template <std::size_t size>
const std::string_view* findWord(const std::string_view (&words)[size], std::string_view word) {
  const auto* const found =
      std::find_if(std::begin(words), std::end(words), [&](auto each) { return equalsNoCase(each, word); });
  return found == std::end(words) ? nullptr : found;
}

// Gives the words of a value. After a word that opens a comment, the rest of the comment is one word.
class WordReader {
 public:
  explicit WordReader(std::string_view value) noexcept : cursor_(value) {}

  /// False at the end. A word may be empty.
  bool next(std::string& word) {
    cursor_.skip(" \t\r\n");
    if (cursor_.atEnd()) return false;
    if (inComment_) {
      word = cursor_.readTo(")");
      word += cursor_.skip(")");
      inComment_ = false;
      return true;
    }
    word = cursor_.readTo("= \t);");
    cursor_.skip("= \t");
    word += cursor_.skip(");");
    inComment_ = word.starts_with('(') && word.find(')') == std::string::npos;
    return true;
  }

 private:
  QuotedCursor cursor_;
  bool inComment_ = false;
};

void addWord(std::string_view word, StringBuffer& out) {
  if (word.empty()) return;
  if (!out.empty()) out.append(' ');
  out.append(word);
}

}  // namespace

ReceivedWords splitReceived(std::string_view value) {
  ReceivedWords result;
  WordReader reader(value);
  for (std::string word; reader.next(word);) {
    if (const std::string_view* const keyword = findWord(kKeywords, word); keyword != nullptr) {
      result.clauses.push_back({*keyword, {}});
      continue;
    }
    if (findWord(kDayNames, word) != nullptr) result.clauses.push_back({"date", {}});
    if (result.clauses.empty()) {
      addWord(word, result.content);
      continue;
    }
    if (word.ends_with(';')) word.pop_back();
    StringBuffer unquoted;
    appendUnquoted(word, unquoted);
    addWord(unquoted, result.clauses.back().value);
  }
  for (ReceivedWords::Clause& clause : result.clauses) {
    if (clause.value.lastChar() != ')' || clause.value.contains("(")) continue;
    clause.value.truncate(clause.value.size() - 1);
  }
  std::erase_if(result.clauses, [](const ReceivedWords::Clause& clause) { return clause.value.empty(); });
  return result;
}

}  // namespace qv
