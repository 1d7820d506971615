#include "sql/text/token_reader.h"

#include <fmt/format.h>

namespace sql {

bool TokenReader::TakeIf(std::string_view symbol) {
  if (!Now().Is(symbol)) return false;
  Take();
  return true;
}

bool TokenReader::TakeKeyword(std::string_view keyword) {
  if (!Now().IsKeyword(keyword)) return false;
  Take();
  return true;
}

void TokenReader::Expect(std::string_view symbol) {
  if (!TakeIf(symbol)) Fail(fmt::format("\"{}\"", symbol));
}

void TokenReader::ExpectKeyword(std::string_view keyword) {
  if (!TakeKeyword(keyword)) Fail(keyword);
}

void TokenReader::ExpectEnd(std::string_view of_what) {
  if (!at_end()) Fail(fmt::format("the end of the {}", of_what));
}

std::string TokenReader::ExpectName(std::string_view what) {
  if (!Now().IsName()) Fail(what);
  return Take().value;
}

bool TokenReader::NameGoesOn(std::size_t ahead) const {
  return Ahead(ahead).Is(".") || Ahead(ahead).Is("!");
}

std::string TokenReader::RestOfPath(std::string begin, std::string name) {
  while (NameGoesOn(0)) {
    begin += fmt::format("[{}]!", name);
    Take();
    name = ExpectName("a name");
  }
  return begin + fmt::format("[{}]", name);
}

void TokenReader::Fail(std::string_view what) const {
  const Token& token = Now();
  const std::string_view found = text_.substr(token.begin, token.end - token.begin);
  ThrowSyntax(text_, token.begin,
              at_end() ? fmt::format("expected {}, found the end of the text", what)
                       : fmt::format("expected {}, found {}", what, found));
}

}  // namespace sql
