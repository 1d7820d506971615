#include "sql/text/lexer.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "jet/base/ascii.h"

namespace sql {
namespace {

constexpr std::string_view kIdeographicSpace = "\xE3\x80\x80";

using jet::AsciiLower;
using jet::EqualsAsciiCase;
using jet::IsBlank;
using jet::IsDigit;

bool StartsWord(char c) {
  return (AsciiLower(c) >= 'a' && AsciiLower(c) <= 'z') || c == '_' || c == '$' || c == '@' ||
         static_cast<unsigned char>(c) >= 0x80;
}

class Lexer {
 public:
  explicit Lexer(std::string_view text) : text_(text) {}

  std::vector<Token> Run() {
    std::vector<Token> tokens;
    for (;;) {
      SkipBlanks();
      Token token;
      token.begin = at_;
      if (at_ < text_.size()) Read(token);
      token.end = at_;
      tokens.push_back(std::move(token));
      if (tokens.back().kind == Token::Kind::kEnd) return tokens;
    }
  }

 private:
  char Peek(std::size_t ahead = 0) const {
    return at_ + ahead < text_.size() ? text_[at_ + ahead] : '\0';
  }
  bool AtIdeographicSpace() const { return text_.substr(at_, 3) == kIdeographicSpace; }

  void SkipBlanks() {
    while (at_ < text_.size()) {
      if (IsBlank(text_[at_])) {
        ++at_;
      } else if (AtIdeographicSpace()) {
        at_ += kIdeographicSpace.size();
      } else {
        return;
      }
    }
  }

  void Read(Token& token) {
    const char c = text_[at_];
    if (IsDigit(c) || (c == '.' && IsDigit(Peek(1)))) return ReadNumber(token);
    if (StartsWord(c)) return ReadWord(token);
    switch (c) {
      case '[':
        token.kind = Token::Kind::kBracketed;
        return ReadClosed(token, ']', "a closing ]");
      case '`':
        token.kind = Token::Kind::kBracketed;
        return ReadClosed(token, '`', "a closing `");
      case '"':
      case '\'':
        token.kind = Token::Kind::kText;
        return ReadQuoted(token, c);
      case '#':
        token.kind = Token::Kind::kDate;
        return ReadClosed(token, '#', "a closing # of a date");
      default:
        return ReadSymbol(token);
    }
  }

  void ReadNumber(Token& token) {
    token.kind = Token::Kind::kNumber;
    const std::size_t begin = at_;
    while (IsDigit(Peek())) ++at_;
    if (Peek() == '.') {
      ++at_;
      while (IsDigit(Peek())) ++at_;
    }
    if (AsciiLower(Peek()) == 'e') {
      const std::size_t sign = Peek(1) == '+' || Peek(1) == '-' ? 1 : 0;
      if (IsDigit(Peek(1 + sign))) {
        at_ += 1 + sign;
        while (IsDigit(Peek())) ++at_;
      }
    }
    if (at_ < text_.size() && StartsWord(text_[at_]) && !AtIdeographicSpace()) {
      ThrowSyntax(text_, begin, "a name that starts with a digit needs brackets");
    }
    token.value = text_.substr(begin, at_ - begin);
  }

  void ReadWord(Token& token) {
    token.kind = Token::Kind::kWord;
    const std::size_t begin = at_;
    while (at_ < text_.size() && (StartsWord(text_[at_]) || IsDigit(text_[at_])) &&
           !AtIdeographicSpace()) {
      ++at_;
    }
    token.value = text_.substr(begin, at_ - begin);
  }

  void ReadClosed(Token& token, char close, std::string_view expected) {
    const std::size_t end = text_.find(close, at_ + 1);
    if (end == text_.npos) ThrowSyntax(text_, at_, fmt::format("expected {}", expected));
    token.value = text_.substr(at_ + 1, end - at_ - 1);
    if (token.value.empty()) {
      ThrowSyntax(text_, at_, fmt::format("nothing stands before {}", expected));
    }
    at_ = end + 1;
  }

  // A doubled quote stands for itself.
  void ReadQuoted(Token& token, char quote) {
    const std::size_t begin = at_++;
    for (;;) {
      const std::size_t end = text_.find(quote, at_);
      if (end == text_.npos) ThrowSyntax(text_, begin, "expected a closing quote");
      token.value += text_.substr(at_, end - at_);
      at_ = end + 1;
      if (Peek() != quote) return;
      token.value += quote;
      ++at_;
    }
  }

  void ReadSymbol(Token& token) {
    static constexpr std::array<std::string_view, 20> kSymbols = {
        "<=", ">=", "<>", "(", ")", ",", ".", ";", "=", "<",
        ">",  "+",  "-",  "*", "/", "^", "&", "!", "?", "\\"};
    token.kind = Token::Kind::kSymbol;
    for (const std::string_view symbol : kSymbols) {
      if (text_.substr(at_, symbol.size()) != symbol) continue;
      token.value = symbol;
      at_ += symbol.size();
      return;
    }
    ThrowSyntax(text_, at_, "this character has no meaning here");
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

}  // namespace

bool Token::IsKeyword(std::string_view keyword) const {
  return kind == Kind::kWord && EqualsAsciiCase(value, keyword);
}

std::vector<Token> Lex(std::string_view text) { return Lexer(text).Run(); }

void ThrowSyntax(std::string_view text, std::size_t at, std::string_view message) {
  std::size_t line = 1, column = 1;
  for (std::size_t i = 0; i < at && i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\n' || (c == '\r' && !(i + 1 < text.size() && text[i + 1] == '\n'))) {
      ++line;
      column = 1;
    } else if (c != '\r' && (static_cast<unsigned char>(c) & 0xC0) != 0x80) {
      ++column;
    }
  }
  throw Error(ErrorCode::kSyntax, fmt::format("line {}, column {}: {}", line, column, message),
              line, column);
}

std::optional<bool> ConstantOf(std::string_view word) {
  for (const std::string_view each : {"TRUE", "YES", "ON"}) {
    if (EqualsAsciiCase(each, word)) return true;
  }
  for (const std::string_view each : {"FALSE", "NO", "OFF"}) {
    if (EqualsAsciiCase(each, word)) return false;
  }
  return std::nullopt;
}

bool IsReserved(std::string_view word) {
  static constexpr std::array<std::string_view, 37> kWords = {
      "ALL",         "AND",   "AS",     "ASC",   "BETWEEN", "BY",    "DESC",   "DISTINCT",
      "DISTINCTROW", "EQV",   "EXISTS", "FALSE", "FROM",    "GROUP", "HAVING", "IMP",
      "IN",          "INNER", "INTO",   "IS",    "JOIN",    "LEFT",  "LIKE",   "MOD",
      "NOT",         "NULL",  "ON",     "OR",    "ORDER",   "RIGHT", "SELECT", "SET",
      "TOP",         "TRUE",  "UNION",  "WHERE", "XOR"};
  return std::any_of(kWords.begin(), kWords.end(),
                     [&](std::string_view each) { return EqualsAsciiCase(each, word); });
}

std::string QuoteName(std::string_view name) {
  bool bare = !name.empty() && StartsWord(name.front()) && !IsReserved(name) && !ConstantOf(name) &&
              name.find(kIdeographicSpace) == name.npos;
  for (const char c : name) bare = bare && (StartsWord(c) || IsDigit(c));
  return bare ? std::string(name) : fmt::format("[{}]", name);
}

}  // namespace sql
