#include "ado/catalog.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "jet/sort/name.h"
#include "sql/sql.h"

namespace ado {
namespace {

using jet::ColumnType;

constexpr std::size_t kDefaultTextChars = 255;
constexpr int adKeyUnique = 3;

struct TypePair {
  DataType ado;
  ColumnType jet;
};

// Used in both directions; of several rows for a type the first is reported.
constexpr TypePair kTypes[] = {
    {adSmallInt, ColumnType::kInteger},  {adInteger, ColumnType::kLong},
    {adSingle, ColumnType::kSingle},     {adDouble, ColumnType::kDouble},
    {adCurrency, ColumnType::kCurrency}, {adDate, ColumnType::kDateTime},
    {adBoolean, ColumnType::kBoolean},   {adUnsignedTinyInt, ColumnType::kByte},
    {adGUID, ColumnType::kGuid},         {adWChar, ColumnType::kText},
    {adNumeric, ColumnType::kNumeric},   {adVarWChar, ColumnType::kText},
    {adLongVarWChar, ColumnType::kMemo}, {adVarBinary, ColumnType::kBinary},
    {adLongVarBinary, ColumnType::kOle}, {adVarBinary, ColumnType::kRaw},
};

ColumnType JetType(const Column& column) {
  const auto* row = std::ranges::find(kTypes, column.type, &TypePair::ado);
  if (row == std::end(kTypes)) throw Error::Standard(kErrInvalidCall);
  return row->jet;
}

DataType AdoType(const jet::ColumnInfo& column) {
  if (column.type == ColumnType::kText) return column.fixed ? adWChar : adVarWChar;
  return std::ranges::find(kTypes, column.type, &TypePair::jet)->ado;
}

bool Required(const Column& column) {
  return (column.attributes & adColNullable) == 0 && column.type != adBoolean;
}

// Text is variable-length and without the compression bit, as the provider
// makes it.
jet::ColumnSpec SpecOf(const Column& column) {
  jet::ColumnSpec spec;
  spec.name = column.name;
  spec.type = JetType(column);
  if (spec.type == ColumnType::kText || spec.type == ColumnType::kBinary) {
    spec.max_size = column.defined_size == 0 ? kDefaultTextChars : column.defined_size;
  }
  spec.required = Required(column);
  return spec;
}

jet::IndexSpec SpecOf(const Key& key) {
  if (key.type != adKeyPrimary && key.type != adKeyUnique) {
    throw Error::Standard(kErrInvalidCall);
  }
  jet::IndexSpec spec;
  spec.primary = key.type == adKeyPrimary;
  spec.unique = true;
  spec.name = key.name.empty() && spec.primary ? "PrimaryKey" : key.name;
  spec.columns = key.columns;
  return spec;
}

// As a new table compares names, before there is a file with an order.
Column* FindColumn(std::vector<Column>& columns, std::string_view name) {
  for (Column& column : columns) {
    if (jet::SameName(jet::kJapanese, column.name, name)) return &column;
  }
  return nullptr;
}

}  // namespace

// Of a new table the columns and keys so far; of a stored one its database.
struct Table::State {
  std::vector<Column> columns;
  std::vector<Key> keys;
  std::shared_ptr<Connection> connection;
  std::string stored_name;

  template <class Body>
  void Change(Body&& body) {
    Translated([&] { body(*connection->database()); });
    connection->environment().Changed(*connection->database());
  }
};

Table::Table() : state_(std::make_shared<State>()) {}

std::vector<Column> Table::Columns() const {
  if (state_->connection == nullptr) return state_->columns;
  return Translated([&] {
    const auto table = state_->connection->database()->OpenTable(state_->stored_name);
    std::vector<Column> columns;
    for (const jet::ColumnInfo& info : table->columns()) {
      Column& column = columns.emplace_back();
      column.name = info.name;
      column.type = AdoType(info);
      if (info.type == ColumnType::kText) column.defined_size = info.max_chars();
      if (info.type == ColumnType::kBinary) column.defined_size = info.size_bytes;
      column.attributes = (info.fixed ? adColFixed : 0) | (info.required ? 0 : adColNullable);
    }
    return columns;
  });
}

void Table::AppendColumn(std::string_view column, DataType type, std::size_t defined_size) {
  const Column added{std::string(column), type, defined_size, 0};
  const jet::ColumnSpec spec = SpecOf(added);
  if (state_->connection == nullptr) {
    if (FindColumn(state_->columns, column) != nullptr) {
      throw Error::Standard(kErrColumnExists, column);
    }
    state_->columns.push_back(added);
    return;
  }
  state_->Change(
      [&](jet::Database& database) { database.AppendColumn(state_->stored_name, spec); });
}

void Table::SetColumnAttributes(std::string_view column, int attributes) {
  if (state_->connection == nullptr) {
    Column* found = FindColumn(state_->columns, column);
    if (found == nullptr) throw Error::Standard(kErrItemNotFound, column);
    found->attributes = attributes;
    return;
  }
  state_->Change([&](jet::Database& database) {
    const auto object = database.Find(state_->stored_name);
    if (!object) throw Error::Standard(kErrNoTable, state_->stored_name);
    const auto table = database.OpenTable(*object);
    const auto ordinal = table->FindColumn(column);
    if (!ordinal) throw Error::Standard(kErrItemNotFound, column);
    const jet::ColumnInfo& info = table->columns()[*ordinal];
    jet::Properties properties = database.LoadProperties(*object);
    if ((attributes & adColNullable) == 0 && info.type != ColumnType::kBoolean) {
      properties.SetBoolean(database.order(), info.name, jet::kRequiredProperty, true);
    } else {
      properties.Remove(database.order(), info.name, jet::kRequiredProperty);
    }
    database.StoreProperties(*object, properties);
  });
}

void Table::AppendKey(const Key& key) {
  const jet::IndexSpec spec = SpecOf(key);
  if (state_->connection == nullptr) {
    state_->keys.push_back(key);
    return;
  }
  state_->Change([&](jet::Database& database) { database.AddIndex(state_->stored_name, spec); });
}

Catalog::Catalog(Environment& environment) : environment_(&environment) {}

void Catalog::SetActiveConnection(std::string_view connection_string) {
  if (connection_string.empty()) throw Error::Standard(kErrNoConnection);
  auto connection = std::make_shared<Connection>(*environment_);
  connection->Open(connection_string);
  connection_ = std::move(connection);
}

jet::Database& Catalog::Bound() {
  if (connection_ == nullptr) throw Error::Standard(kErrNoConnection);
  return *connection_->database();
}

Table Catalog::GetTable(std::string_view name) {
  jet::Database& database = Bound();
  const auto object = Translated([&] { return database.Find(name); });
  if (!object || object->kind == jet::ObjectKind::kQuery) {
    throw Error::Standard(kErrItemNotFound, name);
  }
  Table table;
  table.name = object->name;
  table.state_->stored_name = object->name;
  table.state_->connection = connection_;
  return table;
}

void Catalog::AppendTable(const Table& table) {
  jet::Database& database = Bound();
  Table::State& state = *table.state_;
  if (state.connection != nullptr) throw Error::Standard(kErrObjectExists, table.name);
  jet::TableSpec spec;
  spec.name = table.name;
  for (const Column& column : state.columns) spec.columns.push_back(SpecOf(column));
  for (const Key& key : state.keys) spec.indexes.push_back(SpecOf(key));
  Translated([&] { database.CreateTable(spec); });
  environment_->Changed(database);
  state.connection = connection_;
  state.stored_name = table.name;
}

void Catalog::AppendView(std::string_view name, const Command& command) {
  jet::Database& database = Bound();
  Translated(
      [&] { database.CreateQuery(name, sql::Parse(command.command_text), command.command_text); });
  environment_->Changed(database);
}

namespace {

// The text that the query was given, if it still says what its rows say; other
// programs write the same query in other rows.
std::optional<std::string> VerbatimText(jet::Database& database, const jet::ObjectInfo& query,
                                        const jet::QueryDefinition& stored) {
  const jet::Properties properties = database.LoadProperties(query);
  const auto* verbatim = properties.Find(database.order(), {}, jet::kCommandTextProperty);
  if (verbatim == nullptr) return std::nullopt;
  std::string text = verbatim->Text();
  try {
    if (sql::SameQuery(sql::Parse(text), stored)) return text;
  } catch (const sql::Error&) {
    // No text of ours, or of another version: the rows are what runs.
  }
  return std::nullopt;
}

}  // namespace

std::string QueryText(jet::Database& database, const jet::ObjectInfo& query) {
  const jet::QueryDefinition stored = database.LoadQuery(query);
  const auto verbatim = VerbatimText(database, query, stored);
  return verbatim ? *verbatim : sql::Format(stored);
}

}  // namespace ado
