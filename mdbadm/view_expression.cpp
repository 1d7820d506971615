#include "mdbadm/view_expression.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "jet/base/ascii.h"
#include "mdbadm/sql_literal.h"

namespace mdbadm {
namespace {

using ExprKind = sql::Expr::Kind;
using sql::Operator;

std::string_view SignOf(Operator op) {
  switch (op) {
    case Operator::kEqual:
      return "=";
    case Operator::kNotEqual:
      return "<>";
    case Operator::kLess:
      return "<";
    case Operator::kLessEqual:
      return "<=";
    case Operator::kGreater:
      return ">";
    default:
      return ">=";
  }
}

Piece Flag(std::string text) { return {std::move(text), ViewKind::kFlag}; }

ViewKind KindOfLiteral(const jet::Value& value) {
  if (std::holds_alternative<bool>(value)) return ViewKind::kFlag;
  if (std::holds_alternative<jet::Currency>(value)) return ViewKind::kMoney;
  if (std::holds_alternative<float>(value) || std::holds_alternative<jet::Numeric>(value) ||
      std::holds_alternative<double>(value)) {
    return ViewKind::kReal;
  }
  if (std::holds_alternative<jet::DateTime>(value)) return ViewKind::kDate;
  if (std::holds_alternative<std::string>(value)) return ViewKind::kText;
  return jet::IsNull(value) ? ViewKind::kNull : ViewKind::kWhole;
}

void FlattenJoined(const sql::Expr& expr, std::vector<const sql::Expr*>& parts) {
  const sql::Expr& bare = Bare(expr);
  if (bare.kind != ExprKind::kBinary || bare.op != Operator::kConcatenate) {
    parts.push_back(&bare);
    return;
  }
  for (const sql::ExprPtr& each : bare.args) FlattenJoined(*each, parts);
}

}  // namespace

Piece AsNumber(Piece piece) {
  if (piece.kind != ViewKind::kFlag) return piece;
  return {"(-" + piece.text + ")", ViewKind::kWhole};
}

ViewKind MakeAlike(std::vector<Piece*> pieces) {
  std::erase_if(pieces, [](const Piece* each) { return each->kind == ViewKind::kNull; });
  if (pieces.empty()) return ViewKind::kNull;
  const ViewKind first = pieces[0]->kind;
  if (std::all_of(pieces.begin(), pieces.end(), [&](auto* each) { return each->kind == first; })) {
    return first;
  }
  ViewKind common = ViewKind::kWhole;
  for (Piece* each : pieces) {
    *each = AsNumber(*each);
    if (!IsNumber(each->kind)) throw NoCounterpart("values of several types in one place");
    if (common != ViewKind::kReal && each->kind != ViewKind::kWhole) common = each->kind;
  }
  return common;
}

Piece ViewExpressions::Value(const sql::Expr& expr) {
  switch (expr.kind) {
    case ExprKind::kParen:
      return Value(*expr.args[0]);
    case ExprKind::kLiteral: {
      Piece piece{{}, KindOfLiteral(expr.value)};
      AppendSqlValue(piece.text, expr.value);
      return piece;
    }
    case ExprKind::kColumn:
      return Column(expr);
    case ExprKind::kNot:
      return Flag("(NOT " + Truth(*expr.args[0]) + ")");
    case ExprKind::kNegate: {
      const Piece operand = Number(*expr.args[0]);
      return {"(- " + operand.text + ")", operand.kind};
    }
    case ExprKind::kBinary:
      return Binary(expr);
    case ExprKind::kIsNull:
      return Flag(
          fmt::format("({} IS {}NULL)", Value(*expr.args[0]).text, expr.negated ? "NOT " : ""));
    case ExprKind::kLike:
      return Like(expr);
    case ExprKind::kBetween:
      return Between(expr);
    case ExprKind::kIn:
      return In(expr);
    case ExprKind::kCall:
      return Call(expr);
    case ExprKind::kExists: {
      const sql::Expr& query = expr.query ? expr : *expr.args.back();
      return Flag(fmt::format("EXISTS ({})", subquery_(*query.query, scope_).text));
    }
    case ExprKind::kSubquery: {
      // Of several rows, which are an error here, sqlite3 takes the first.
      const bool one = expr.query->group_by.empty() && !expr.query->outputs.empty() &&
                       !expr.query->outputs[0].star &&
                       IsGrouped(*expr.query->outputs[0].expression.tree);
      if (!one) throw NoCounterpart("a query as a value that may have several rows");
      Piece query = subquery_(*expr.query, scope_);
      return {"(" + query.text + ")", query.kind};
    }
    case ExprKind::kAny:
    case ExprKind::kAll:
      throw NoCounterpart("ANY and ALL");
    case ExprKind::kParameter:
      throw NoCounterpart("parameter " + expr.name);
    case ExprKind::kStar:
      break;
  }
  throw NoCounterpart("*");
}

std::string ViewExpressions::Truth(const sql::Expr& expr) {
  const Piece piece = Value(expr);
  if (piece.kind == ViewKind::kFlag || piece.kind == ViewKind::kNull) return piece.text;
  if (IsNumber(piece.kind)) return "(" + piece.text + " <> 0)";
  throw NoCounterpart("a condition that is not one");
}

Piece ViewExpressions::Key(const sql::Expr& expr) {
  Piece piece = Value(expr);
  if (piece.kind == ViewKind::kText) piece.text += " COLLATE NOCASE";
  return piece;
}

bool ViewExpressions::IsGroup(std::string_view function) {
  constexpr std::array<std::string_view, 5> kGroups = {"Count", "Sum", "Min", "Max", "Avg"};
  return std::ranges::any_of(
      kGroups, [&](std::string_view each) { return jet::EqualsAsciiCase(each, function); });
}

bool ViewExpressions::IsGrouped(const sql::Expr& expr) {
  if (expr.kind == ExprKind::kCall && IsGroup(expr.name)) return true;
  return std::any_of(expr.args.begin(), expr.args.end(),
                     [](const sql::ExprPtr& arg) { return IsGrouped(*arg); });
}

Piece ViewExpressions::Column(const sql::Expr& expr) {
  if (auto found = scope_.OwnColumn(expr)) return *found;
  for (const sql::OutputItem& each : select_.outputs) {
    const bool same = !each.star && each.alias && expr.qualifier.empty() &&
                      jet::SameName(scope_.order(), *each.alias, expr.name);
    if (!same || std::ranges::count(expanding_, &each) != 0) continue;
    expanding_.push_back(&each);
    Piece piece = Value(*each.expression.tree);
    expanding_.pop_back();
    return piece;
  }
  if (auto found = scope_.Column(expr)) return *found;
  throw NoCounterpart("name " + expr.name);
}

Piece ViewExpressions::Number(const sql::Expr& expr) {
  Piece piece = AsNumber(Value(expr));
  if (!IsNumber(piece.kind) && piece.kind != ViewKind::kNull) {
    throw NoCounterpart("what it computes from " + piece.text);
  }
  return piece;
}

Piece ViewExpressions::Of(const sql::Expr& expr, ViewKind kind) {
  Piece piece = Value(expr);
  if (piece.kind != kind && piece.kind != ViewKind::kNull) {
    throw NoCounterpart("what it computes from " + piece.text);
  }
  return piece;
}

Piece ViewExpressions::Binary(const sql::Expr& expr) {
  const auto truths = [&](std::string_view format) {
    const std::string left = Truth(*expr.args[0]), right = Truth(*expr.args[1]);
    return Flag(fmt::format(fmt::runtime(format), left, right));
  };
  switch (expr.op) {
    case Operator::kAnd:
      return truths("({} AND {})");
    case Operator::kOr:
      return truths("({} OR {})");
    case Operator::kXor:
      return truths("({} <> {})");
    case Operator::kEqv:
      return truths("({} = {})");
    case Operator::kImp:
      return truths("(NOT {} OR {})");
    case Operator::kConcatenate:
      return Concatenation(expr);
    case Operator::kEqual:
    case Operator::kNotEqual:
    case Operator::kLess:
    case Operator::kLessEqual:
    case Operator::kGreater:
    case Operator::kGreaterEqual:
      return Comparison(SignOf(expr.op), Value(*expr.args[0]), Value(*expr.args[1]),
                        expr.op != Operator::kEqual && expr.op != Operator::kNotEqual);
    default:
      return Arithmetic(expr);
  }
}

Piece ViewExpressions::Comparison(std::string_view sign, Piece left, Piece right, bool order) {
  const ViewKind kind = MakeAlike({&left, &right});
  if (order && kind == ViewKind::kFlag) {
    left = AsNumber(left);
    right = AsNumber(right);
  }
  if (kind == ViewKind::kBytes || (order && kind == ViewKind::kGuid)) {
    throw NoCounterpart("a comparison of bytes");
  }
  return Flag(fmt::format("({}{} {} {})", left.text,
                          kind == ViewKind::kText ? " COLLATE NOCASE" : "", sign, right.text));
}

Piece ViewExpressions::Arithmetic(const sql::Expr& expr) {
  if (expr.op == Operator::kAdd) {
    const Piece left = Value(*expr.args[0]), right = Value(*expr.args[1]);
    if (left.kind == ViewKind::kText && right.kind == ViewKind::kText) {
      return {fmt::format("({} || {})", left.text, right.text), ViewKind::kText};
    }
  }
  const Piece left = Number(*expr.args[0]), right = Number(*expr.args[1]);
  const bool whole = left.kind == ViewKind::kWhole && right.kind == ViewKind::kWhole;
  const bool real = left.kind == ViewKind::kReal || right.kind == ViewKind::kReal;
  const auto both = [&](std::string_view sign) {
    return fmt::format("({} {} {})", left.text, sign, right.text);
  };
  const auto exact = [&](std::string_view sign) -> Piece {
    if (whole || real) return {both(sign), whole ? ViewKind::kWhole : ViewKind::kReal};
    return {fmt::format("round({} {} {}, 4)", left.text, sign, right.text), ViewKind::kMoney};
  };
  switch (expr.op) {
    case Operator::kAdd:
      return exact("+");
    case Operator::kSubtract:
      return exact("-");
    case Operator::kMultiply:
      return exact("*");
    case Operator::kDivide:
      return {fmt::format("(CAST({} AS REAL) / {})", left.text, right.text), ViewKind::kReal};
    case Operator::kPower:
      return {fmt::format("pow({}, {})", left.text, right.text), ViewKind::kReal};
    default:
      // Both round their operands, each in its way.
      if (!whole) throw NoCounterpart("\\ and Mod of what is not whole");
      return {both(expr.op == Operator::kModulo ? "%" : "/"), ViewKind::kWhole};
  }
}

// Null only where all parts are.
Piece ViewExpressions::Concatenation(const sql::Expr& expr) {
  std::vector<const sql::Expr*> parts;
  FlattenJoined(expr, parts);
  std::string joined, all;
  bool is_null = true;
  for (const sql::Expr* part : parts) {
    const Piece piece = Value(*part);
    if (piece.kind != ViewKind::kText && piece.kind != ViewKind::kWhole &&
        piece.kind != ViewKind::kNull) {
      throw NoCounterpart("the text of " + piece.text);
    }
    const bool literal = part->kind == ExprKind::kLiteral && piece.kind != ViewKind::kNull;
    if (literal) is_null = false;
    const std::string text =
        piece.kind == ViewKind::kWhole ? fmt::format("CAST({} AS TEXT)", piece.text) : piece.text;
    joined += (joined.empty() ? "" : " || ") + (literal ? text : "ifnull(" + text + ", '')");
    all += (all.empty() ? "" : ", ") + text;
  }
  if (is_null) joined = fmt::format("CASE WHEN coalesce({}) IS NOT NULL THEN {} END", all, joined);
  return {"(" + joined + ")", ViewKind::kText};
}

// Only where both dialects mean the same.
Piece ViewExpressions::Like(const sql::Expr& expr) {
  const sql::Expr& pattern = Bare(*expr.args[1]);
  const auto* text = std::get_if<std::string>(&pattern.value);
  if (pattern.kind != ExprKind::kLiteral || text == nullptr) {
    throw NoCounterpart("a pattern that is not a text");
  }
  const bool ansi = ansi_ || expr.ansi;
  if (text->find_first_of(ansi ? "[" : "%_#[") != std::string::npos) {
    throw NoCounterpart("pattern " + *text);
  }
  std::string like = *text;
  if (!ansi) {
    std::replace(like.begin(), like.end(), '*', '%');
    std::replace(like.begin(), like.end(), '?', '_');
  }
  std::string literal;
  AppendSqlText(literal, like);
  return Flag(fmt::format("({} {}LIKE {})", Of(*expr.args[0], ViewKind::kText).text,
                          expr.negated ? "NOT " : "", literal));
}

// The bounds come in either order.
Piece ViewExpressions::Between(const sql::Expr& expr) {
  Piece value = Value(*expr.args[0]), low = Value(*expr.args[1]), high = Value(*expr.args[2]);
  const ViewKind kind = MakeAlike({&value, &low, &high});
  if (!IsNumber(kind) && kind != ViewKind::kText && kind != ViewKind::kDate) {
    throw NoCounterpart("Between of " + value.text);
  }
  const std::string_view collate = kind == ViewKind::kText ? " COLLATE NOCASE" : "";
  return Flag(fmt::format("({0}{3} {4}BETWEEN min({1}{3}, {2}) AND max({1}{3}, {2}))", value.text,
                          low.text, high.text, collate, expr.negated ? "NOT " : ""));
}

Piece ViewExpressions::In(const sql::Expr& expr) {
  std::vector<Piece> pieces{Value(*expr.args[0])};
  const bool asks = expr.args[1]->query != nullptr;
  if (asks) {
    pieces.push_back(subquery_(*expr.args[1]->query, scope_));
    if (pieces[0].kind == ViewKind::kFlag || pieces[1].kind == ViewKind::kFlag) {
      throw NoCounterpart("IN of " + pieces[0].text);
    }
  } else {
    for (std::size_t i = 1; i < expr.args.size(); ++i) pieces.push_back(Value(*expr.args[i]));
  }
  std::vector<Piece*> all;
  for (Piece& each : pieces) all.push_back(&each);
  const ViewKind kind = MakeAlike(all);
  if (kind == ViewKind::kBytes) throw NoCounterpart("a comparison of bytes");
  std::string list;
  for (std::size_t i = 1; i < pieces.size(); ++i) list += (i == 1 ? "" : ", ") + pieces[i].text;
  return Flag(fmt::format("({}{} {}IN ({}))", pieces[0].text,
                          kind == ViewKind::kText ? " COLLATE NOCASE" : "",
                          expr.negated ? "NOT " : "", list));
}

}  // namespace mdbadm
