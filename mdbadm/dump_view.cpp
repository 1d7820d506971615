#include "mdbadm/dump_view.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include "jet/base/ascii.h"
#include "jet/base/date_time.h"
#include "jet/sort/name.h"
#include "mdbadm/sql_literal.h"

namespace mdbadm {
namespace {

enum class TokenKind { kEnd, kName, kKeyword, kFunction, kTruth, kText, kDate, kNumber, kSign };

struct Token {
  TokenKind kind = TokenKind::kEnd;
  std::string text;  // of names and literals, what they say; keywords in capitals
};

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

bool HoldsName(const std::vector<std::string>& list, jet::SortOrder order, std::string_view name) {
  return std::any_of(list.begin(), list.end(),
                     [&](const std::string& known) { return jet::SameName(order, known, name); });
}

std::string Upper(std::string_view word) {
  std::string upper(word);
  for (char& c : upper) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return upper;
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
  static bool IsSign(const Token& token, std::string_view sign) {
    return token.kind == TokenKind::kSign && token.text == sign;
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

class Translation {
 public:
  Translation(std::vector<Token> tokens, const KnownNames& names, std::vector<std::string>& used)
      : tokens_(std::move(tokens)), names_(names), used_(used) {
    for (std::size_t i = 0; i + 1 < tokens_.size(); ++i) {
      if (IsKeyword(i, "AS")) aliases_.push_back(tokens_[i + 1].text);
    }
  }

  std::string Text() {
    if (!IsKeyword(0, "SELECT")) throw NoCounterpart("not a SELECT");
    std::string out;
    for (std::size_t i = 0; i < tokens_.size(); ++i) {
      const std::string piece = Piece(i);
      const bool tight = IsSign(i, ".") || IsSign(i, ",") || (i != 0 && IsSign(i - 1, "."));
      if (i != 0 && !tight) out += ' ';
      out += piece;
    }
    return out;
  }

 private:
  const Token& At(std::size_t i) const {
    static const Token kNone;
    return i < tokens_.size() ? tokens_[i] : kNone;
  }
  bool IsKeyword(std::size_t i, std::string_view word) const {
    return At(i).kind == TokenKind::kKeyword && At(i).text == word;
  }
  bool IsSign(std::size_t i, std::string_view sign) const { return Reader::IsSign(At(i), sign); }
  bool IsComparison(std::size_t i) const {
    return At(i).kind == TokenKind::kSign &&
           std::string_view("<>=").find(At(i).text[0]) != std::string_view::npos;
  }
  bool IsArithmetic(std::size_t i) const {
    if (IsSign(i, "*")) {
      const bool all = IsSign(i - 1, ".") || IsSign(i - 1, ",") || IsSign(i - 1, "(") ||
                       At(i - 1).kind == TokenKind::kKeyword;
      return !all;
    }
    return IsSign(i, "+") || IsSign(i, "-");
  }

  std::string Piece(std::size_t i) {
    const Token& token = tokens_[i];
    switch (token.kind) {
      case TokenKind::kName:
        return Name(i);
      case TokenKind::kKeyword:
        return Keyword(i);
      case TokenKind::kText:
        return IsKeyword(i - 1, "LIKE") ? Pattern(token.text) : Literal(token.text);
      case TokenKind::kDate: {
        const std::optional<jet::DateTime> date = jet::ReadDateTime(token.text);
        if (!date) throw NoCounterpart("date #" + token.text + "#");
        return Literal(*date);
      }
      case TokenKind::kSign:
        return IsSign(i, "+") ? Plus(i) : token.text;
      default:
        return token.text;
    }
  }
  static std::string Literal(const jet::Value& value) {
    std::string out;
    AppendSqlValue(out, value);
    return out;
  }
  // Only where both dialects mean the same.
  static std::string Pattern(const std::string& pattern) {
    if (pattern.find_first_of("%_#[") != std::string::npos) {
      throw NoCounterpart("pattern " + pattern);
    }
    std::string like = pattern;
    std::replace(like.begin(), like.end(), '*', '%');
    std::replace(like.begin(), like.end(), '?', '_');
    return Literal(like);
  }
  std::string Keyword(std::size_t i) const {
    if (i != 0 && IsKeyword(i, "SELECT")) {
      const bool is_asked = i > 1 && IsSign(i - 1, "(") && !InOutputList(i) &&
                            (IsKeyword(i - 2, "IN") || IsKeyword(i - 2, "EXISTS"));
      if (!is_asked) throw NoCounterpart("a query in the query");
    }
    if (IsKeyword(i, "LIKE") && At(i + 1).kind != TokenKind::kText) {
      throw NoCounterpart("a pattern that is not a text");
    }
    if (IsKeyword(i, "LEFT") && !IsKeyword(i + 1, "JOIN")) throw NoCounterpart("function Left");
    // Of a number it turns the bits there.
    const bool is_logical = IsKeyword(i + 1, "NULL") || IsKeyword(i + 1, "IN") ||
                            IsKeyword(i + 1, "LIKE") || IsKeyword(i + 1, "EXISTS") ||
                            IsSign(i + 1, "(");
    if (IsKeyword(i, "NOT") && !is_logical) throw NoCounterpart("Not before a value");
    return At(i).text;
  }
  // Between texts it joins them.
  std::string Plus(std::size_t i) const {
    if (At(i - 1).kind == TokenKind::kText || At(i + 1).kind == TokenKind::kText) return "||";
    if (At(i - 1).kind == TokenKind::kNumber || At(i + 1).kind == TokenKind::kNumber) return "+";
    throw NoCounterpart("operator + of which the operands are not known");
  }
  // As it is stored: sqlite3 does not know names by width and kana.
  std::string Name(std::size_t i) {
    const std::string& name = tokens_[i].text;
    if (name.find('.') != std::string::npos) throw NoCounterpart("name " + name);
    const bool is_alias = i != 0 && IsKeyword(i - 1, "AS");
    if (is_alias) return Bracketed(name);
    const bool alone = (i == 0 || !IsSign(i - 1, ".")) && !IsSign(i + 1, ".");
    if (alone && InOutputList(i) && HoldsName(aliases_, names_.order, name)) {
      throw NoCounterpart("the alias " + name + " in the list that makes it");
    }
    if (HoldsName(names_.flags, names_.order, name)) CheckSpecial(i, TokenKind::kTruth);
    if (HoldsName(names_.dates, names_.order, name)) CheckSpecial(i, TokenKind::kDate);
    if (i != 0 && IsSign(i - 1, ".")) {
      const KnownNames::Source* source = SourceOf(tokens_[i - 2].text);
      if (source == nullptr) throw NoCounterpart("the place of " + name);
      return Bracketed(Stored(name, source->columns));
    }
    for (const std::string& alias : aliases_) {
      if (jet::SameName(names_.order, alias, name)) return Bracketed(alias);
    }
    if (IsSign(i + 1, ".") || !InOutputList(i)) {
      if (const KnownNames::Source* source = FindSource(name)) {
        used_.push_back(source->name);
        return Bracketed(source->name);
      }
    }
    return Bracketed(Alone(name));
  }
  const KnownNames::Source* FindSource(std::string_view name) const {
    for (const KnownNames::Source& source : names_.sources) {
      if (jet::SameName(names_.order, source.name, name)) return &source;
    }
    return nullptr;
  }
  // By its own name or by an alias.
  const KnownNames::Source* SourceOf(std::string_view name) const {
    for (std::size_t k = 2; k < tokens_.size(); ++k) {
      if (InOutputList(k) || !IsKeyword(k - 1, "AS")) continue;
      if (jet::SameName(names_.order, tokens_[k].text, name)) return FindSource(At(k - 2).text);
    }
    return FindSource(name);
  }
  std::string Stored(const std::string& name, const std::vector<std::string>& columns) const {
    for (const std::string& column : columns) {
      if (jet::SameName(names_.order, column, name)) return column;
    }
    throw NoCounterpart("column " + name);
  }
  // A column without its table: of a source that the query names.
  std::string Alone(const std::string& name) const {
    for (std::size_t k = 0; k < tokens_.size(); ++k) {
      if (InOutputList(k) || At(k).kind != TokenKind::kName) continue;
      const KnownNames::Source* source = FindSource(At(k).text);
      if (source != nullptr && HoldsName(source->columns, names_.order, name)) {
        return Stored(name, source->columns);
      }
    }
    throw NoCounterpart("parameter " + name);
  }
  // In double quotes sqlite3 would take a name that it does not find for a text.
  static std::string Bracketed(const std::string& name) { return '[' + name + ']'; }
  bool InOutputList(std::size_t i) const {
    for (std::size_t k = 0; k < i; ++k) {
      if (IsKeyword(k, "FROM")) return false;
    }
    return true;
  }
  // A column whose values are others in sqlite3 may be shown, grouped, sorted, counted and
  // compared with its own kind; nothing is computed from it.
  void CheckSpecial(std::size_t i, TokenKind literal) const {
    std::size_t from = i;
    while (from >= 2 && IsSign(from - 1, ".")) from -= 2;
    const auto is_own = [&](std::size_t k) {
      return At(k).kind == literal ||
             (literal == TokenKind::kDate && At(k).kind == TokenKind::kName);
    };
    bool good = !IsArithmetic(i + 1) && (from == 0 || !IsArithmetic(from - 1));
    if (IsComparison(i + 1)) good = good && is_own(i + 2);
    if (from >= 2 && IsComparison(from - 1)) good = good && is_own(from - 2);
    if (IsKeyword(i + 1, "IN") || IsKeyword(i + 1, "LIKE")) good = false;
    if (IsKeyword(i + 1, "NOT")) good = false;
    if (from >= 2 && IsSign(from - 1, "(") && At(from - 2).kind == TokenKind::kFunction) {
      const std::string& function = At(from - 2).text;
      good = good && (function == "COUNT" ||
                      (literal == TokenKind::kDate && (function == "MIN" || function == "MAX")));
    } else if ((from >= 1 && IsSign(from - 1, "(")) || IsSign(i + 1, ")")) {
      for (std::size_t k = 1; k < tokens_.size(); ++k) good = good && !IsArithmetic(k);
    }
    if (!good) throw NoCounterpart("what it computes from " + At(i).text);
  }

  std::vector<Token> tokens_;
  const KnownNames& names_;
  std::vector<std::string>& used_;
  std::vector<std::string> aliases_;
};

}  // namespace

std::string TranslateSelect(const std::string& text, const KnownNames& names,
                            std::vector<std::string>& used) {
  return Translation(Reader(text).All(), names, used).Text();
}

}  // namespace mdbadm
