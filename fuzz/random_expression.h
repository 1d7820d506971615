// Random values and conditions over tables, in the words of this language and of sqlite3.
// What they mean is the same in both.
#pragma once

#include <fmt/format.h>

#include <string>
#include <type_traits>
#include <vector>

#include "fuzz/random.h"

namespace fuzz {

// A table and those of its columns that queries may name.
struct QueryTable {
  std::string name;
  std::vector<std::string> wholes;  // the first one tells the rows apart
  std::vector<std::string> numbers = {};
  std::vector<std::string> texts = {};  // for sqlite3, NAME_key holds the sort key of NAME
};

// One thing in both languages.
struct Both {
  std::string ours, theirs;
};

// The same words around parts that may differ.
template <class... Parts>
Both Same(fmt::format_string<std::conditional_t<true, const std::string&, Parts>...> words,
          const Parts&... parts) {
  return {fmt::format(words, parts.ours...), fmt::format(words, parts.theirs...)};
}

inline Both Word(const std::string& word) { return {word, word}; }

// A table under a name of its own.
struct Source {
  const QueryTable* table;
  std::string alias;
};
using Scope = std::vector<Source>;

Both TableAs(const Source& source);
// A column of texts, which TextColumn gives without its end: itself, and as what it sorts by.
inline Both AsText(const std::string& column) { return Word(column + "]"); }
inline Both AsKey(const std::string& column) { return {column + "]", column + "_key]"}; }

inline constexpr const char* kComparisons[] = {"=", "<>", "<", "<=", ">", ">="};
inline constexpr const char* kAggregates[] = {"Count", "Sum", "Avg", "Min", "Max"};

// Makes the expressions of one query, of which few hold queries of their own. REQUIRES: a
// table; both outlive it.
class ExpressionMaker {
 public:
  ExpressionMaker(const std::vector<QueryTable>& tables, Random& random)
      : tables_(tables), random_(random) {}

  Source NewSource();
  std::string NewAlias() { return fmt::format("s{}", ++aliases_); }

  // What tells the rows of a source apart.
  Both Id(const Source& source);
  Both NumberColumn(const Scope& scope);
  // For AsText and AsKey; empty if its source has no text.
  std::string TextColumn(const Scope& scope);
  Both Constant();

  // `depth`: how many operations may stand within each other. Values are small, and exact
  // in a double; conditions have three values.
  Both Number(const Scope& scope, int depth);
  Both Text(const Scope& scope);
  Both Condition(const Scope& scope, int depth);

 private:
  static Both Column(const Source& source, const std::string& name);
  Both WholeColumn(const Scope& scope);
  Both Whole(const Scope& scope, int depth);
  Both Logic(const Both& a, const Both& b);
  Scope Inner(const Scope& outer);
  Both Correlated(const Scope& inner);
  Both WithQuery(const Scope& scope, int depth);
  bool Chance(std::size_t of) { return random_.OneIn(of); }

  const std::vector<QueryTable>& tables_;
  Random& random_;
  int subqueries_ = 2, aliases_ = 0;
};

}  // namespace fuzz
