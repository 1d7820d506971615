#include "fuzz/random_expression.h"

#include <iterator>
#include <utility>

namespace fuzz {

Both TableAs(const Source& source) {
  return Word(fmt::format("[{}] AS {}", source.table->name, source.alias));
}

// ---- columns and constants

Both ExpressionMaker::Column(const Source& source, const std::string& name) {
  return Word(fmt::format("{}.[{}]", source.alias, name));
}

Both ExpressionMaker::Id(const Source& source) {
  return Column(source, source.table->wholes.front());
}

Both ExpressionMaker::WholeColumn(const Scope& scope) {
  const Source& source = random_.Pick(scope);
  return Column(source, random_.Pick(source.table->wholes));
}

Both ExpressionMaker::NumberColumn(const Scope& scope) {
  const Source& source = random_.Pick(scope);
  if (source.table->numbers.empty() || Chance(3)) return WholeColumn({source});
  return Column(source, random_.Pick(source.table->numbers));
}

std::string ExpressionMaker::TextColumn(const Scope& scope) {
  const Source& source = random_.Pick(scope);
  if (source.table->texts.empty()) return {};
  return fmt::format("{}.[{}", source.alias, random_.Pick(source.table->texts));
}

Both ExpressionMaker::Constant() {
  if (Chance(2)) return Word(fmt::format("{}", random_.Below(12)));
  return Word(fmt::format("{:.2f}", static_cast<double>(random_.Below(80)) / 4));
}

// ---- values; all are small, and exact in a double

Both ExpressionMaker::Whole(const Scope& scope, int depth) {
  if (depth > 0 && Chance(3)) {
    const Both a = Whole(scope, depth - 1), n = Word(fmt::format("{}", 1 + random_.Below(7)));
    switch (random_.Below(3)) {
      case 0:
        return {fmt::format("({} \\ {})", a.ours, n.ours),
                fmt::format("({} / {})", a.theirs, n.theirs)};
      case 1:
        return {fmt::format("({} Mod {})", a.ours, n.ours),
                fmt::format("({} % {})", a.theirs, n.theirs)};
      default:
        return Same("({} + {})", a, n);
    }
  }
  if (Chance(6)) {
    if (const std::string text = TextColumn(scope); !text.empty()) {
      const Both t = AsText(text);
      return {fmt::format("Len({})", t.ours), fmt::format("length({})", t.theirs)};
    }
  }
  return WholeColumn(scope);
}

Both ExpressionMaker::Number(const Scope& scope, int depth) {
  if (depth <= 0) return Chance(4) ? Constant() : NumberColumn(scope);
  switch (random_.Below(14)) {
    case 0:
      return Same("({} + {})", Number(scope, depth - 1), Number(scope, depth - 1));
    case 1:
      return Same("({} - {})", Number(scope, depth - 1), Number(scope, depth - 1));
    case 2:
      return Same("({} * {})", Number(scope, depth - 1), Word(fmt::format("{}", random_.Below(5))));
    case 3: {
      const Both a = Number(scope, depth - 1);
      const int by = 1 << (1 + random_.Below(3));
      return {fmt::format("({} / {})", a.ours, by), fmt::format("({} / {}.0)", a.theirs, by)};
    }
    case 4:
      return Same("(-{})", Number(scope, depth - 1));
    case 5: {
      const Both when = Condition(scope, depth - 1), yes = Number(scope, depth - 1),
                 no = Number(scope, depth - 1);
      return {fmt::format("IIf({}, {}, {})", when.ours, yes.ours, no.ours),
              fmt::format("iif({}, {}, {})", when.theirs, yes.theirs, no.theirs)};
    }
    case 6: {
      const Both a = Number(scope, depth - 1), b = Constant();
      return {fmt::format("Nz({}, {})", a.ours, b.ours),
              fmt::format("coalesce({}, {})", a.theirs, b.theirs)};
    }
    case 7: {
      static constexpr std::pair<const char*, const char*> kNames[] = {
          {"Abs", "abs"}, {"Int", "floor"}, {"Fix", "trunc"}, {"Sgn", "sign"}};
      const auto& [ours, theirs] = random_.Pick(kNames);
      const Both a = Number(scope, depth - 1);
      return {fmt::format("{}({})", ours, a.ours), fmt::format("{}({})", theirs, a.theirs)};
    }
    case 8: {
      const Both c1 = Condition(scope, depth - 1), v1 = Number(scope, depth - 1),
                 c2 = Condition(scope, 0), v2 = Constant();
      return {fmt::format("Switch({}, {}, {}, {})", c1.ours, v1.ours, c2.ours, v2.ours),
              fmt::format("CASE WHEN {} THEN {} WHEN {} THEN {} END", c1.theirs, v1.theirs,
                          c2.theirs, v2.theirs)};
    }
    case 9: {
      if (subqueries_ == 0) return NumberColumn(scope);
      --subqueries_;
      const Scope inner = Inner(scope);
      return Same("(SELECT {}({}) FROM {} WHERE {})", Word(random_.Pick(kAggregates)),
                  NumberColumn({inner.back()}), TableAs(inner.back()), Correlated(inner));
    }
    case 10:
      return Whole(scope, depth - 1);
    default:
      return NumberColumn(scope);
  }
}

Both ExpressionMaker::Text(const Scope& scope) {
  const std::string column = TextColumn(scope);
  if (column.empty()) return Word("'none'");
  Both t = AsText(column);
  const std::size_t n = 1 + random_.Below(3);
  switch (random_.Below(5)) {
    case 0:
      return {fmt::format("Left({}, {})", t.ours, n), fmt::format("substr({},1,{})", t.theirs, n)};
    case 1:
      return {fmt::format("Mid({}, {}, 2)", t.ours, n),
              fmt::format("substr({},{},2)", t.theirs, n)};
    case 2:
      return {fmt::format("Right({}, {})", t.ours, n),
              fmt::format("iif(length({0}) <= {1}, {0}, substr({0}, -{1}))", t.theirs, n)};
    case 3: {
      const Both other = WholeColumn(scope);
      return {fmt::format("({} & {})", t.ours, other.ours),
              fmt::format("iif({0} IS NULL AND {1} IS NULL, NULL, coalesce({0},'') || "
                          "coalesce({1},''))",
                          t.theirs, other.theirs)};
    }
    default:
      return t;
  }
}

// ---- conditions, of three values

Both ExpressionMaker::Condition(const Scope& scope, int depth) {
  if (depth > 0) {
    switch (random_.Below(12)) {
      case 0:
        return Same("({} And {})", Condition(scope, depth - 1), Condition(scope, depth - 1));
      case 1:
        return Same("({} Or {})", Condition(scope, depth - 1), Condition(scope, depth - 1));
      case 2:
        return Same("(Not {})", Condition(scope, depth - 1));
      case 3:
        return Logic(Condition(scope, depth - 1), Condition(scope, depth - 1));
      case 4:
      case 5:
        if (subqueries_ > 0) return WithQuery(scope, depth);
        break;
      default:
        break;
    }
  }
  switch (random_.Below(7)) {
    case 0:
      return Same("({} IS {})", NumberColumn(scope), Word(Chance(2) ? "NULL" : "NOT NULL"));
    case 1: {
      const Both x = Number(scope, depth - 1), a = Number(scope, 0), b = Number(scope, 0);
      const char* const no = Chance(3) ? "NOT " : "";
      return {fmt::format("({} {}BETWEEN {} AND {})", x.ours, no, a.ours, b.ours),
              fmt::format("({0} {1}BETWEEN min({2},{3}) AND max({2},{3}))", x.theirs, no, a.theirs,
                          b.theirs)};
    }
    case 2: {
      Both list = Constant();
      for (std::size_t i = random_.Below(4); i > 0; --i) list = Same("{}, {}", list, Constant());
      if (Chance(6)) list = Same("{}, NULL", list);
      return Same("({} {}IN ({}))", Number(scope, depth - 1), Word(Chance(3) ? "NOT " : ""), list);
    }
    case 3: {
      const std::string a = TextColumn(scope), b = TextColumn(scope);
      if (a.empty() || b.empty()) break;
      return Same("({} {} {})", AsKey(a), Word(random_.Pick(kComparisons)), AsKey(b));
    }
    case 4: {
      const std::string a = TextColumn(scope);
      if (a.empty()) break;
      return Same("({} IS {})", AsText(a), Word(Chance(2) ? "NULL" : "NOT NULL"));
    }
    default:
      break;
  }
  return Same("({} {} {})", Number(scope, depth - 1), Word(random_.Pick(kComparisons)),
              Chance(2) ? Constant() : Number(scope, depth - 1));
}

Both ExpressionMaker::Logic(const Both& a, const Both& b) {
  switch (random_.Below(3)) {
    case 0:
      return {fmt::format("({} Xor {})", a.ours, b.ours),
              fmt::format("(({}) <> ({}))", a.theirs, b.theirs)};
    case 1:
      return {fmt::format("({} Eqv {})", a.ours, b.ours),
              fmt::format("(({}) = ({}))", a.theirs, b.theirs)};
    default:
      return {fmt::format("({} Imp {})", a.ours, b.ours),
              fmt::format("(NOT ({}) OR ({}))", a.theirs, b.theirs)};
  }
}

// ---- queries in expressions

Scope ExpressionMaker::Inner(const Scope& outer) {
  Scope inner = outer;
  inner.push_back(NewSource());
  return inner;
}

Source ExpressionMaker::NewSource() { return {&random_.Pick(tables_), NewAlias()}; }

// Of the inner source, and often of one around it.
Both ExpressionMaker::Correlated(const Scope& inner) {
  Both own = Condition({inner.back()}, 0);
  if (Chance(3)) return own;
  const Scope around(inner.begin(), inner.end() - 1);
  const Both link = Same("{} {} {}", NumberColumn({inner.back()}),
                         Word(Chance(2) ? "=" : random_.Pick(kComparisons)), NumberColumn(around));
  return Chance(2) ? link : Same("{} AND {}", link, own);
}

Both ExpressionMaker::WithQuery(const Scope& scope, int depth) {
  --subqueries_;
  const Scope inner = Inner(scope);
  const Both from = TableAs(inner.back()), where = Correlated(inner);
  const Both value = Number(scope, depth - 1), found = NumberColumn({inner.back()});
  const std::string no = Chance(3) ? "NOT " : "";
  switch (random_.Below(4)) {
    case 0:
      return Same("({}EXISTS (SELECT * FROM {} WHERE {}))", Word(no), from, where);
    case 1: {
      const bool any = Chance(2);
      const std::string compare = random_.Pick(kComparisons);
      // `any` is true for one that is, `all` false for one that is not; else a Null
      // among the comparisons makes Null.
      return {fmt::format("({} {} {} (SELECT {} FROM {} WHERE {}))", value.ours, compare,
                          any ? "ANY" : "ALL", found.ours, from.ours, where.ours),
              fmt::format("(CASE WHEN EXISTS (SELECT 1 FROM {0} WHERE ({1}) AND {2}({3} {4} {5})) "
                          "THEN {6} WHEN EXISTS (SELECT 1 FROM {0} WHERE ({1}) AND ({3} {4} {5}) "
                          "IS NULL) THEN NULL ELSE {7} END)",
                          from.theirs, where.theirs, any ? "" : "NOT ", value.theirs, compare,
                          found.theirs, any ? 1 : 0, any ? 0 : 1)};
    }
    default:
      return Same("({} {}IN (SELECT {} FROM {} WHERE {}))", value, Word(no), found, from, where);
  }
}

}  // namespace fuzz
