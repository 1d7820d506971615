// The words of a text, one after the other. Every fault is a kSyntax error with its
// place.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "sql/text/lexer.h"

namespace sql {

// Bounded, so that no text can exhaust the stack: what stands in parentheses in
// parentheses.
inline constexpr std::size_t kMaxDepth = 100;

class TokenReader {
 public:
  // REQUIRES: the text outlives the reader.
  explicit TokenReader(std::string_view text) : text_(text), tokens_(Lex(text)) {}

  std::string_view text() const { return text_; }
  const Token& Now() const { return tokens_[at_]; }
  const Token& Ahead(std::size_t count) const {
    return tokens_[std::min(at_ + count, tokens_.size() - 1)];
  }
  bool at_end() const { return Now().kind == Token::Kind::kEnd; }
  // Where the last word that was taken ends, in bytes.
  std::size_t LastEnd() const { return at_ == 0 ? 0 : tokens_[at_ - 1].end; }

  const Token& Take() { return tokens_[at_ + 1 < tokens_.size() ? at_++ : at_]; }
  bool TakeIf(std::string_view symbol);
  bool TakeKeyword(std::string_view keyword);
  void Expect(std::string_view symbol);
  void ExpectKeyword(std::string_view keyword);
  void ExpectEnd(std::string_view of_what);
  std::string ExpectName(std::string_view what);

  // Whether a name goes on with a dot or an exclamation mark.
  bool NameGoesOn(std::size_t ahead) const;
  // The rest of a name of many parts, behind `begin` and `name`. Written in one way,
  // however it was spelled.
  std::string RestOfPath(std::string begin, std::string name);

  // "expected <what>, found <token>" at the current token.
  [[noreturn]] void Fail(std::string_view what) const;

 private:
  friend class DepthGuard;
  std::string_view text_;
  std::vector<Token> tokens_;
  std::size_t at_ = 0;
  std::size_t depth_ = 0;
};

class DepthGuard {
 public:
  explicit DepthGuard(TokenReader& reader) : reader_(reader) {
    if (reader_.depth_ == kMaxDepth) {
      ThrowSyntax(reader_.text_, reader_.Now().begin, "nested too deeply");
    }
    ++reader_.depth_;
  }
  ~DepthGuard() { --reader_.depth_; }
  DepthGuard(const DepthGuard&) = delete;
  DepthGuard& operator=(const DepthGuard&) = delete;

 private:
  TokenReader& reader_;
};

}  // namespace sql
