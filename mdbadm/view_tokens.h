// The text of a query in pieces, those that a view of sqlite3 may have.
#pragma once

#include <array>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace mdbadm {

// Why a query has no counterpart; ends as a comment.
class NoCounterpart : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

enum class TokenKind {
  kEnd,
  kName,
  kKeyword,
  kFunction,
  kDatePart,
  kTruth,
  kText,
  kDate,
  kNumber,
  kSign
};

struct Token {
  TokenKind kind = TokenKind::kEnd;
  std::string text;  // of names and literals, what they say; keywords in capitals
};

inline bool IsSign(const Token& token, std::string_view sign) {
  return token.kind == TokenKind::kSign && token.text == sign;
}

// Parts of a date: the function, the interval of DatePart, what strftime calls it.
struct DatePart {
  std::string_view function, interval, format;
};
inline constexpr std::array<DatePart, 6> kDateParts = {{{"YEAR", "YYYY", "%Y"},
                                                        {"MONTH", "M", "%m"},
                                                        {"DAY", "D", "%d"},
                                                        {"HOUR", "H", "%H"},
                                                        {"MINUTE", "N", "%M"},
                                                        {"SECOND", "S", "%S"}}};

// ASCII letters in capitals.
std::string Upper(std::string_view word);

// NoCounterpart for what has none.
std::vector<Token> ReadTokens(std::string_view text);

}  // namespace mdbadm
