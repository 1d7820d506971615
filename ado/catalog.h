// The schema of a database: its tables with columns and keys, its views.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ado/connection.h"
#include "ado/value.h"

namespace ado {

inline constexpr int adColFixed = 1;
inline constexpr int adColNullable = 2;
inline constexpr int adKeyPrimary = 1;

struct Column {
  std::string name;
  DataType type = adInteger;
  std::size_t defined_size = 0;  // characters
  int attributes = 0;            // adColNullable: not required
};

struct Key {
  std::string name;
  int type = adKeyPrimary;
  std::vector<std::string> columns;
};

// The text of a command, to be stored as a view.
struct Command {
  std::string command_text;
};

// A table of a catalog, or a new one that no database holds yet. Appending to
// a table of a catalog changes the stored table at once. A new one becomes such
// a table by Catalog::AppendTable; all copies are the same table, and keep the
// connection of the catalog open.
class Table {
 public:
  Table();  // new, nameless
  std::string name;

  std::vector<Column> Columns() const;
  void AppendColumn(std::string_view column, DataType type, std::size_t defined_size);
  // Whether values are required. kErrItemNotFound.
  void SetColumnAttributes(std::string_view column, int attributes);
  void AppendKey(const Key& key);

 private:
  friend class Catalog;
  struct State;
  std::shared_ptr<State> state_;
};

// The text of a saved query: as it was given, as long as it still says what the
// query's rows say, else made from the rows. sql::Error for rows that make no sense.
std::string QueryText(jet::Database& database, const jet::ObjectInfo& query);

class Catalog {
 public:
  explicit Catalog(Environment& environment);
  // Binds to the file of a connection string, over a connection of its own.
  // kErrNoConnection for an empty text, as everything else before it.
  void SetActiveConnection(std::string_view connection_string);

  Table GetTable(std::string_view name);  // kErrItemNotFound
  // Whole or not at all; kErrObjectExists.
  void AppendTable(const Table& table);
  // Stores the text verbatim and as the rows that the provider runs. kErrSql,
  // kErrObjectExists.
  void AppendView(std::string_view name, const Command& command);

 private:
  jet::Database& Bound();
  Environment* environment_;
  std::shared_ptr<Connection> connection_;
};

}  // namespace ado
