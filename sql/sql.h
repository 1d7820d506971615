// SELECT: text <-> the row form of a saved query, and running it. A running query is a
// part of its database, and used by the same thread; Parse, Format and what else takes no
// database may be called by any thread. Errors are sql::Error, and jet::Error from below.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "jet/database/database.h"
#include "jet/database/stored_query.h"
#include "sql/error.h"

namespace sql {

enum class QueryKind : std::int16_t {
  kSelect = 1,
  kMakeTable = 2,
  kAppend = 3,
  kUpdate = 4,
  kDelete = 5,
  kCrosstab = 6,
  kDataDefinition = 7,
  kPassThrough = 8,
  kUnion = 9,
};

// What kind of query the rows say. kBadQuery.
QueryKind KindOf(const jet::QueryDefinition& definition);

// "select", "make-table" ...
std::string_view KindName(QueryKind kind);

// What LIKE takes for "any characters" and "one character". A saved query keeps
// the dialect of the program that made it.
enum class Wildcards : std::uint8_t {
  kAnsi,      // % and _: the provider's
  kAsterisk,  // * and ?: that of query designers
};

// Text -> rows as the system table of queries holds them. kSyntax.
jet::QueryDefinition Parse(std::string_view text, Wildcards wildcards = Wildcards::kAnsi);

// Rows -> text. What Parse made parses to the same rows again. Rows that other
// programs made become the text that they say; their expressions may be none
// that we read. kBadQuery for rows that contradict each other.
std::string Format(const jet::QueryDefinition& definition);

// Whether two definitions ask the same: rows that say nothing (as designers
// write them) and the order of the sources do not count.
bool SameQuery(const jet::QueryDefinition& a, const jet::QueryDefinition& b);

struct OutputColumn {
  std::string name;  // as the provider names it: duplicates are told apart by "table.column"
  jet::ColumnType type = jet::ColumnType::kText;
  std::size_t max_chars = 0;  // of text columns, 0 = no limit
  int scale = 0;              // of Numeric columns
};

// The rows of a running query, forward only. REQUIRES: its tables do not change while
// they are walked, unless base_table() names one.
class RowSet {
 public:
  virtual ~RowSet() = default;
  virtual const std::vector<OutputColumn>& columns() const = 0;
  virtual bool Next() = 0;
  // Of the row that Next() reached; valid until the next call.
  virtual const jet::Value& value(std::size_t column) const = 0;

  // For a query over one table whose columns are plain fields: where each row
  // comes from, so that it can be updated. Else nullptr.
  virtual std::shared_ptr<jet::Table> base_table() const { return nullptr; }
  virtual std::optional<jet::RowId> base_row() const { return std::nullopt; }
  virtual std::size_t base_ordinal(std::size_t column) const { return column; }
};

// What a query asks of its caller.
struct ParameterInfo {
  std::string name;
  std::int16_t type = 0;  // a column type code; 0 = any
};

// What a query runs with besides its tables.
struct Inputs {
  // By name; brackets around it do not count.
  std::vector<std::pair<std::string, jet::Value>> parameters = {};
  std::optional<jet::DateTime> now = {};  // for Date() and Now(); else the clock's time
};

// Whether two names mean one parameter: brackets do not count, nor which sign stands
// between the parts of a path.
bool SameParameter(std::string_view a, std::string_view b);

// The type of a parameter as a text has it: "Long", "Value" for any.
std::string TypeOf(const ParameterInfo& parameter);

// The parameters of a query and of the saved ones that it reads, declared or not: a name
// that is not a column is one. Errors as Run. `inputs`: the values that are known already;
// a crosstab in the query may need them to know its columns.
std::vector<ParameterInfo> ParametersOf(jet::Database& database,
                                        const jet::QueryDefinition& definition,
                                        const Inputs& inputs = {});

// Names are resolved and tables opened here; saved queries may be sources.
// kNoTable, kUnresolved, kNotSupported, kBadValue; jet::Error. REQUIRES: the database
// outlives the rows.
std::unique_ptr<RowSet> Run(jet::Database& database, const jet::QueryDefinition& definition,
                            const Inputs& inputs = {});

}  // namespace sql
