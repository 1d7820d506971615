// The words of a SELECT text.
//
// A bare name may hold every character outside ASCII, so full-width parentheses
// and signs such as ㎡ belong to it; only U+3000 is a blank. A bracketed name
// ends at "]" and at nothing else.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sql/error.h"

namespace sql {

struct Token {
  enum class Kind { kEnd, kWord, kBracketed, kNumber, kText, kDate, kSymbol };
  Kind kind = Kind::kEnd;
  std::string value;               // of a name without brackets, of a text without quotes
  std::size_t begin = 0, end = 0;  // bytes of the source

  bool IsName() const { return kind == Kind::kWord || kind == Kind::kBracketed; }
  bool Is(std::string_view symbol) const { return kind == Kind::kSymbol && value == symbol; }
  // `keyword` in capitals; a bracketed name is never a keyword.
  bool IsKeyword(std::string_view keyword) const;
};

// The last token is kEnd. kSyntax.
std::vector<Token> Lex(std::string_view text);

// A kSyntax error at a byte of `text`, with the line and column of it in the message.
[[noreturn]] void ThrowSyntax(std::string_view text, std::size_t at, std::string_view message);

// True and False in all the words that there are for them.
std::optional<bool> ConstantOf(std::string_view word);
// Words that cannot stand as a name without brackets.
bool IsReserved(std::string_view word);
// As written in a text: bare if that reads back as the same name, else in brackets.
std::string QuoteName(std::string_view name);

}  // namespace sql
