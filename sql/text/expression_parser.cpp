// Expressions, from the loosest operator to the tightest:
//   IMP, EQV, XOR, OR, AND, NOT, comparisons, &, + -, MOD, \, * /, unary -, ^
#include <fmt/format.h>

#include <array>
#include <charconv>

#include "jet/base/date_time.h"
#include "jet/base/number.h"
#include "sql/text/parser_parts.h"

namespace sql {
namespace {

// The height of an expression's tree is bounded: a chain of ORs is one level a term.
constexpr std::size_t kMaxTreeDepth = 1000;

struct Level {
  std::array<std::string_view, 2> words;
  std::array<Operator, 2> operators;
};

constexpr std::array<Level, 5> kLogical = {{
    {{"IMP", ""}, {Operator::kImp, Operator::kImp}},
    {{"EQV", ""}, {Operator::kEqv, Operator::kEqv}},
    {{"XOR", ""}, {Operator::kXor, Operator::kXor}},
    {{"OR", ""}, {Operator::kOr, Operator::kOr}},
    {{"AND", ""}, {Operator::kAnd, Operator::kAnd}},
}};
constexpr std::array<Level, 5> kArithmetic = {{
    {{"&", ""}, {Operator::kConcatenate, Operator::kConcatenate}},
    {{"+", "-"}, {Operator::kAdd, Operator::kSubtract}},
    {{"MOD", ""}, {Operator::kModulo, Operator::kModulo}},
    {{"\\", ""}, {Operator::kIntegerDivide, Operator::kIntegerDivide}},
    {{"*", "/"}, {Operator::kMultiply, Operator::kDivide}},
}};

struct ComparisonSign {
  std::string_view sign;
  Operator op;
};
constexpr std::array<ComparisonSign, 6> kComparisons = {{
    {"=", Operator::kEqual},
    {"<>", Operator::kNotEqual},
    {"<", Operator::kLess},
    {"<=", Operator::kLessEqual},
    {">", Operator::kGreater},
    {">=", Operator::kGreaterEqual},
}};

// By descent, from the current word of `in` on.
class ExpressionParser {
 public:
  explicit ExpressionParser(TokenReader& in) : in_(in) {}
  ExprPtr Expression() { return Logical(0); }

 private:
  ExprPtr Logical(std::size_t level);
  ExprPtr Not();
  ExprPtr Comparison();
  ExprPtr Compared(Operator op, ExprPtr left);
  ExprPtr ComparisonTail(ExprPtr left, bool negated);
  ExprPtr Arithmetic(std::size_t level);
  ExprPtr Unary();
  ExprPtr Power();
  ExprPtr Primary();
  ExprPtr NameOrCall();
  ExprPtr Parenthesised();
  // A SELECT up to the parenthesis that closes it.
  ExprPtr Subquery();
  jet::Value NumberLiteral(const Token& token) const;
  jet::Value DateLiteral(const Token& token) const;
  ExprPtr Finish(Expr expr, std::size_t begin) const;
  ExprPtr Binary(Operator op, ExprPtr left, ExprPtr right) const;
  ExprPtr LiteralAt(jet::Value value, std::size_t begin);

  TokenReader& in_;
};

ExprPtr ExpressionParser::Finish(Expr expr, std::size_t begin) const {
  expr.begin = begin;
  expr.end = in_.LastEnd();
  for (const ExprPtr& arg : expr.args) expr.depth = std::max(expr.depth, arg->depth + 1);
  if (expr.depth > kMaxTreeDepth) ThrowSyntax(in_.text(), begin, "nested too deeply");
  return std::make_shared<const Expr>(std::move(expr));
}

ExprPtr ExpressionParser::Binary(Operator op, ExprPtr left, ExprPtr right) const {
  const std::size_t begin = left->begin;
  Expr expr{.kind = Expr::Kind::kBinary, .op = op};
  expr.args = {std::move(left), std::move(right)};
  return Finish(std::move(expr), begin);
}

ExprPtr ExpressionParser::Logical(std::size_t level) {
  if (level == kLogical.size()) return Not();
  ExprPtr left = Logical(level + 1);
  while (in_.TakeKeyword(kLogical[level].words[0])) {
    left = Binary(kLogical[level].operators[0], std::move(left), Logical(level + 1));
  }
  return left;
}

ExprPtr ExpressionParser::Not() {
  const std::size_t begin = in_.Now().begin;
  if (!in_.TakeKeyword("NOT")) return Comparison();
  const DepthGuard guard(in_);
  Expr expr{.kind = Expr::Kind::kNot};
  expr.args = {Not()};
  return Finish(std::move(expr), begin);
}

ExprPtr ExpressionParser::Comparison() {
  ExprPtr left = Arithmetic(0);
  for (;;) {
    const auto sign =
        std::find_if(kComparisons.begin(), kComparisons.end(),
                     [this](const ComparisonSign& each) { return in_.Now().Is(each.sign); });
    if (sign != kComparisons.end()) {
      in_.Take();
      left = Compared(sign->op, std::move(left));
      continue;
    }
    const bool negated = in_.Now().IsKeyword("NOT");
    const std::size_t at = negated ? 1 : 0;
    const Token& word = in_.Ahead(at);
    // IN without a list names the file of the tables before it.
    if (word.IsKeyword("LIKE") || word.IsKeyword("ALIKE") || word.IsKeyword("BETWEEN") ||
        (word.IsKeyword("IN") && in_.Ahead(at + 1).Is("("))) {
      if (negated) in_.Take();
      left = ComparisonTail(std::move(left), negated);
    } else if (!negated && word.IsKeyword("IS")) {
      left = ComparisonTail(std::move(left), false);
    } else {
      return left;
    }
  }
}

// Behind a sign of comparison.
ExprPtr ExpressionParser::Compared(Operator op, ExprPtr left) {
  const bool all = in_.Now().IsKeyword("ALL");
  const bool any = in_.Now().IsKeyword("ANY") || in_.Now().IsKeyword("SOME");
  if ((!all && !any) || !in_.Ahead(1).Is("(") || !in_.Ahead(2).IsKeyword("SELECT")) {
    return Binary(op, std::move(left), Arithmetic(0));
  }
  in_.Take();
  in_.Take();
  const std::size_t begin = left->begin;
  Expr expr{.kind = all ? Expr::Kind::kAll : Expr::Kind::kAny, .op = op};
  expr.args = {std::move(left), Subquery()};
  return Finish(std::move(expr), begin);
}

ExprPtr ExpressionParser::ComparisonTail(ExprPtr left, bool negated) {
  const std::size_t begin = left->begin;
  Expr expr;
  expr.negated = negated;
  expr.args = {std::move(left)};
  if (in_.TakeKeyword("IS")) {
    expr.kind = Expr::Kind::kIsNull;
    expr.negated = in_.TakeKeyword("NOT");
    in_.ExpectKeyword("NULL");
  } else if (in_.Now().IsKeyword("LIKE") || in_.Now().IsKeyword("ALIKE")) {
    expr.kind = Expr::Kind::kLike;
    expr.ansi = in_.Take().IsKeyword("ALIKE");
    expr.args.push_back(Arithmetic(0));
  } else if (in_.TakeKeyword("BETWEEN")) {
    expr.kind = Expr::Kind::kBetween;
    expr.args.push_back(Arithmetic(0));
    in_.ExpectKeyword("AND");
    expr.args.push_back(Arithmetic(0));
  } else {
    in_.ExpectKeyword("IN");
    expr.kind = Expr::Kind::kIn;
    in_.Expect("(");
    if (in_.Now().IsKeyword("SELECT")) {
      expr.args.push_back(Subquery());
      return Finish(std::move(expr), begin);
    }
    do {
      expr.args.push_back(Expression());
    } while (in_.TakeIf(","));
    in_.Expect(")");
  }
  return Finish(std::move(expr), begin);
}

ExprPtr ExpressionParser::Arithmetic(std::size_t level) {
  if (level == kArithmetic.size()) return Unary();
  const Level& signs = kArithmetic[level];
  ExprPtr left = Arithmetic(level + 1);
  for (;;) {
    std::size_t i = 0;
    while (i < 2 && (signs.words[i].empty() ||
                     !(in_.Now().Is(signs.words[i]) || in_.Now().IsKeyword(signs.words[i])))) {
      ++i;
    }
    if (i == 2) return left;
    in_.Take();
    left = Binary(signs.operators[i], std::move(left), Arithmetic(level + 1));
  }
}

ExprPtr ExpressionParser::Unary() {
  const std::size_t begin = in_.Now().begin;
  const bool negate = in_.Now().Is("-");
  if (!negate && !in_.Now().Is("+")) return Power();
  const DepthGuard guard(in_);
  in_.Take();
  Expr expr{.kind = negate ? Expr::Kind::kNegate : Expr::Kind::kParen};
  expr.args = {Unary()};
  return Finish(std::move(expr), begin);
}

ExprPtr ExpressionParser::Power() {
  ExprPtr left = Primary();
  while (in_.TakeIf("^")) {
    ExprPtr right = in_.Now().Is("-") || in_.Now().Is("+") ? Unary() : Primary();
    left = Binary(Operator::kPower, std::move(left), std::move(right));
  }
  return left;
}

ExprPtr ExpressionParser::LiteralAt(jet::Value value, std::size_t begin) {
  in_.Take();
  Expr expr;
  expr.value = std::move(value);
  return Finish(std::move(expr), begin);
}

ExprPtr ExpressionParser::Primary() {
  const DepthGuard guard(in_);
  const Token& token = in_.Now();
  switch (token.kind) {
    case Token::Kind::kNumber:
      return LiteralAt(NumberLiteral(token), token.begin);
    case Token::Kind::kText:
      return LiteralAt(token.value, token.begin);
    case Token::Kind::kDate:
      return LiteralAt(DateLiteral(token), token.begin);
    case Token::Kind::kBracketed:
      return NameOrCall();
    case Token::Kind::kWord:
      if (token.IsKeyword("NULL")) return LiteralAt(jet::Null{}, token.begin);
      if (const auto constant = ConstantOf(token.value); constant && !in_.NameGoesOn(1)) {
        return LiteralAt(*constant, token.begin);
      }
      if (token.IsKeyword("EXISTS")) {
        in_.Take();
        in_.Expect("(");
        Expr expr{.kind = Expr::Kind::kExists};
        expr.args = {Subquery()};
        return Finish(std::move(expr), token.begin);
      }
      // Some words of the grammar are functions, too.
      if (IsReserved(token.value) &&
          !((token.IsKeyword("LEFT") || token.IsKeyword("RIGHT") || token.IsKeyword("ASC")) &&
            in_.Ahead(1).Is("("))) {
        in_.Fail("an expression");
      }
      return NameOrCall();
    default:
      if (token.Is("(")) return Parenthesised();
      if (token.Is("?")) {
        in_.Take();
        return Finish(Expr{.kind = Expr::Kind::kParameter, .name = "?"}, token.begin);
      }
      in_.Fail("an expression");
  }
}

ExprPtr ExpressionParser::Parenthesised() {
  const std::size_t begin = in_.Now().begin;
  in_.Expect("(");
  Expr expr{.kind = Expr::Kind::kParen};
  if (in_.Now().IsKeyword("SELECT")) {
    expr.args = {Subquery()};
    return Finish(std::move(expr), begin);
  }
  expr.args = {Expression()};
  in_.Expect(")");
  return Finish(std::move(expr), begin);
}

ExprPtr ExpressionParser::Subquery() {
  const std::size_t begin = in_.Now().begin;
  if (!in_.Now().IsKeyword("SELECT")) in_.Fail("SELECT");
  Expr expr{.kind = Expr::Kind::kSubquery};
  expr.query = std::make_shared<const Select>(ReadSelect(in_));
  expr.name = in_.text().substr(begin, in_.LastEnd() - begin);
  if (in_.Now().IsKeyword("UNION")) in_.Fail("a query in an expression without UNION");
  in_.TakeIf(";");
  in_.Expect(")");
  return Finish(std::move(expr), begin);
}

ExprPtr ExpressionParser::NameOrCall() {
  const Token& first = in_.Take();
  Expr expr{.kind = Expr::Kind::kColumn, .name = first.value};
  if (in_.TakeIf("(")) {
    expr.kind = Expr::Kind::kCall;
    const std::size_t star = in_.Now().begin;
    if (in_.TakeIf("*")) {
      expr.args.push_back(Finish(Expr{.kind = Expr::Kind::kStar}, star));
    } else if (!in_.Now().Is(")")) {
      do {
        expr.args.push_back(Expression());
      } while (in_.TakeIf(","));
    }
    in_.Expect(")");
  } else if (in_.TakeIf(".") || in_.TakeIf("!")) {
    expr.qualifier = std::move(expr.name);
    expr.name = in_.ExpectName("a column name");
    // Three names and more do not name a column but a field of a form, which has no
    // value here.
    if (in_.NameGoesOn(0)) {
      expr = {.kind = Expr::Kind::kParameter,
              .name = in_.RestOfPath(fmt::format("[{}]!", expr.qualifier), std::move(expr.name))};
    }
  }
  return Finish(std::move(expr), first.begin);
}

jet::Value ExpressionParser::NumberLiteral(const Token& token) const {
  const char* begin = token.value.data();
  const char* end = begin + token.value.size();
  std::int32_t whole = 0;
  if (const auto [rest, error] = std::from_chars(begin, end, whole);
      error == std::errc() && rest == end) {
    return whole;
  }
  const auto number = jet::ReadNumber(token.value);
  if (!number) ThrowSyntax(in_.text(), token.begin, "the number is too large");
  return *number;
}

jet::Value ExpressionParser::DateLiteral(const Token& token) const {
  const std::optional<jet::DateTime> date = jet::ReadDateTime(token.value);
  if (!date) {
    ThrowSyntax(in_.text(), token.begin, "not a date; write #month/day/year hour:minute#");
  }
  return *date;
}

}  // namespace

ExprPtr ReadExpression(TokenReader& in) { return ExpressionParser(in).Expression(); }

}  // namespace sql
