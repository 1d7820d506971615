// Expressions, from the loosest operator to the tightest:
//   IMP, EQV, XOR, OR, AND, NOT, comparisons, &, + -, MOD, \, * /, unary -, ^

#include <fmt/format.h>

#include <array>
#include <charconv>

#include "jet/date_time.h"
#include "jet/number.h"
#include "sql/parser.h"

namespace sql {
namespace {

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

}  // namespace

ExprPtr Parser::Finish(Expr expr, std::size_t begin) const {
  expr.begin = begin;
  expr.end = LastEnd();
  for (const ExprPtr& arg : expr.args) expr.depth = std::max(expr.depth, arg->depth + 1);
  if (expr.depth > kMaxTreeDepth) ThrowSyntax(text_, begin, "nested too deeply");
  return std::make_shared<const Expr>(std::move(expr));
}

ExprPtr Parser::Binary(Operator op, ExprPtr left, ExprPtr right) const {
  const std::size_t begin = left->begin;
  Expr expr{.kind = Expr::Kind::kBinary, .op = op};
  expr.args = {std::move(left), std::move(right)};
  return Finish(std::move(expr), begin);
}

ExprPtr Parser::Logical(std::size_t level) {
  if (level == kLogical.size()) return Not();
  ExprPtr left = Logical(level + 1);
  while (TakeKeyword(kLogical[level].words[0])) {
    left = Binary(kLogical[level].operators[0], std::move(left), Logical(level + 1));
  }
  return left;
}

ExprPtr Parser::Not() {
  const std::size_t begin = Now().begin;
  if (!TakeKeyword("NOT")) return Comparison();
  const DepthGuard guard(*this);
  Expr expr{.kind = Expr::Kind::kNot};
  expr.args = {Not()};
  return Finish(std::move(expr), begin);
}

ExprPtr Parser::Comparison() {
  ExprPtr left = Arithmetic(0);
  for (;;) {
    const auto sign =
        std::find_if(kComparisons.begin(), kComparisons.end(),
                     [this](const ComparisonSign& each) { return Now().Is(each.sign); });
    if (sign != kComparisons.end()) {
      Take();
      left = Binary(sign->op, std::move(left), Arithmetic(0));
      continue;
    }
    const bool negated = Now().IsKeyword("NOT");
    const Token& word = Ahead(negated ? 1 : 0);
    if (word.IsKeyword("LIKE") || word.IsKeyword("BETWEEN") || word.IsKeyword("IN")) {
      if (negated) Take();
      left = ComparisonTail(std::move(left), negated);
    } else if (!negated && word.IsKeyword("IS")) {
      left = ComparisonTail(std::move(left), false);
    } else {
      return left;
    }
  }
}

ExprPtr Parser::ComparisonTail(ExprPtr left, bool negated) {
  const std::size_t begin = left->begin;
  Expr expr;
  expr.negated = negated;
  expr.args = {std::move(left)};
  if (TakeKeyword("IS")) {
    expr.kind = Expr::Kind::kIsNull;
    expr.negated = TakeKeyword("NOT");
    ExpectKeyword("NULL");
  } else if (TakeKeyword("LIKE")) {
    expr.kind = Expr::Kind::kLike;
    expr.args.push_back(Arithmetic(0));
  } else if (TakeKeyword("BETWEEN")) {
    expr.kind = Expr::Kind::kBetween;
    expr.args.push_back(Arithmetic(0));
    ExpectKeyword("AND");
    expr.args.push_back(Arithmetic(0));
  } else {
    ExpectKeyword("IN");
    expr.kind = Expr::Kind::kIn;
    const std::size_t list = Now().begin;
    Expect("(");
    if (Now().IsKeyword("SELECT")) {
      expr.args.push_back(SkipSubquery(list));
      return Finish(std::move(expr), begin);
    }
    do {
      expr.args.push_back(Expression());
    } while (TakeIf(","));
    Expect(")");
  }
  return Finish(std::move(expr), begin);
}

ExprPtr Parser::Arithmetic(std::size_t level) {
  if (level == kArithmetic.size()) return Unary();
  const Level& signs = kArithmetic[level];
  ExprPtr left = Arithmetic(level + 1);
  for (;;) {
    std::size_t i = 0;
    while (i < 2 && (signs.words[i].empty() ||
                     !(Now().Is(signs.words[i]) || Now().IsKeyword(signs.words[i])))) {
      ++i;
    }
    if (i == 2) return left;
    Take();
    left = Binary(signs.operators[i], std::move(left), Arithmetic(level + 1));
  }
}

ExprPtr Parser::Unary() {
  const std::size_t begin = Now().begin;
  const bool negate = Now().Is("-");
  if (!negate && !Now().Is("+")) return Power();
  const DepthGuard guard(*this);
  Take();
  Expr expr{.kind = negate ? Expr::Kind::kNegate : Expr::Kind::kParen};
  expr.args = {Unary()};
  return Finish(std::move(expr), begin);
}

ExprPtr Parser::Power() {
  ExprPtr left = Primary();
  while (TakeIf("^")) {
    ExprPtr right = Now().Is("-") || Now().Is("+") ? Unary() : Primary();
    left = Binary(Operator::kPower, std::move(left), std::move(right));
  }
  return left;
}

ExprPtr Parser::LiteralAt(jet::Value value, std::size_t begin) {
  Take();
  Expr expr;
  expr.value = std::move(value);
  return Finish(std::move(expr), begin);
}

ExprPtr Parser::Primary() {
  const DepthGuard guard(*this);
  const Token& token = Now();
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
      if (const auto constant = ConstantOf(token.value); constant && !NameGoesOn(1)) {
        return LiteralAt(*constant, token.begin);
      }
      if (token.IsKeyword("EXISTS")) {
        Take();
        Expect("(");
        return SkipSubquery(token.begin);
      }
      // LEFT and RIGHT are functions, too.
      if (IsReserved(token.value) &&
          !((token.IsKeyword("LEFT") || token.IsKeyword("RIGHT")) && Ahead(1).Is("("))) {
        Fail("an expression");
      }
      return NameOrCall();
    default:
      if (token.Is("(")) return Parenthesised();
      if (token.Is("?")) {
        Take();
        return Finish(Expr{.kind = Expr::Kind::kParameter, .name = "?"}, token.begin);
      }
      Fail("an expression");
  }
}

ExprPtr Parser::Parenthesised() {
  const std::size_t begin = Now().begin;
  Expect("(");
  if (Now().IsKeyword("SELECT")) return SkipSubquery(begin);
  Expr expr{.kind = Expr::Kind::kParen};
  expr.args = {Expression()};
  Expect(")");
  return Finish(std::move(expr), begin);
}

// The SELECT is read so that its faults are found, and only its text is kept.
ExprPtr Parser::SkipSubquery(std::size_t begin) {
  if (!Now().IsKeyword("SELECT")) Fail("SELECT");
  SelectBody();
  Expect(")");
  return Finish(Expr{.kind = Expr::Kind::kSubquery}, begin);
}

ExprPtr Parser::NameOrCall() {
  const Token& first = Take();
  Expr expr{.kind = Expr::Kind::kColumn, .name = first.value};
  if (TakeIf("(")) {
    expr.kind = Expr::Kind::kCall;
    const std::size_t star = Now().begin;
    if (TakeIf("*")) {
      expr.args.push_back(Finish(Expr{.kind = Expr::Kind::kStar}, star));
    } else if (!Now().Is(")")) {
      do {
        expr.args.push_back(Expression());
      } while (TakeIf(","));
    }
    Expect(")");
  } else if (TakeIf(".") || TakeIf("!")) {
    expr.qualifier = std::move(expr.name);
    expr.name = ExpectName("a column name");
    if (NameGoesOn(0)) {
      expr = {.kind = Expr::Kind::kParameter,
              .name = RestOfPath(fmt::format("[{}]!", expr.qualifier), std::move(expr.name))};
    }
  }
  return Finish(std::move(expr), first.begin);
}

bool Parser::NameGoesOn(std::size_t ahead) const {
  return Ahead(ahead).Is(".") || Ahead(ahead).Is("!");
}

// Three names and more are not a column of a table but a field of a form, which is not
// known here. Written in one way, however it was spelled.
std::string Parser::RestOfPath(std::string begin, std::string name) {
  while (NameGoesOn(0)) {
    begin += fmt::format("[{}]!", name);
    Take();
    name = ExpectName("a name");
  }
  return begin + fmt::format("[{}]", name);
}

jet::Value Parser::NumberLiteral(const Token& token) const {
  const char* begin = token.value.data();
  const char* end = begin + token.value.size();
  std::int32_t whole = 0;
  if (const auto [rest, error] = std::from_chars(begin, end, whole);
      error == std::errc() && rest == end) {
    return whole;
  }
  const auto number = jet::ReadNumber(token.value);
  if (!number) ThrowSyntax(text_, token.begin, "the number is too large");
  return *number;
}

jet::Value Parser::DateLiteral(const Token& token) const {
  const std::optional<jet::DateTime> date = jet::ReadDateTime(token.value);
  if (!date) ThrowSyntax(text_, token.begin, "not a date; write #month/day/year hour:minute#");
  return *date;
}

}  // namespace sql
