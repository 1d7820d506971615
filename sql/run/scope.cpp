#include "sql/run/scope.h"

#include <fmt/format.h>

#include <algorithm>

#include "jet/sort/name.h"
#include "sql/error.h"

namespace sql {

std::string ColumnText(const Expr& column) {
  return column.qualifier.empty() ? column.name
                                  : fmt::format("{}.{}", column.qualifier, column.name);
}

void Scope::Add(const std::string& name, const std::vector<SourceColumn>& columns) {
  if (sources_.size() == kMaxSources) throw Error(ErrorCode::kNotSupported, "too many sources");
  if (TrySource(name)) {
    throw Error(ErrorCode::kUnresolved, fmt::format("two sources are called {}", name)).Of(name);
  }
  Entry entry{name, jet::NameKey(order_, name), columns, {}, std::vector<bool>(columns.size())};
  for (const SourceColumn& column : columns) {
    entry.keys.push_back(jet::NameKey(order_, column.name));
  }
  sources_.push_back(std::move(entry));
}

std::optional<std::size_t> Scope::TrySource(std::string_view name) const {
  const std::string key = jet::NameKey(order_, name);
  const auto found = std::find_if(sources_.begin(), sources_.end(),
                                  [&](const Entry& each) { return each.key == key; });
  if (found == sources_.end()) return std::nullopt;
  return static_cast<std::size_t>(found - sources_.begin());
}

std::size_t Scope::FindSource(std::string_view name) const {
  if (const auto source = TrySource(name)) return *source;
  throw Error(ErrorCode::kUnresolved, fmt::format("{} is not a source of the query", name))
      .Of(name);
}

std::optional<std::size_t> Scope::ColumnOf(const Entry& entry, std::string_view key) const {
  const auto found = std::find(entry.keys.begin(), entry.keys.end(), key);
  if (found == entry.keys.end()) return std::nullopt;
  return static_cast<std::size_t>(found - entry.keys.begin());
}

std::optional<ColumnRef> Scope::Qualified(std::string_view qualifier, std::string_view name) const {
  const auto source = TrySource(qualifier);
  const auto ordinal =
      source ? ColumnOf(sources_[*source], jet::NameKey(order_, name)) : std::nullopt;
  if (!ordinal) return std::nullopt;
  return ColumnRef{*source, *ordinal};
}

std::optional<ColumnRef> Scope::Unqualified(std::string_view name) const {
  const std::string key = jet::NameKey(order_, name);
  std::optional<ColumnRef> found;
  for (std::size_t i = 0; i < sources_.size(); ++i) {
    const auto ordinal = ColumnOf(sources_[i], key);
    if (!ordinal) continue;
    if (found) {
      throw Error(ErrorCode::kUnresolved,
                  fmt::format("{} is a column of {} and of {}", name, sources_[found->source].name,
                              sources_[i].name));
    }
    found = ColumnRef{i, *ordinal};
  }
  return found;
}

std::optional<ColumnRef> Scope::TryColumn(const Expr& column) const {
  if (!column.qualifier.empty()) return Qualified(column.qualifier, column.name);
  std::optional<ColumnRef> found = Unqualified(column.name);
  const std::string_view name = column.name;
  for (std::size_t dot = name.find('.'); !found && dot != name.npos;
       dot = name.find('.', dot + 1)) {
    found = Qualified(name.substr(0, dot), name.substr(dot + 1));
  }
  return found;
}

SourceSet Scope::CandidatesOf(const Expr& column) const {
  SourceSet sources;
  if (!column.qualifier.empty()) {
    if (const auto source = TrySource(column.qualifier)) sources.set(*source);
    return sources;
  }
  const std::string key = jet::NameKey(order_, column.name);
  for (std::size_t i = 0; i < sources_.size(); ++i) {
    if (ColumnOf(sources_[i], key)) sources.set(i);
  }
  if (column.name.find('.') != column.name.npos) {
    for (std::size_t i = 0; i < sources_.size(); ++i) sources.set(i);
  }
  return sources;
}

ColumnRef Scope::FindColumn(const Expr& column) const {
  if (const auto ref = TryColumn(column)) return *ref;
  if (!column.qualifier.empty()) FindSource(column.qualifier);
  throw Error(ErrorCode::kUnresolved, fmt::format("there is no column {}", ColumnText(column)))
      .Of(ColumnText(column));
}

}  // namespace sql
