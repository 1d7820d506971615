// Rows of a table or of a SELECT, one of them current.
//
// A table's rows come in stored order; rows added come at the end. An edited or
// new row is saved by Update, by the next AddNew and by any move; Close with
// one pending is an error, the destructor drops it. A save that fails drops it,
// too, and raises from the call that caused it. Closing the connection closes
// the recordset.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ado/connection.h"
#include "ado/value.h"
#include "sql/sql.h"

namespace ado {

inline constexpr int adOpenUnspecified = -1;
inline constexpr int adOpenForwardOnly = 0;
inline constexpr int adOpenKeyset = 1;
inline constexpr int adLockUnspecified = -1;
inline constexpr int adLockReadOnly = 1;
inline constexpr int adLockOptimistic = 3;
inline constexpr int adCmdUnspecified = -1;
inline constexpr int adCmdText = 1;
inline constexpr int adCmdTable = 2;

class RowSource;

class Recordset final : private ConnectionUser {
 public:
  Recordset();
  ~Recordset();
  Recordset(const Recordset&) = delete;
  Recordset& operator=(const Recordset&) = delete;

  // `source`: a table's or saved query's name (adCmdTable), SQL text or either
  // (adCmdUnspecified). Stands on the first row, or at the end.
  void Open(std::string_view source, Connection& connection, int cursor_type, int lock_type,
            int options);
  void Close();
  bool is_open() const { return connection_ != nullptr; }

  bool eof() const;  // kErrClosed
  void MoveFirst();  // kErrNoCurrentRow if there is no row, as MoveLast
  void MoveNext();   // kErrNoCurrentRow at the end
  void MoveLast();
  // Rows of the table or of the query's result.
  std::int32_t RecordCount();

  std::size_t field_count() const;
  std::string field_name(std::size_t index) const;
  // Fields are found by name only (SameName); kErrItemNotFound.
  // Of a decimal number the nearest Double: its scale belongs to the column.
  Value Get(std::string_view field);
  Value Get(std::size_t index);
  void Set(std::string_view field, const Value& value);
  // A field that is not set before the row is saved gets its default then; read
  // before, it shows what the default is at that moment.
  void AddNew();
  void Update();

 private:
  void Forget() override;
  void RequireOpen() const;
  void RequireRow() const;
  void SavePending();
  void DropPending();
  std::size_t FieldOf(std::string_view name) const;
  const Value* PendingValue(std::size_t ordinal) const;

  Connection* connection_ = nullptr;
  std::unique_ptr<RowSource> rows_;
  bool read_only_ = false;
  bool adding_ = false;
  // Of the current or the new row: what was set and is not saved.
  std::vector<jet::FieldChange> changes_;
};

}  // namespace ado
