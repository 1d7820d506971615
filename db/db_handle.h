// One of the two sessions, through the operations that upgrade steps speak in.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "ado/catalog.h"
#include "ado/recordset.h"

namespace db {

using ado::adBoolean;
using ado::adColNullable;
using ado::adCurrency;
using ado::adDate;
using ado::adDouble;
using ado::adInteger;
using ado::adKeyPrimary;
using ado::adLongVarWChar;
using ado::adSingle;
using ado::adSmallInt;
using ado::adUnsignedTinyInt;
using ado::adVarWChar;
using ado::adWChar;

using Value = ado::Value;
using Table = std::shared_ptr<ado::Table>;
using Catalog = std::shared_ptr<ado::Catalog>;

// What a handle needs of its session.
class Session {
 public:
  virtual ~Session() = default;
  virtual void Open() = 0;
  virtual void Close() = 0;
  virtual ado::Connection& connection() = 0;  // ado::Error 3709 while closed
  virtual const std::string& connection_string() const = 0;
  virtual ado::Environment& environment() = 0;
};

// Every operation raises ado::Error, unless a Tolerant lives: then it keeps the
// error in error(), does nothing and returns an empty value (a null Table or
// Catalog, Null, 0). AtEnd is then true also after a NextRow that failed, and
// where there is nothing to ask, so that loops on it end.
class DbHandle {
 public:
  explicit DbHandle(Session& session) : session_(&session) {}

  // Session.
  void OpenDb();
  void CloseDb();
  void ReopenDb();

  // Schema. A null catalog or table is an error of the call that gets it.
  Catalog BindCatalog();
  Table GetTable(const Catalog& catalog, std::string_view name);
  Table CreateTable(std::string_view name);
  void AppendColumn(const Table& table, std::string_view name, ado::DataType type,
                    std::size_t size);
  void SetColumnAttributes(const Table& table, std::string_view column, int attributes);
  void AppendKey(const Table& table, std::string_view key, int type, std::string_view column);
  void AppendTable(const Catalog& catalog, const Table& table);
  // In ordinal order; stops when `visit` answers false.
  void EachColumn(const Table& table, const std::function<bool(const ado::Column&)>& visit);
  void AddQuery(const Catalog& catalog, std::string_view name, std::string_view text);

  // Rows, on the step's recordset. OpenTable replaces a recordset that was left
  // open (released, not closed).
  void OpenTable(std::string_view name);
  void AddRow();
  void SetField(std::string_view name, const Value& value);
  // Only for a real `const char*`: a plain overload would also accept the literal 0
  // as a null pointer.
  template <class Text>
  requires std::is_same_v<Text, const char*>
  void SetField(std::string_view name, Text text) { SetField(name, Value(std::string(text))); }
  void SaveRow();
  Value GetField(std::string_view name);
  void NextRow();
  void FirstRow();
  void LastRow();
  bool AtEnd();
  std::int32_t RowCount();
  void CloseTable();
  // Lets go of the recordset without Close: a pending row is dropped.
  void ReleaseTable();

  // The error that a tolerated operation met; a later success does not clear it.
  const std::optional<ado::Error>& error() const { return error_; }
  void ClearError() { error_.reset(); }

 private:
  friend class Tolerant;
  template <class Body>
  auto Guard(Body&& body) -> decltype(body());
  ado::Recordset& Rows();

  Session* session_;
  std::unique_ptr<ado::Recordset> recordset_;  // Tenkai_RS, and that of the Data steps
  std::optional<ado::Error> error_;
  bool next_failed_ = false;
  int tolerant_ = 0;
};

// The error-tolerant mode of a handle. Starts with a clear error state; the end
// clears it and goes back to raising.
class Tolerant {
 public:
  explicit Tolerant(DbHandle& db);
  ~Tolerant();
  Tolerant(const Tolerant&) = delete;
  Tolerant& operator=(const Tolerant&) = delete;

 private:
  DbHandle* db_;
};

}  // namespace db
