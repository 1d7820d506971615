// Functions of a query that sqlite3 has as well, or that a few words of it say.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>

#include "jet/base/ascii.h"
#include "mdbadm/view_expression.h"

namespace mdbadm {
namespace {

using sql::Expr;

// Parts of a date: the function, the interval of DatePart, what strftime calls it.
struct DatePart {
  std::string_view function, interval, format;
};
constexpr std::array<DatePart, 7> kDateParts = {{{"Year", "yyyy", "%Y"},
                                                 {"Month", "m", "%m"},
                                                 {"Day", "d", "%d"},
                                                 {"Hour", "h", "%H"},
                                                 {"Minute", "n", "%M"},
                                                 {"Second", "s", "%S"},
                                                 {"", "y", "%j"}}};

bool Is(const Expr& call, std::string_view name) {
  return jet::EqualsAsciiCase(call.name, name) ||
         jet::EqualsAsciiCase(call.name, fmt::format("{}$", name));
}

void Need(const Expr& call, bool there) {
  if (!there) throw NoCounterpart("function " + call.name);
}

// A count or place that stands there as a number, as sqlite3 takes others than we.
std::int32_t Count(const Expr& call, std::size_t at, std::int32_t least) {
  Need(call, at < call.args.size());
  const Expr& bare = Bare(*call.args[at]);
  const auto* number = std::get_if<std::int32_t>(&bare.value);
  Need(call, bare.kind == Expr::Kind::kLiteral && number != nullptr && *number >= least);
  return *number;
}

}  // namespace

Piece ViewExpressions::Call(const Expr& expr) {
  const std::size_t count = expr.args.size();
  if (IsGroup(expr.name)) return Group(expr);
  if (Is(expr, "IIf") && count == 3) {
    const std::string condition = Truth(*expr.args[0]);
    Piece yes = Value(*expr.args[1]), no = Value(*expr.args[2]);
    const ViewKind kind = MakeAlike({&yes, &no});
    return {fmt::format("CASE WHEN {} THEN {} ELSE {} END", condition, yes.text, no.text), kind};
  }
  if (Is(expr, "IsNull") && count == 1) {
    return {fmt::format("({} IS NULL)", Value(*expr.args[0]).text), ViewKind::kFlag};
  }
  if (Is(expr, "Nz") && count == 2) {
    Piece value = Value(*expr.args[0]), otherwise = Value(*expr.args[1]);
    const ViewKind kind = MakeAlike({&value, &otherwise});
    return {fmt::format("ifnull({}, {})", value.text, otherwise.text), kind};
  }
  Need(expr, count > 0);
  const bool of_date = Is(expr, "DatePart") || Is(expr, "Weekday") ||
                       std::any_of(kDateParts.begin(), kDateParts.end(),
                                   [&](const DatePart& part) { return Is(expr, part.function); });
  if (of_date) return DateCall(expr);
  for (const std::string_view each : {"Abs", "Int", "Fix", "Sgn", "CCur"}) {
    if (Is(expr, each)) return NumberCall(expr);
  }
  return TextCall(expr);
}

// Currency is exact here; sums of it are rounded to what that holds.
Piece ViewExpressions::Group(const Expr& expr) {
  Need(expr, expr.args.size() == 1);
  const std::string name = jet::AsciiLower(expr.name);
  if (expr.args[0]->kind == Expr::Kind::kStar) return {"count(*)", ViewKind::kWhole};
  if (name == "count") {
    return {fmt::format("count({})", Value(*expr.args[0]).text), ViewKind::kWhole};
  }
  if (name == "min" || name == "max") {
    Piece piece = Key(*expr.args[0]);
    if (piece.kind == ViewKind::kFlag) piece = Number(*expr.args[0]);
    Need(expr, piece.kind != ViewKind::kGuid && piece.kind != ViewKind::kBytes);
    return {fmt::format("{}({})", name, piece.text), piece.kind};
  }
  const Piece piece = Number(*expr.args[0]);
  const std::string group = fmt::format("{}({})", name, piece.text);
  if (piece.kind == ViewKind::kMoney) return {fmt::format("round({}, 4)", group), piece.kind};
  return {group, ViewKind::kReal};
}

Piece ViewExpressions::DateCall(const Expr& expr) {
  const auto whole = [&](std::string_view format, const Expr& date) {
    return fmt::format("CAST(strftime('{}', {}) AS INTEGER)", format,
                       Of(date, ViewKind::kDate).text);
  };
  std::string interval;
  if (Is(expr, "Weekday")) {
    interval = "w";
  } else if (Is(expr, "DatePart")) {
    const auto* text = std::get_if<std::string>(&Bare(*expr.args[0]).value);
    Need(expr, expr.args.size() == 2 && text != nullptr);
    interval = jet::AsciiLower(*text);
  }
  Need(expr, expr.args.size() == (Is(expr, "DatePart") ? 2U : 1U));
  const Expr& date = *expr.args.back();
  if (interval == "w") return {"(" + whole("%w", date) + " + 1)", ViewKind::kWhole};
  if (interval == "q") return {"((" + whole("%m", date) + " + 2) / 3)", ViewKind::kWhole};
  for (const DatePart& part : kDateParts) {
    const bool same = interval.empty() ? Is(expr, part.function) : part.interval == interval;
    if (same) return {whole(part.format, date), ViewKind::kWhole};
  }
  throw NoCounterpart("function " + expr.name);
}

Piece ViewExpressions::NumberCall(const Expr& expr) {
  Need(expr, expr.args.size() == 1);
  Piece x = Number(*expr.args[0]);
  if (Is(expr, "Sgn")) {
    return {fmt::format("(({0} > 0) - ({0} < 0))", x.text), ViewKind::kWhole};
  }
  if (Is(expr, "Abs")) return {fmt::format("abs({})", x.text), x.kind};
  if (Is(expr, "CCur")) {
    Need(expr, x.kind != ViewKind::kReal);  // halves are rounded in another way
    return {x.text, ViewKind::kMoney};
  }
  if (x.kind == ViewKind::kWhole) return x;
  const std::string cut = fmt::format("CAST({} AS INTEGER)", x.text);
  if (Is(expr, "Fix")) return {cut, x.kind};
  return {fmt::format("({0} - ({1} < {0}))", cut, x.text), x.kind};
}

// Places and lengths count characters there and UTF-16 units here: the same but beyond the
// first 65536 characters. Letters beyond ASCII have no case there.
Piece ViewExpressions::TextCall(const Expr& expr) {
  Need(expr, expr.args.size() <= 3);
  static constexpr std::array<std::array<std::string_view, 2>, 6> kSame = {{{"Len", "length"},
                                                                            {"Trim", "trim"},
                                                                            {"LTrim", "ltrim"},
                                                                            {"RTrim", "rtrim"},
                                                                            {"UCase", "upper"},
                                                                            {"LCase", "lower"}}};
  for (const auto& [ours, theirs] : kSame) {
    if (!Is(expr, ours) || expr.args.size() != 1) continue;
    return {fmt::format("{}({})", theirs, Of(*expr.args[0], ViewKind::kText).text),
            ours == "Len" ? ViewKind::kWhole : ViewKind::kText};
  }
  const auto text = [&] { return Of(*expr.args[0], ViewKind::kText).text; };
  if (Is(expr, "Left") && expr.args.size() == 2) {
    return {fmt::format("substr({}, 1, {})", text(), Count(expr, 1, 0)), ViewKind::kText};
  }
  if (Is(expr, "Right") && expr.args.size() == 2) {
    const std::int32_t count = Count(expr, 1, 0);
    return {count == 0 ? fmt::format("substr({}, 1, 0)", text())
                       : fmt::format("substr({}, -{})", text(), count),
            ViewKind::kText};
  }
  if (Is(expr, "Mid") && expr.args.size() == 2) {
    return {fmt::format("substr({}, {})", text(), Count(expr, 1, 1)), ViewKind::kText};
  }
  if (Is(expr, "Mid") && expr.args.size() == 3) {
    return {fmt::format("substr({}, {}, {})", text(), Count(expr, 1, 1), Count(expr, 2, 0)),
            ViewKind::kText};
  }
  throw NoCounterpart("function " + expr.name);
}

}  // namespace mdbadm
