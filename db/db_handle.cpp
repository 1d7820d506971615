#include "db/db_handle.h"

#include <type_traits>
#include <utility>

namespace db {
namespace {

// What a step got from a tolerated call that failed is nothing to work with.
template <class Object>
Object& Require(const std::shared_ptr<Object>& object) {
  if (object == nullptr) throw ado::Error::Standard(ado::kErrInvalidCall);
  return *object;
}

}  // namespace

template <class Body>
auto DbHandle::Guard(Body&& body) -> decltype(body()) {
  if (tolerant_ == 0) return body();
  try {
    return body();
  } catch (const ado::Error& error) {
    error_ = error;
  }
  if constexpr (!std::is_void_v<decltype(body())>) return {};
}

ado::Recordset& DbHandle::Rows() {
  if (recordset_ == nullptr) throw ado::Error::Standard(ado::kErrClosed);
  return *recordset_;
}

void DbHandle::OpenDb() {
  Guard([&] { session_->Open(); });
}

void DbHandle::CloseDb() {
  Guard([&] { session_->Close(); });
}

void DbHandle::ReopenDb() {
  CloseDb();
  OpenDb();
}

Catalog DbHandle::BindCatalog() {
  return Guard([&] {
    auto catalog = std::make_shared<ado::Catalog>(session_->environment());
    catalog->SetActiveConnection(session_->connection_string());
    return catalog;
  });
}

Table DbHandle::GetTable(const Catalog& catalog, std::string_view name) {
  return Guard([&] { return std::make_shared<ado::Table>(Require(catalog).GetTable(name)); });
}

Table DbHandle::CreateTable(std::string_view name) {
  return Guard([&] {
    auto table = std::make_shared<ado::Table>();
    table->name = name;
    return table;
  });
}

void DbHandle::AppendColumn(const Table& table, std::string_view name, ado::DataType type,
                            std::size_t size) {
  Guard([&] { Require(table).AppendColumn(name, type, size); });
}

void DbHandle::SetColumnAttributes(const Table& table, std::string_view column, int attributes) {
  Guard([&] { Require(table).SetColumnAttributes(column, attributes); });
}

void DbHandle::AppendKey(const Table& table, std::string_view key, int type,
                         std::string_view column) {
  Guard([&] { Require(table).AppendKey({std::string(key), type, {std::string(column)}}); });
}

void DbHandle::AppendTable(const Catalog& catalog, const Table& table) {
  Guard([&] { Require(catalog).AppendTable(Require(table)); });
}

void DbHandle::EachColumn(const Table& table,
                          const std::function<bool(const ado::Column&)>& visit) {
  const auto columns = Guard([&] { return Require(table).Columns(); });
  for (const ado::Column& column : columns) {
    if (!visit(column)) return;
  }
}

void DbHandle::AddQuery(const Catalog& catalog, std::string_view name, std::string_view text) {
  Guard([&] { Require(catalog).AppendView(name, {std::string(text)}); });
}

void DbHandle::OpenTable(std::string_view name) {
  next_failed_ = false;
  Guard([&] {
    recordset_ = std::make_unique<ado::Recordset>();
    recordset_->Open(name, session_->connection(), ado::adOpenKeyset, ado::adLockOptimistic,
                     ado::adCmdTable);
  });
}

void DbHandle::AddRow() {
  Guard([&] { Rows().AddNew(); });
}

void DbHandle::SetField(std::string_view name, const Value& value) {
  Guard([&] { Rows().Set(name, value); });
}

void DbHandle::SaveRow() {
  Guard([&] { Rows().Update(); });
}

Value DbHandle::GetField(std::string_view name) {
  return Guard([&] { return Rows().Get(name); });
}

void DbHandle::NextRow() {
  next_failed_ = true;
  Guard([&] {
    Rows().MoveNext();
    next_failed_ = false;
  });
}

void DbHandle::FirstRow() {
  Guard([&] {
    Rows().MoveFirst();
    next_failed_ = false;
  });
}

void DbHandle::LastRow() {
  Guard([&] {
    Rows().MoveLast();
    next_failed_ = false;
  });
}

bool DbHandle::AtEnd() {
  if (tolerant_ != 0 && next_failed_) return true;
  bool at_end = true;  // what cannot be asked ends a loop
  Guard([&] { at_end = Rows().eof(); });
  return at_end;
}

std::int32_t DbHandle::RowCount() {
  return Guard([&] { return Rows().RecordCount(); });
}

void DbHandle::CloseTable() {
  Guard([&] { Rows().Close(); });
  recordset_.reset();  // where a tolerated Close failed, too
}

void DbHandle::ReleaseTable() { recordset_.reset(); }

Tolerant::Tolerant(DbHandle& db) : db_(&db) {
  db_->ClearError();
  ++db_->tolerant_;
}

Tolerant::~Tolerant() {
  --db_->tolerant_;
  db_->ClearError();
}

}  // namespace db
