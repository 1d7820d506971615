#include "mdbadm/dump_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <optional>

#include "jet/base/column_type.h"
#include "jet/sort/name.h"
#include "mdbadm/output.h"
#include "mdbadm/sql_literal.h"

namespace mdbadm {
namespace {

constexpr std::size_t kBufferBytes = 1 << 16;
constexpr std::string_view kReserved = "sqlite_";

std::string Lower(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

// Decimals have no type: sqlite3 would make doubles of those that none holds. Texts
// compare without regard to the case of letters, as far as sqlite3 can.
std::string_view SqlType(jet::ColumnType type) {
  switch (type) {
    case jet::ColumnType::kBoolean:
    case jet::ColumnType::kByte:
    case jet::ColumnType::kInteger:
    case jet::ColumnType::kLong:
      return " INTEGER";
    case jet::ColumnType::kCurrency:
    case jet::ColumnType::kNumeric:
      return "";
    case jet::ColumnType::kSingle:
    case jet::ColumnType::kDouble:
      return " REAL";
    case jet::ColumnType::kDateTime:
      return " TEXT";
    case jet::ColumnType::kText:
    case jet::ColumnType::kMemo:
    case jet::ColumnType::kGuid:
      return " TEXT COLLATE NOCASE";
    default:
      return " BLOB";
  }
}

// A function of the clock, by sqlite3; nothing for another expression.
std::optional<std::string> ClockDefault(const std::string& expression) {
  std::string word = Lower(expression);
  std::erase_if(word, [](char c) { return c == ' ' || c == '='; });
  if (word == "now()") return "(datetime('now','localtime'))";
  if (word == "date()") return "(date('now','localtime')||' 00:00:00')";
  if (word == "time()") return "('1899-12-30 '||time('now','localtime'))";
  return std::nullopt;
}

// Whether an expression is a constant: outside of texts it calls nothing.
bool IsConstant(std::string_view expression) {
  char quote = 0;
  for (const char c : expression) {
    if (quote != 0) {
      if (c == quote) quote = 0;
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else if (c == '(' || c == '[') {
      return false;
    }
  }
  return true;
}

std::string NameList(const std::vector<std::string>& names) {
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "" : ", ") + SqlName(name);
  return list;
}

}  // namespace

std::string DumpName(const std::string& table) {
  return Lower(table).starts_with(kReserved) ? '_' + table : table;
}

std::vector<Relationship> LoadRelationships(jet::Database& database) {
  if (!database.Find("MSysRelationships")) return {};
  const auto table = database.OpenTable("MSysRelationships");
  const std::size_t name = table->OrdinalOf("szRelationship"), from = table->OrdinalOf("szObject"),
                    column = table->OrdinalOf("szColumn"),
                    to = table->OrdinalOf("szReferencedObject"),
                    to_column = table->OrdinalOf("szReferencedColumn"),
                    place = table->OrdinalOf("icolumn"), flags = table->OrdinalOf("grbit");
  // By name, then by the place of the column.
  std::map<std::string, std::map<std::int32_t, std::pair<std::string, std::string>>> columns;
  std::map<std::string, Relationship> found;
  jet::TableScan scan(*table);
  const auto text = [&scan](std::size_t ordinal) {
    std::string out;
    return scan.row().GetText(ordinal, out) ? out : std::string();
  };
  while (scan.Next()) {
    const std::string key = text(name);
    const auto at = jet::ValueOr<std::int32_t>(scan.row().Get(place), 0);
    columns[key][at] = {text(column), text(to_column)};
    found[key] = {
        .name = key,
        .table = text(from),
        .referenced = text(to),
        .columns = {},
        .referenced_columns = {},
        .flags = static_cast<std::uint32_t>(jet::ValueOr<std::int32_t>(scan.row().Get(flags), 0))};
  }
  std::vector<Relationship> relationships;
  for (auto& [key, relationship] : found) {
    for (const auto& [at, pair] : columns[key]) {
      relationship.columns.push_back(pair.first);
      relationship.referenced_columns.push_back(pair.second);
    }
    relationships.push_back(relationship);
  }
  return relationships;
}

void TableDump::Remark(std::string_view what) {
  remarks_ += SqlComment(fmt::format("{}: {}", table_.name(), what));
}

void TableDump::Print(const jet::Properties& properties,
                      const std::vector<Relationship>& relationships) {
  for (const jet::Properties::Group& group : properties.groups()) {
    for (const jet::Property& property : group.values) {
      if (property.name != "ValidationRule" || !jet::IsText(property.type)) continue;
      const std::string of = group.column.empty() ? "" : " of " + group.column;
      Remark(fmt::format("validation rule{} is not checked: {}", of, property.Text()));
    }
  }
  if (table_.columns().empty()) {
    Remark("has no columns, which sqlite3 does not have");
    return mdbadm::Print(remarks_);
  }
  for (const jet::ColumnInfo& column : table_.columns()) {
    if (jet::IsKnownType(column.type)) continue;
    Remark(fmt::format("{} is of {}, which is not read: it is NULL here", column.name,
                       jet::TypeName(column.type)));
  }
  FindRequired();
  PrintDefinition(relationships);
  PrintRows();
  PrintIndexes();
}

// Rows may be older than the rule that a column must have a value.
void TableDump::FindRequired() {
  const std::vector<jet::ColumnInfo>& columns = table_.columns();
  required_.assign(columns.size(), false);
  for (std::size_t i = 0; i < columns.size(); ++i) {
    required_[i] = columns[i].required && jet::IsKnownType(columns[i].type);
  }
  for (const jet::IndexInfo& index : table_.indexes()) {
    for (const jet::IndexInfo::Column& part : index.columns) {
      if ((index.primary || index.required) && part.ordinal) required_[*part.ordinal] = true;
    }
  }
  if (std::find(required_.begin(), required_.end(), true) == required_.end()) return;
  jet::TableScan scan(table_);
  while (scan.Next()) {
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (!required_[i] || columns[i].type == jet::ColumnType::kBoolean) continue;
      if (!scan.row().IsNull(i)) continue;
      required_[i] = false;
      Remark(columns[i].name + " must have a value, but a row has none: NOT NULL is left out");
    }
  }
}

std::string TableDump::Default(std::size_t ordinal) {
  const jet::ColumnInfo& column = table_.columns()[ordinal];
  const std::string& expression = column.default_expression;
  const bool flag = column.type == jet::ColumnType::kBoolean;
  if (expression.empty()) return flag ? " DEFAULT (0)" : "";
  if (const auto clock = ClockDefault(expression)) return " DEFAULT " + *clock;
  if (IsConstant(expression)) {
    try {
      std::string literal;
      AppendSqlValue(literal, table_.DefaultOf(ordinal), column.scale);
      return fmt::format(" DEFAULT ({})", literal);
    } catch (const jet::Error&) {
      // It is reported below as what it is.
    }
  }
  Remark(fmt::format("default of {} has no counterpart: {}", column.name, expression));
  return {};
}

std::string TableDump::Column(std::size_t ordinal) {
  const jet::ColumnInfo& column = table_.columns()[ordinal];
  std::string type = jet::TypeName(column.type);
  if (column.type == jet::ColumnType::kText) type += fmt::format(" {}", column.max_chars());
  if (column.type == jet::ColumnType::kNumeric) {
    type += fmt::format(" {} {}", column.precision, column.scale);
  }
  if (column.auto_number) type += ", counts by itself";
  const bool required = required_[ordinal] || column.type == jet::ColumnType::kBoolean;
  return fmt::format("{}{} /* {} */{}{}", SqlName(column.name), SqlType(column.type), type,
                     required ? " NOT NULL" : "", Default(ordinal));
}

std::string TableDump::ColumnList(const jet::IndexInfo& index, bool with_order) const {
  std::string list;
  for (const jet::IndexInfo::Column& part : index.columns) {
    if (!part.ordinal) continue;
    if (!list.empty()) list += ", ";
    list += SqlName(table_.columns()[*part.ordinal].name);
    if (with_order && part.descending) list += " DESC";
  }
  return list;
}

// sqlite3 follows a relationship only to columns that a unique index holds.
std::string TableDump::ForeignKey(const Relationship& relationship) {
  const jet::SortOrder order = database_.order();
  const auto refuse = [&](std::string_view why) {
    Remark(fmt::format("relationship {} ({}) to {} ({}) is not kept: {}", relationship.name,
                       NameList(relationship.columns), relationship.referenced,
                       NameList(relationship.referenced_columns), why));
    return std::string();
  };
  if ((relationship.flags & Relationship::kNotEnforced) != 0) {
    return refuse("it is not enforced there either");
  }
  const auto parent = std::find_if(tables_.begin(), tables_.end(), [&](const auto& table) {
    return jet::SameName(order, table->name(), relationship.referenced);
  });
  if (parent == tables_.end()) return refuse("that table is not written");
  std::vector<std::string> columns, referenced;
  std::set<std::size_t> key;
  for (std::size_t i = 0; i < relationship.columns.size(); ++i) {
    const auto own = table_.FindColumn(relationship.columns[i]);
    const auto other = (*parent)->FindColumn(relationship.referenced_columns[i]);
    if (!own || !other) return refuse("a column is not there");
    columns.push_back(table_.columns()[*own].name);
    referenced.push_back((*parent)->columns()[*other].name);
    key.insert(*other);
  }
  const std::vector<jet::IndexInfo>& indexes = (*parent)->indexes();
  const bool is_key = std::any_of(indexes.begin(), indexes.end(), [&](const jet::IndexInfo& index) {
    std::set<std::size_t> held;
    for (const jet::IndexInfo::Column& part : index.columns) {
      if (part.ordinal) held.insert(*part.ordinal);
    }
    return (index.unique || index.primary) && held == key;
  });
  if (!is_key) return refuse("no unique index has these columns");
  const bool update = (relationship.flags & Relationship::kCascadeUpdate) != 0;
  const bool remove = (relationship.flags & Relationship::kCascadeDelete) != 0;
  return fmt::format(",\n  CONSTRAINT {} FOREIGN KEY ({}) REFERENCES {} ({}){}{}",
                     SqlName(relationship.name), NameList(columns),
                     SqlName(DumpName((*parent)->name())), NameList(referenced),
                     update ? " ON UPDATE CASCADE" : "", remove ? " ON DELETE CASCADE" : "");
}

void TableDump::PrintDefinition(const std::vector<Relationship>& relationships) {
  std::string body;
  for (std::size_t i = 0; i < table_.columns().size(); ++i) {
    body += (i == 0 ? "\n  " : ",\n  ") + Column(i);
  }
  for (const jet::IndexInfo& index : table_.indexes()) {
    if (index.primary) body += fmt::format(",\n  PRIMARY KEY ({})", ColumnList(index, false));
  }
  for (const Relationship& relationship : relationships) {
    if (jet::SameName(database_.order(), relationship.table, table_.name())) {
      body += ForeignKey(relationship);
    }
  }
  const std::string name = DumpName(table_.name());
  if (name != table_.name())
    Remark("is named " + name + ": sqlite3 keeps the other name to itself");
  mdbadm::Print(fmt::format("{}CREATE TABLE {} ({}\n);\n", remarks_, SqlName(name), body));
}

void TableDump::PrintRows() {
  const std::vector<jet::ColumnInfo>& columns = table_.columns();
  const std::string begin = fmt::format("INSERT INTO {} VALUES(", SqlName(DumpName(table_.name())));
  std::string out, text;
  jet::TableScan scan(table_);
  while (scan.Next()) {
    out += begin;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (i != 0) out += ',';
      const bool is_text = jet::IsText(columns[i].type);
      if (!is_text && jet::IsKnownType(columns[i].type)) {
        AppendSqlValue(out, scan.row().Get(i), columns[i].scale);
      } else if (is_text && scan.row().GetText(i, text)) {
        AppendSqlText(out, text);
      } else {
        out += "NULL";
      }
    }
    out += ");\n";
    if (out.size() < kBufferBytes) continue;
    mdbadm::Print(out);
    out.clear();
  }
  mdbadm::Print(out);
}

// After the rows, which is faster. Relationships have indexes of their own; of those that
// another index serves as well, one is enough.
void TableDump::PrintIndexes() {
  std::set<std::string> served;
  const auto print = [&](const jet::IndexInfo& index) {
    const std::string columns = ColumnList(index, true);
    if (columns.empty() || (!served.insert(columns).second && index.relation)) return;
    if (index.primary) return;
    std::string name = DumpName(table_.name()) + '.' + index.name;
    for (int n = 2; !index_names_.insert(Lower(name)).second; ++n) {
      name = fmt::format("{}.{} {}", DumpName(table_.name()), index.name, n);
    }
    mdbadm::Print(fmt::format("CREATE {}INDEX {} ON {} ({});\n", index.unique ? "UNIQUE " : "",
                              SqlName(name), SqlName(DumpName(table_.name())), columns));
  };
  for (const bool relation : {false, true}) {
    for (const jet::IndexInfo& index : table_.indexes()) {
      if (index.relation == relation) print(index);
    }
  }
}

}  // namespace mdbadm
