#include "mdbadm/view_tokens.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace mdbadm {
namespace {

constexpr std::array<std::string_view, 23> kKeywords = {
    "SELECT", "DISTINCT", "AS", "FROM",  "INNER",  "LEFT", "JOIN",  "ON",
    "WHERE",  "GROUP",    "BY", "ORDER", "HAVING", "ASC",  "DESC",  "AND",
    "OR",     "NOT",      "IS", "NULL",  "IN",     "LIKE", "EXISTS"};
// They mean something else in sqlite3, or nothing.
constexpr std::array<std::string_view, 23> kForeign = {
    "TOP",     "DISTINCTROW", "BETWEEN", "MOD",  "EQV",   "IMP",   "XOR",       "UNION",
    "ANY",     "SOME",        "ALL",     "WITH", "INTO",  "PIVOT", "TRANSFORM", "PARAMETERS",
    "PERCENT", "RIGHT",       "OUTER",   "FULL", "LIMIT", "ALIKE", "PROCEDURE"};
constexpr std::array<std::string_view, 5> kFunctions = {"COUNT", "SUM", "MIN", "MAX", "AVG"};

template <class List>
bool Holds(const List& list, std::string_view word) {
  return std::find(list.begin(), list.end(), word) != list.end();
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsWordByte(char c) {
  return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  std::vector<Token> All() {
    std::vector<Token> tokens;
    while (SkipBlanks()) {
      Token token = Next(tokens.empty() ? Token{} : tokens.back());
      // [table.column] in one pair of brackets is both.
      const std::size_t point = token.text.find('.');
      if (token.kind == TokenKind::kName && point != std::string::npos) {
        tokens.push_back({TokenKind::kName, token.text.substr(0, point)});
        tokens.push_back({TokenKind::kSign, "."});
        token.text.erase(0, point + 1);
      }
      tokens.push_back(std::move(token));
    }
    if (!tokens.empty() && IsSign(tokens.back(), ";")) tokens.pop_back();
    return tokens;
  }

 private:
  bool SkipBlanks() {
    while (at_ < text_.size() && static_cast<unsigned char>(text_[at_]) <= ' ') ++at_;
    return at_ < text_.size();
  }
  // What stands up to `end`, which stands twice where it is meant itself.
  std::string Enclosed(char end) {
    std::string inner;
    for (++at_; at_ < text_.size(); ++at_) {
      if (text_[at_] != end) {
        inner += text_[at_];
      } else if (end != ']' && at_ + 1 < text_.size() && text_[at_ + 1] == end) {
        inner += text_[at_++];
      } else {
        ++at_;
        return inner;
      }
    }
    throw NoCounterpart(fmt::format("{} without its end", end));
  }
  Token Word(const Token& before) {
    const std::size_t from = at_;
    while (at_ < text_.size() && IsWordByte(text_[at_])) ++at_;
    std::string word(text_.substr(from, at_ - from));
    const std::string upper = Upper(word);
    if (IsSign(before, ".")) return {TokenKind::kName, word};
    SkipBlanks();
    if (Holds(kKeywords, upper)) return {TokenKind::kKeyword, upper};
    if (Holds(kForeign, upper)) throw NoCounterpart(upper);
    if (upper == "TRUE" || upper == "YES") return {TokenKind::kTruth, "1"};
    if (upper == "FALSE" || upper == "NO") return {TokenKind::kTruth, "0"};
    if (at_ >= text_.size() || text_[at_] != '(') return {TokenKind::kName, word};
    if (Holds(kFunctions, upper)) return {TokenKind::kFunction, upper};
    const bool is_part =
        upper == "DATEPART" ||
        std::ranges::find(kDateParts, upper, &DatePart::function) != kDateParts.end();
    if (is_part) return {TokenKind::kDatePart, upper};
    throw NoCounterpart("function " + word);
  }
  Token Number() {
    const std::size_t from = at_;
    while (at_ < text_.size() && (IsDigit(text_[at_]) || text_[at_] == '.')) ++at_;
    if (at_ < text_.size() && IsWordByte(text_[at_])) throw NoCounterpart("a number with letters");
    return {TokenKind::kNumber, std::string(text_.substr(from, at_ - from))};
  }
  Token Next(const Token& before) {
    const char c = text_[at_];
    if (c == '[') return {TokenKind::kName, Enclosed(']')};
    if (c == '"' || c == '\'') return {TokenKind::kText, Enclosed(c)};
    if (c == '#') return {TokenKind::kDate, Enclosed('#')};
    if (IsDigit(c)) return Number();
    if (IsWordByte(c)) return Word(before);
    for (const std::string_view sign : {"<>", "<=", ">="}) {
      if (text_.substr(at_, 2) != sign) continue;
      at_ += 2;
      return {TokenKind::kSign, std::string(sign)};
    }
    if (std::string_view("=<>+-*(),.;").find(c) == std::string_view::npos) {
      throw NoCounterpart(fmt::format("operator {}", c));
    }
    ++at_;
    return {TokenKind::kSign, std::string(1, c)};
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

}  // namespace

std::string Upper(std::string_view word) {
  std::string upper(word);
  for (char& c : upper) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return upper;
}

std::vector<Token> ReadTokens(std::string_view text) { return Reader(text).All(); }

}  // namespace mdbadm
