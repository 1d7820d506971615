// Text -> tree. Every fault is a kSyntax error with its place.
#pragma once

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sql/lexer.h"
#include "sql/select_ast.h"

namespace sql {

// One SELECT, or several joined by UNION.
struct SelectText {
  Select select;  // of a text without UNION
  struct Part {
    std::string text;
    bool all = false;   // joined to the part before by UNION ALL
    std::string joint;  // what stands between them, as written
  };
  std::vector<Part> parts;  // one for each SELECT
};

SelectText ParseSelect(std::string_view text);
ExprPtr ParseExpression(std::string_view text);
// `*`, `T.*` or an expression, without an alias.
OutputItem ParseOutput(std::string_view text);

// One text being read, by descent. Not for use outside of the two files that
// make it up.
class Parser {
 public:
  explicit Parser(std::string_view text) : text_(text), tokens_(Lex(text)) {}

  SelectText Statement();
  ExprPtr WholeExpression();
  OutputItem WholeOutput();

 private:
  friend class DepthGuard;

  // parser.cpp
  Select SelectBody();
  void Parameters(Select& select);
  void Predicate(Select& select);
  OutputItem Output();
  void From(Select& select);
  std::unique_ptr<FromNode> JoinTree(Select& select);
  std::unique_ptr<FromNode> JoinOperand(Select& select);
  std::unique_ptr<FromNode> SubquerySource(Select& select);
  std::optional<std::string> TableAlias();
  std::unique_ptr<FromNode> AddSource(Select& select, SourceItem source, std::size_t begin) const;
  void OnTerms(const ExprPtr& expr, std::vector<SqlText>& terms) const;
  void GroupAndOrder(Select& select);

  // expression_parser.cpp
  ExprPtr Expression() { return Logical(0); }
  ExprPtr Logical(std::size_t level);
  ExprPtr Not();
  ExprPtr Comparison();
  ExprPtr ComparisonTail(ExprPtr left, bool negated);
  ExprPtr Arithmetic(std::size_t level);
  ExprPtr Unary();
  ExprPtr Power();
  ExprPtr Primary();
  ExprPtr NameOrCall();
  bool NameGoesOn(std::size_t ahead) const;
  std::string RestOfPath(std::string begin, std::string name);
  ExprPtr Parenthesised();
  ExprPtr SkipSubquery(std::size_t begin);
  jet::Value NumberLiteral(const Token& token) const;
  jet::Value DateLiteral(const Token& token) const;
  ExprPtr Finish(Expr expr, std::size_t begin) const;
  ExprPtr Binary(Operator op, ExprPtr left, ExprPtr right) const;
  ExprPtr LiteralAt(jet::Value value, std::size_t begin);

  const Token& Now() const { return tokens_[at_]; }
  const Token& Ahead(std::size_t count) const {
    return tokens_[std::min(at_ + count, tokens_.size() - 1)];
  }
  const Token& Take() { return tokens_[at_ + 1 < tokens_.size() ? at_++ : at_]; }
  bool TakeIf(std::string_view symbol);
  bool TakeKeyword(std::string_view keyword);
  void Expect(std::string_view symbol);
  void ExpectKeyword(std::string_view keyword);
  std::string ExpectName(std::string_view what);
  // "expected <what>, found <token>" at the current token.
  [[noreturn]] void Fail(std::string_view what) const;
  bool AtJoin() const;
  std::size_t LastEnd() const { return at_ == 0 ? 0 : tokens_[at_ - 1].end; }
  SqlText TextOf(const ExprPtr& expr) const;

  std::string_view text_;
  std::vector<Token> tokens_;
  std::size_t at_ = 0;
  std::size_t depth_ = 0;
};

// Bounded, so that no text can exhaust the stack: parentheses in parentheses,
// and the height of an expression's tree (a chain of ORs is one level a term).
inline constexpr std::size_t kMaxDepth = 100;
inline constexpr std::size_t kMaxTreeDepth = 1000;

class DepthGuard {
 public:
  explicit DepthGuard(Parser& parser) : parser_(parser) {
    if (++parser_.depth_ > kMaxDepth) {
      --parser_.depth_;
      ThrowSyntax(parser_.text_, parser_.Now().begin, "nested too deeply");
    }
  }
  ~DepthGuard() { --parser_.depth_; }
  DepthGuard(const DepthGuard&) = delete;
  DepthGuard& operator=(const DepthGuard&) = delete;

 private:
  Parser& parser_;
};

}  // namespace sql
