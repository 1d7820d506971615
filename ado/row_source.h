// Where the rows of a recordset come from, and which one is current: a table in
// stored order, rows of a table that a query picked, or the values of a query.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "jet/table/table.h"
#include "sql/sql.h"

namespace ado {

// Fields are counted from 0. Errors are jet::Error and sql::Error.
class RowSource {
 public:
  virtual ~RowSource() = default;
  RowSource(const RowSource&) = delete;
  RowSource& operator=(const RowSource&) = delete;

  // As they were when the source was made.
  const std::vector<std::string>& names() const { return names_; }

  // Each leaves the cursor on a row or at the end.
  virtual void MoveFirst() = 0;
  virtual void MoveNext() = 0;  // from a row only
  virtual void MoveLast() = 0;
  virtual bool at_end() const = 0;
  virtual std::uint64_t Count() = 0;
  // Of the current row; nothing if it is not there any more.
  virtual std::optional<jet::Value> Get(std::size_t field) = 0;

  // The table that can be written through this source; nullptr: none.
  virtual jet::Table* table() { return nullptr; }
  virtual std::size_t OrdinalOf(std::size_t field) const { return field; }
  virtual jet::RowId row() const { return {}; }  // the current one
  virtual void StandOnAdded(jet::RowId) {}

 protected:
  explicit RowSource(std::vector<std::string> names) : names_(std::move(names)) {}

 private:
  std::vector<std::string> names_;
};

// A stored value as a recordset tells it: a decimal number is no use without the
// scale of its column, so it becomes a Double.
jet::Value HandedOver(const jet::Table& table, std::size_t ordinal, jet::Value value);

std::unique_ptr<RowSource> MakeTableRows(std::shared_ptr<jet::Table> table);
// Runs the query. Writable if `updatable` and its rows are those of one table.
std::unique_ptr<RowSource> MakeQueryRows(jet::Database& database,
                                         const jet::QueryDefinition& definition, bool updatable);

}  // namespace ado
