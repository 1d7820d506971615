#include "fuzz/random_select.h"

#include <fmt/format.h>

namespace fuzz {
namespace {

class QueryMaker {
 public:
  QueryMaker(const std::vector<QueryTable>& tables, Random& random)
      : random_(random), make_(tables, random) {}

  Question Make() {
    switch (random_.Below(8)) {
      case 0:
      case 1:
        return Groups();
      case 2:
        return Union();
      case 3:
        return Top();
      default:
        return Plain();
    }
  }

 private:
  bool Chance(std::size_t of) { return random_.OneIn(of); }

  // --- sources

  Both Table(Scope& scope) {
    const Source source = make_.NewSource();
    scope.push_back(source);
    if (!Chance(5)) return TableAs(source);
    // A query in its place, with all columns.
    const Source within = {source.table, make_.NewAlias()};
    return Same("(SELECT * FROM {} WHERE {}) AS {}", TableAs(within), make_.Condition({within}, 1),
                Word(source.alias));
  }

  Both Joined(Scope& scope, int depth) {
    if (depth == 0) return Table(scope);
    Scope left, right;
    const bool more = Chance(2);
    const Both a = Joined(left, more ? depth - 1 : 0), b = Joined(right, more ? 0 : depth - 1);
    const std::string text_a = make_.TextColumn(left), text_b = make_.TextColumn(right);
    Both on = text_a.empty() || text_b.empty() || !Chance(4)
                  ? Same("{} = {}", make_.NumberColumn(left), make_.NumberColumn(right))
                  : Same("{} = {}", AsKey(text_a), AsKey(text_b));
    if (Chance(4)) {
      on = Same("{} AND {} {} {}", on, make_.NumberColumn(left), Word(random_.Pick(kComparisons)),
                make_.NumberColumn(right));
    }
    scope = left;
    scope.insert(scope.end(), right.begin(), right.end());
    switch (random_.Below(3)) {
      case 0:
        return Same("({} INNER JOIN {} ON {})", a, b, on);
      case 1:
        return Same("({} LEFT JOIN {} ON {})", a, b, on);
      default:
        return Same("({} RIGHT JOIN {} ON {})", a, b, on);
    }
  }

  Both From(Scope& scope) {
    if (Chance(6)) {
      Scope other;
      const Both a = Table(scope), b = Table(other);
      scope.push_back(other.front());
      return Same("{}, {}", a, b);
    }
    return Joined(scope, static_cast<int>(random_.Below(3)));
  }

  Both Where(const Scope& scope) {
    if (Chance(3)) return {};
    return Same(" WHERE {}", make_.Condition(scope, 2));
  }

  // --- whole queries

  Question Plain() {
    Scope scope;
    const Both from = From(scope);
    const bool distinct = Chance(4);
    Both list = distinct ? make_.NumberColumn(scope) : make_.Id(scope.front());
    for (std::size_t i = random_.Below(3); i > 0; --i) {
      list =
          Same("{}, {}", list, distinct || Chance(2) ? make_.Number(scope, 3) : make_.Text(scope));
    }
    const Both query =
        Same("SELECT {}{} FROM {}{}", Word(distinct ? "DISTINCT " : ""), list, from, Where(scope));
    return {query.ours, query.theirs};
  }

  Both Aggregate(const Scope& scope) {
    if (Chance(6)) return Word("Count(*)");
    return Same("{}({})", Word(random_.Pick(kAggregates)), make_.Number(scope, 1));
  }

  Question Groups() {
    Scope scope;
    const Both from = From(scope), where = Where(scope);
    Both list = Aggregate(scope), keys;
    for (std::size_t i = random_.Below(3); i > 0; --i)
      list = Same("{}, {}", list, Aggregate(scope));
    for (std::size_t i = random_.Below(3); i > 0; --i) {
      const std::string text = Chance(3) ? make_.TextColumn(scope) : "";
      const Both key = !text.empty() ? AsKey(text) : make_.NumberColumn(scope);
      keys = keys.ours.empty() ? Same(" GROUP BY {}", key) : Same("{}, {}", keys, key);
      if (text.empty()) list = Same("{}, {}", list, key);
    }
    Both having;
    if (!keys.ours.empty() && Chance(2)) {
      having = Same(" HAVING {} {} {}", Aggregate(scope), Word(random_.Pick(kComparisons)),
                    make_.Constant());
    }
    const Both query = Same("SELECT {} FROM {}{}{}{}", list, from, where, keys, having);
    return {query.ours, query.theirs};
  }

  // The first rows of an order that leaves no ties, or with all that tie with the last.
  Question Top() {
    Scope scope;
    const Both from = Table(scope), where = Where(scope), id = make_.Id(scope.front());
    const Both key = make_.Number(scope, 1);
    const std::string n = fmt::format("{}", 1 + random_.Below(9)), way = Chance(2) ? " DESC" : "";
    if (Chance(2)) {
      return {fmt::format("SELECT TOP {} {}, {} FROM {}{} ORDER BY {}{}, {}", n, id.ours, key.ours,
                          from.ours, where.ours, key.ours, way, id.ours),
              fmt::format("SELECT {}, {} FROM {}{} ORDER BY 2{}, 1 LIMIT {}", id.theirs, key.theirs,
                          from.theirs, where.theirs, way, n),
              true};
    }
    return {
        fmt::format("SELECT TOP {} {}, {} FROM {}{} ORDER BY {}{}", n, id.ours, key.ours, from.ours,
                    where.ours, key.ours, way),
        fmt::format("SELECT a, b FROM (SELECT a, b, rank() OVER (ORDER BY b{}) AS r FROM (SELECT "
                    "{} AS a, {} AS b FROM {}{})) WHERE r <= {}",
                    way, id.theirs, key.theirs, from.theirs, where.theirs, n)};
  }

  Question Union() {
    Both query;
    const std::size_t width = 1 + random_.Below(2);
    for (std::size_t part = 2 + random_.Below(2); part > 0; --part) {
      Scope scope;
      const Both from = Joined(scope, static_cast<int>(random_.Below(2)));
      Both list = make_.NumberColumn(scope);
      for (std::size_t i = 1; i < width; ++i) list = Same("{}, {}", list, make_.Number(scope, 1));
      const Both select = Same("SELECT {} FROM {}{}", list, from, Where(scope));
      query = query.ours.empty()
                  ? select
                  : Same("{} UNION {}{}", query, Word(Chance(2) ? "ALL " : ""), select);
    }
    return {query.ours, query.theirs};
  }

  Random& random_;
  ExpressionMaker make_;
};

}  // namespace

Question RandomSelect(const std::vector<QueryTable>& tables, Random& random) {
  return QueryMaker(tables, random).Make();
}

}  // namespace fuzz
