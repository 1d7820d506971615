#include "ado/recordset.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "ado/error.h"
#include "ado/field_default.h"
#include "ado/row_source.h"
#include "jet/sort/name.h"

namespace ado {
namespace {

constexpr int adLockPessimistic = 2;

// A text of one word is the name of a table or query, any other is SQL.
bool LooksLikeSql(std::string_view text) {
  return text.find_first_of(" \t\r\n;") != std::string_view::npos;
}

}  // namespace

Recordset::Recordset() = default;

Recordset::~Recordset() {
  if (is_open()) connection_->Leave(*this);
}

void Recordset::Open(std::string_view source, Connection& connection, int cursor_type,
                     int lock_type, int options) {
  if (is_open()) throw Error::Standard(kErrOpen);
  if (!connection.is_open()) throw Error::Standard(kErrNoConnection);
  const bool locks = lock_type == adLockPessimistic || lock_type == adLockOptimistic;
  if (cursor_type < adOpenUnspecified || cursor_type > 3 ||
      (!locks && lock_type != adLockUnspecified && lock_type != adLockReadOnly) ||
      (options != adCmdUnspecified && options != adCmdText && options != adCmdTable)) {
    throw Error::Standard(kErrInvalidCall);
  }
  jet::Database& database = *connection.database();
  const auto object =
      Translated([&] { return options == adCmdText ? std::nullopt : database.Find(source); });
  const bool is_query = object && object->kind == jet::ObjectKind::kQuery;
  const auto open = [&]() -> std::unique_ptr<RowSource> {
    std::unique_ptr<RowSource> rows;
    if (is_query) {
      rows = MakeQueryRows(database, database.LoadQuery(*object), false);
    } else if (object) {
      rows = MakeTableRows(database.OpenTable(*object));
    } else if (options == adCmdText || (options != adCmdTable && LooksLikeSql(source))) {
      rows = MakeQueryRows(database, sql::Parse(source), locks);
    } else {
      throw Error::Standard(kErrNoTable, source);
    }
    rows->MoveFirst();
    read_only_ = !locks || rows->table() == nullptr ||
                 (object && object->kind == jet::ObjectKind::kSystemTable);
    return rows;
  };
  rows_ = Translated(open, is_query ? std::string_view(object->name) : std::string_view());
  connection.Enter(*this);
  connection_ = &connection;
}

void Recordset::Close() {
  RequireOpen();
  if (adding_ || !changes_.empty()) throw Error::Standard(kErrPendingEdit);
  connection_->Leave(*this);
  Forget();
}

void Recordset::Forget() {
  connection_ = nullptr;
  rows_.reset();
  DropPending();
}

bool Recordset::eof() const {
  RequireOpen();
  return !adding_ && rows_->at_end();
}

void Recordset::MoveFirst() {
  RequireOpen();
  SavePending();
  Translated([&] { rows_->MoveFirst(); });
  if (rows_->at_end()) throw Error::Standard(kErrNoCurrentRow);
}

void Recordset::MoveLast() {
  RequireOpen();
  SavePending();
  Translated([&] { rows_->MoveLast(); });
  if (rows_->at_end()) throw Error::Standard(kErrNoCurrentRow);
}

void Recordset::MoveNext() {
  RequireOpen();
  SavePending();
  if (rows_->at_end()) throw Error::Standard(kErrNoCurrentRow);
  Translated([&] { rows_->MoveNext(); });
}

std::int32_t Recordset::RecordCount() {
  RequireOpen();
  constexpr std::uint64_t most = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::min(Translated([&] { return rows_->Count(); }), most));
}

std::size_t Recordset::field_count() const {
  RequireOpen();
  return rows_->names().size();
}

std::string Recordset::field_name(std::size_t index) const {
  RequireOpen();
  if (index >= rows_->names().size()) throw Error::Standard(kErrItemNotFound);
  return rows_->names()[index];
}

Value Recordset::Get(std::string_view field) {
  RequireOpen();
  return Get(FieldOf(field));
}

Value Recordset::Get(std::size_t index) {
  RequireOpen();
  if (index >= rows_->names().size()) throw Error::Standard(kErrItemNotFound);
  RequireRow();
  const std::size_t ordinal = rows_->OrdinalOf(index);
  if (const Value* pending = PendingValue(ordinal)) {
    return HandedOver(*rows_->table(), ordinal, *pending);
  }
  if (adding_) {
    const jet::Table& table = *rows_->table();
    return Translated([&] {
      return HandedOver(
          table, ordinal,
          DefaultOf(*connection_->database(), table, ordinal, connection_->environment().now()));
    });
  }
  std::optional<Value> value = Translated([&] { return rows_->Get(index); });
  if (!value) throw Error::Standard(kErrNoCurrentRow);
  return *std::move(value);
}

void Recordset::Set(std::string_view field, const Value& value) {
  RequireOpen();
  const std::size_t index = FieldOf(field);
  if (read_only_) throw Error::Standard(kErrReadOnly);
  RequireRow();
  const std::size_t ordinal = rows_->OrdinalOf(index);
  Value converted = Translated([&] {
    const auto& columns = rows_->table()->columns();
    if (ordinal >= columns.size()) throw Error::Standard(kErrItemNotFound, field);
    return ConvertTo(columns[ordinal], value);
  });
  const auto pending = std::ranges::find(changes_, ordinal, &jet::FieldChange::ordinal);
  if (pending != changes_.end()) {
    pending->value = std::move(converted);
  } else {
    changes_.push_back({ordinal, std::move(converted)});
  }
}

void Recordset::AddNew() {
  RequireOpen();
  if (read_only_) throw Error::Standard(kErrReadOnly);
  SavePending();
  adding_ = true;
}

void Recordset::Update() {
  RequireOpen();
  SavePending();
}

void Recordset::SavePending() {
  const bool adding = std::exchange(adding_, false);
  if (!adding && changes_.empty()) return;
  jet::Database& database = *connection_->database();
  try {
    jet::RowId row;
    Translated([&] {
      jet::Table& table = *rows_->table();
      if (adding) {
        row = table.Insert(NewRow(database, table, changes_, connection_->environment().now()));
      } else {
        table.Update(rows_->row(), changes_);
      }
    });
    connection_->environment().Changed(database);
    if (adding) rows_->StandOnAdded(row);
  } catch (...) {
    DropPending();
    throw;
  }
  DropPending();
}

void Recordset::DropPending() {
  adding_ = false;
  changes_.clear();
}

const Value* Recordset::PendingValue(std::size_t ordinal) const {
  const auto change = std::ranges::find(changes_, ordinal, &jet::FieldChange::ordinal);
  return change == changes_.end() ? nullptr : &change->value;
}

void Recordset::RequireOpen() const {
  if (!is_open()) throw Error::Standard(kErrClosed);
}

void Recordset::RequireRow() const {
  if (!adding_ && rows_->at_end()) throw Error::Standard(kErrNoCurrentRow);
}

std::size_t Recordset::FieldOf(std::string_view name) const {
  const std::vector<std::string>& names = rows_->names();
  if (const auto exact = std::ranges::find(names, name); exact != names.end()) {
    return static_cast<std::size_t>(exact - names.begin());
  }
  const jet::SortOrder order = connection_->database()->order();
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (jet::SameName(order, names[i], name)) return i;
  }
  throw Error::Standard(kErrItemNotFound, name);
}

}  // namespace ado
