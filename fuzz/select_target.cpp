// Queries over damaged files: those that a file holds, and some over its tables.
#include <fmt/format.h>
#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "db/kind.h"
#include "fuzz/mutator.h"
#include "fuzz/random.h"
#include "fuzz/random_select.h"
#include "fuzz/snapshot.h"
#include "fuzz/targets.h"
#include "jet/base/error.h"
#include "jet/database/database.h"
#include "jet/table/internals.h"
#include "sql/sql.h"
#include "tests/support/fault_file.h"

namespace fuzz {
namespace {

constexpr char kPath[] = "/fuzz/select.mdb";
// Few things to an input, so that many inputs can be tried.
constexpr std::size_t kTexts = 2;
constexpr std::uint64_t kRows = 100;
// Products of three tables, with a query for each row, come to an end soon.
constexpr std::size_t kSmallTable = 40;

class Selects {
 public:
  Selects(jet::Database& database, Random& random) : database_(database), random_(random) {}

  SelectCounts Run() {
    std::vector<jet::ObjectInfo> tables, queries;
    for (jet::ObjectInfo& object : database_.Objects()) {
      if (object.kind == jet::ObjectKind::kTable) {
        tables.push_back(std::move(object));
      } else if (object.kind == jet::ObjectKind::kQuery) {
        queries.push_back(std::move(object));
      }
    }
    if (!tables.empty()) {
      const jet::ObjectInfo& table = random_.Pick(tables);
      const jet::ObjectInfo& other = random_.Pick(tables);
      Try([&] { OverTables(table, other); });
    }
    if (!queries.empty()) {
      const jet::ObjectInfo& query = random_.Pick(queries);
      Try([&] {
        if (random_.OneIn(2)) return RunRows(database_.LoadQuery(query));
        RunText(fmt::format("SELECT Count(*) FROM [{}]", query.name));
      });
    }
    return counts_;
  }

 private:
  template <class Body>
  void Try(Body&& body) {
    try {
      body();
    } catch (const jet::Error& error) {
      Refused(error);
    } catch (const sql::Error& error) {
      Refused(error);
    }
  }
  void Refused(const std::exception& error) {
    if (error.what()[0] == 0) throw Broken("a refusal without a word");
    ++counts_.refused;
  }

  void OverTables(const jet::ObjectInfo& a, const jet::ObjectInfo& b) {
    const auto table = database_.OpenTable(a), other = database_.OpenTable(b);
    const auto pick = [&](const jet::Table& of) -> std::string {
      const auto& columns = of.columns();
      return columns.empty() ? "?" : columns[random_.Below(columns.size())].name;
    };
    const std::string c = pick(*table), d = pick(*table), e = pick(*other);
    // Columns that stand first in an index are the way of a join.
    const auto key = [&](const jet::Table& of, const std::string& otherwise) {
      const auto& indexes = DefOf(of).real_indexes;
      if (indexes.empty()) return otherwise;
      const auto& parts = indexes[random_.Below(indexes.size())].columns;
      const auto ordinal = parts.empty() ? std::nullopt : DefOf(of).FindColumn(parts[0].column);
      return ordinal ? of.columns()[*ordinal].name : otherwise;
    };
    const std::string texts[] = {
        fmt::format("SELECT * FROM [{}]", a.name),
        fmt::format("SELECT [{}], Count(*), Max([{}]) AS m FROM [{}] GROUP BY [{}] ORDER BY 2 DESC",
                    c, d, a.name, c),
        fmt::format("SELECT DISTINCT TOP 5 [{}], [{}] FROM [{}] ORDER BY [{}] DESC", c, d, a.name,
                    d),
        fmt::format("SELECT [{}] & '' FROM [{}] WHERE [{}] >= '2' OR NOT [{}] LIKE '*[a-ｱ]?'", c,
                    a.name, c, d),
        fmt::format("SELECT x.*, y.[{0}] FROM [{1}] AS x LEFT JOIN [{2}] AS y ON x.[{3}] = y.[{4}]",
                    e, a.name, b.name, key(*table, c), key(*other, e))};
    for (std::size_t i = 0; i < kTexts; ++i) Try([&] { RunText(random_.Pick(texts)); });
    std::string text = random_.Pick(texts);
    if (const auto asked = AskedOf({table.get(), other.get()})) {
      Try([&] { RunText(*asked); });
      if (random_.OneIn(2)) text = *asked;
    }
    jet::Bytes bytes(text.begin(), text.end());
    MutateSql(bytes, random_);
    Try([&] { RunText({reinterpret_cast<const char*>(bytes.data()), bytes.size()}); });
  }

  static bool IsSmall(const jet::Table& table) {
    jet::TableScan scan(table);
    std::size_t rows = 0;
    while (rows <= kSmallTable && scan.Next()) ++rows;
    return rows <= kSmallTable;
  }

  // A query of many parts over columns of their types.
  std::optional<std::string> AskedOf(const std::vector<const jet::Table*>& tables) {
    std::vector<QueryTable> named;
    for (const jet::Table* table : tables) {
      if (!IsSmall(*table)) continue;
      QueryTable each{table->name(), {}};
      for (const jet::ColumnInfo& column : table->columns()) {
        switch (column.type) {
          case jet::ColumnType::kByte:
          case jet::ColumnType::kInteger:
          case jet::ColumnType::kLong:
            each.wholes.push_back(column.name);
            break;
          case jet::ColumnType::kSingle:
          case jet::ColumnType::kDouble:
          case jet::ColumnType::kCurrency:
          case jet::ColumnType::kNumeric:
            each.numbers.push_back(column.name);
            break;
          case jet::ColumnType::kText:
          case jet::ColumnType::kMemo:
            each.texts.push_back(column.name);
            break;
          default:
            break;
        }
      }
      if (!each.wholes.empty()) named.push_back(std::move(each));
    }
    if (named.empty()) return std::nullopt;
    return RandomSelect(named, random_).ours;
  }

  void RunText(std::string_view text) { RunRows(sql::Parse(text)); }

  void RunRows(const jet::QueryDefinition& query) {
    const auto count = [&](jet::QueryRow::Attribute attribute) {
      return std::ranges::count(query.rows, attribute, &jet::QueryRow::attribute);
    };
    const auto sources = count(jet::QueryRow::kSource);
    // A product of many tables does not hang, it is only long.
    if (sources > 2 && count(jet::QueryRow::kJoin) < sources - 1) return;
    const auto rows = sql::Run(database_, query);
    ++counts_.ran;
    for (std::uint64_t i = 0; i < kRows && rows->Next(); ++i) {
      for (std::size_t k = 0; k < rows->columns().size(); ++k) rows->value(k);
      ++counts_.rows;
    }
  }

  jet::Database& database_;
  Random& random_;
  SelectCounts counts_;
};

}  // namespace

SelectCounts RunSelects(jet::ByteView file) {
  test_support::FaultFiles files;
  files.bytes(kPath).assign(reinterpret_cast<const char*>(file.data()), file.size());
  Random random(XXH3_64bits(file.data(), file.size()));
  try {
    jet::OpenOptions options;
    options.password = db::kDatabasePassword;
    const auto database = jet::Database::Open(files, kPath, options);
    return Selects(*database, random).Run();
  } catch (const jet::Error&) {
    return {};
  }
}

void SelectFile(jet::ByteView file) { RunSelects(file); }

}  // namespace fuzz
