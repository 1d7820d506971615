// The names of a query: its sources, and their columns.
#pragma once

#include <bitset>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sql/run/source.h"
#include "sql/text/select_ast.h"

namespace sql {

inline constexpr std::size_t kMaxSources = 255;
using SourceSet = std::bitset<kMaxSources>;

struct ColumnRef {
  std::size_t source = 0, ordinal = 0;
  friend bool operator==(const ColumnRef&, const ColumnRef&) = default;
};

// The sources of one query under the names that its expressions use.
class Scope {
 public:
  explicit Scope(jet::SortOrder order) : order_(order) {}

  // kUnresolved if the name is taken.
  void Add(const std::string& name, const std::vector<SourceColumn>& columns);

  std::size_t size() const { return sources_.size(); }
  const std::string& name(std::size_t source) const { return sources_[source].name; }
  const SourceColumn& column(ColumnRef ref) const {
    return sources_[ref.source].columns[ref.ordinal];
  }
  std::size_t column_count(std::size_t source) const { return sources_[source].columns.size(); }
  // Which columns anything has referred to.
  const std::vector<bool>& used(std::size_t source) const { return sources_[source].used; }
  void Use(ColumnRef ref) { sources_[ref.source].used[ref.ordinal] = true; }

  // kUnresolved: none of that name, or several.
  std::size_t FindSource(std::string_view name) const;
  // Also [source.column] in one pair of brackets.
  ColumnRef FindColumn(const Expr& column) const;
  std::optional<ColumnRef> TryColumn(const Expr& column) const;
  // Of which sources a column may be, for one that is not resolved here.
  SourceSet CandidatesOf(const Expr& column) const;
  std::optional<std::size_t> TrySource(std::string_view name) const;

 private:
  struct Entry {
    std::string name, key;
    std::vector<SourceColumn> columns;
    std::vector<std::string> keys;
    std::vector<bool> used;
  };
  std::optional<ColumnRef> Qualified(std::string_view qualifier, std::string_view name) const;
  std::optional<ColumnRef> Unqualified(std::string_view name) const;
  std::optional<std::size_t> ColumnOf(const Entry& entry, std::string_view key) const;

  jet::SortOrder order_;
  std::vector<Entry> sources_;
};

// The name as a text has it.
std::string ColumnText(const Expr& column);

}  // namespace sql
