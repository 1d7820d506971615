// Expressions, from the loosest operator to the tightest:
//   IMP, EQV, XOR, OR, AND, NOT, comparisons, &, + -, MOD, \, * /, unary -, ^

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <cmath>

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

// What stands between two # signs: a date, a time of day, or both. Month first,
// unless the year comes first; the locale plays no part.
class DateReader {
 public:
  explicit DateReader(std::string_view text) : text_(text) {}

  std::optional<jet::DateTime> Read() {
    int first = 0;
    if (!Number(first)) return std::nullopt;
    if (Sign(':')) {
      if (!Time(first)) return std::nullopt;
    } else {
      if (!Date(first)) return std::nullopt;
      SkipBlanks();
      int hour = 0;
      if (at_ < text_.size() && !(Number(hour) && Sign(':') && Time(hour))) return std::nullopt;
    }
    SkipBlanks();
    if (at_ != text_.size() || !Valid()) return std::nullopt;
    return jet::ToDateTime(civil_);
  }

 private:
  void SkipBlanks() {
    while (at_ < text_.size() && text_[at_] == ' ') ++at_;
  }
  bool Number(int& out) {
    SkipBlanks();
    const char* begin = text_.data() + at_;
    const auto [end, error] = std::from_chars(begin, text_.data() + text_.size(), out);
    if (error != std::errc() || *begin == '-') return false;
    at_ += static_cast<std::size_t>(end - begin);
    return true;
  }
  bool Sign(char sign) {
    SkipBlanks();
    if (at_ >= text_.size() || text_[at_] != sign) return false;
    ++at_;
    return true;
  }
  bool Date(int first) {
    const char sign = at_ < text_.size() && text_[at_] == '-' ? '-' : '/';
    int second = 0, third = 0;
    if (!Sign(sign) || !Number(second) || !Sign(sign) || !Number(third)) return false;
    const bool year_first = first > 31;
    civil_.year = year_first ? first : third;
    civil_.month = year_first ? second : first;
    civil_.day = year_first ? third : second;
    if (civil_.year < 30) civil_.year += 2000;
    if (civil_.year < 100) civil_.year += 1900;
    return true;
  }
  bool Time(int hour) {
    civil_.hour = hour;
    if (!Number(civil_.minute)) return false;
    if (Sign(':') && !Number(civil_.second)) return false;
    SkipBlanks();
    const std::string_view half = text_.substr(at_, 2);
    const bool afternoon = EqualsAsciiCase(half, "PM");
    if (afternoon || EqualsAsciiCase(half, "AM")) {
      at_ += 2;
      if (hour < 1 || hour > 12) return false;
      civil_.hour = hour % 12 + (afternoon ? 12 : 0);
    }
    return true;
  }
  bool Valid() const {
    if (civil_.year < 100 || civil_.year > 9999 || civil_.month < 1 || civil_.month > 12 ||
        civil_.hour > 23 || civil_.minute > 59 || civil_.second > 59) {
      return false;
    }
    constexpr std::array<int, 12> kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const int year = civil_.year;
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    const int days =
        kDays[static_cast<std::size_t>(civil_.month - 1)] + (leap && civil_.month == 2 ? 1 : 0);
    return civil_.day >= 1 && civil_.day <= days;
  }

  std::string_view text_;
  std::size_t at_ = 0;
  jet::CivilTime civil_;
};

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

// Three names and more are no column of a table: a field of a form, which nobody
// here knows. Written in one way, however it was spelled.
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
  double number = 0;
  const auto [rest, error] = std::from_chars(begin, end, number);
  if (error != std::errc() || rest != end) ThrowSyntax(text_, token.begin, "not a number");
  return number;
}

jet::Value Parser::DateLiteral(const Token& token) const {
  const std::optional<jet::DateTime> date = DateReader(token.value).Read();
  if (!date) ThrowSyntax(text_, token.begin, "not a date; write #month/day/year hour:minute#");
  return *date;
}

}  // namespace sql
