#include "mdbadm/query.h"

#include <fmt/format.h>

#include <algorithm>
#include <iostream>
#include <optional>

#include "mdbadm/console.h"
#include "mdbadm/verbs.h"

namespace mdbadm {
namespace {

using jet::QueryRow;
using sql::QueryKind;

using Settings = std::vector<std::pair<std::string, std::string>>;

std::string TargetOf(const jet::QueryDefinition& definition) {
  const auto kind = std::ranges::find(definition.rows, QueryRow::kKind, &QueryRow::attribute);
  return kind == definition.rows.end() ? std::string() : kind->name1.value_or("");
}

std::string SourcesOf(const jet::QueryDefinition& definition) {
  std::string sources;
  for (const QueryRow& row : definition.rows) {
    if (row.attribute != QueryRow::kSource) continue;
    const std::string name = row.name1 ? *row.name1 : row.name2.value_or("");
    sources += (sources.empty() ? "" : ", ") + name;
  }
  return sources;
}

std::string WouldDo(QueryKind kind, const jet::QueryDefinition& definition) {
  switch (kind) {
    case QueryKind::kMakeTable:
      return "make the table " + TargetOf(definition);
    case QueryKind::kAppend:
      return "add rows to " + TargetOf(definition);
    case QueryKind::kUpdate:
      return "change rows of " + SourcesOf(definition);
    case QueryKind::kDelete:
      return "delete rows of " + SourcesOf(definition);
    case QueryKind::kDataDefinition:
      return "change how tables are made";
    default:
      return "send its text to another program";
  }
}

std::string InOneLine(const std::string& text) {
  std::string line;
  for (const char c : text) {
    const bool blank = c == '\r' || c == '\n' || c == ' ';
    if (!blank) {
      line += c;
    } else if (!line.empty() && line.back() != ' ') {
      line += ' ';
    }
  }
  return line;
}

Settings Split(const std::vector<std::string>& settings) {
  Settings split;
  for (const std::string& setting : settings) {
    // A name in brackets may hold the sign.
    const std::size_t bracket = setting.starts_with('[') ? setting.rfind(']') : 0;
    const std::size_t equals = setting.find('=', bracket == std::string::npos ? 0 : bracket);
    if (equals == std::string::npos || equals == 0) {
      throw UsageError(fmt::format("--set takes NAME=VALUE, not \"{}\"", setting));
    }
    split.emplace_back(setting.substr(0, equals), setting.substr(equals + 1));
  }
  return split;
}

std::string WithType(const sql::ParameterInfo& parameter) {
  if (parameter.type == 0) return parameter.name;
  return fmt::format("{} ({})", parameter.name, sql::TypeOf(parameter));
}

// Nothing at the end of the input.
std::optional<std::string> Ask(const sql::ParameterInfo& parameter) {
  // In one piece: what is typed ahead must not come between.
  std::cerr << WithType(parameter) + ": " << std::flush;
  std::string line;
  if (!std::getline(std::cin, line)) return std::nullopt;
  if (line.ends_with('\r')) line.pop_back();
  return line;
}

jet::Value ValueOf(const std::string& text) {
  return text.empty() ? jet::Value(jet::Null{}) : jet::Value(text);
}

}  // namespace

void RequireSelect(const jet::QueryDefinition& definition) {
  const QueryKind kind = sql::KindOf(definition);
  if (kind == QueryKind::kSelect || kind == QueryKind::kUnion || kind == QueryKind::kCrosstab) {
    return;
  }
  throw sql::Error(sql::ErrorCode::kNotSupported,
                   fmt::format("this query is not run, as it does not only read ({}). It would {}: "
                               "{}",
                               sql::KindName(kind), WouldDo(kind, definition),
                               InOneLine(sql::Format(definition))));
}

std::vector<std::pair<std::string, jet::Value>> GivenValues(
    const std::vector<std::string>& settings) {
  std::vector<std::pair<std::string, jet::Value>> values;
  for (const auto& [name, text] : Split(settings)) values.emplace_back(name, ValueOf(text));
  return values;
}

std::vector<std::pair<std::string, jet::Value>> ParameterValues(
    const std::vector<sql::ParameterInfo>& parameters, const std::vector<std::string>& settings) {
  std::vector<std::pair<std::string, jet::Value>> values;
  const Settings given = Split(settings);
  for (const auto& [name, text] : given) {
    const bool known = std::ranges::any_of(parameters, [&name = name](const auto& parameter) {
      return sql::SameParameter(parameter.name, name);
    });
    if (known) {
      values.emplace_back(name, ValueOf(text));
      continue;
    }
    std::string all;
    for (const sql::ParameterInfo& each : parameters) {
      all += (all.empty() ? "" : ", ") + WithType(each);
    }
    throw UsageError(
        all.empty() ? "--set: the query has no parameters"
                    : fmt::format("--set: the query has no parameter {}; it has {}", name, all));
  }
  std::string missing;
  const bool ask = CanAsk();
  for (const sql::ParameterInfo& parameter : parameters) {
    const bool there = std::ranges::any_of(
        given, [&](const auto& each) { return sql::SameParameter(parameter.name, each.first); });
    if (there) continue;
    if (const auto answer = ask ? Ask(parameter) : std::nullopt) {
      values.emplace_back(parameter.name, ValueOf(*answer));
    } else {
      missing += (missing.empty() ? "" : ", ") + WithType(parameter);
    }
  }
  if (missing.empty()) return values;
  throw sql::Error(sql::ErrorCode::kUnresolved,
                   fmt::format("no value for {}; give it with --set NAME=VALUE (a name that is not "
                               "a column is a parameter)",
                               missing));
}

}  // namespace mdbadm
