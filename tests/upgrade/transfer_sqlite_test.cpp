// The five saved queries on a database with jobs, against sqlite3 over the same
// tables.
#include <cctype>
#include <random>
#include <set>

#include "jet/sort/name.h"
#include "sql/sql.h"
#include "tests/support/sqlite.h"
#include "tests/upgrade/step_bench.h"

namespace upgrade_test {
namespace {

using test_support::Hex;
using test_support::Replace;
using test_support::Sqlite;

constexpr const char* kBase = "拾い転送_Base";

std::string Key(std::string_view text) { return Hex(jet::NameKey(jet::kJapanese, text)); }

// Every name of a query in a spelling of its own: names that are one name to us
// are one to sqlite3, which knows nothing of widths.
std::string Names(std::string_view text) {
  static const std::set<std::string> keywords = {"SELECT", "FROM", "From", "INNER", "JOIN",
                                                 "ON",     "AS",   "AND",  "WHERE", "GROUP",
                                                 "BY",     "Sum",  "True"};
  std::string result;
  while (!text.empty()) {
    const bool bracket = text[0] == '[';
    const auto* const end =
        bracket ? std::ranges::find(text, ']') : std::ranges::find_if(text, [](unsigned char c) {
          return c < 0x80 && c != '_' && std::isalnum(c) == 0;
        });
    const auto length = static_cast<std::size_t>(end - text.begin());
    const std::string word(text.substr(bracket ? 1 : 0, length - (bracket ? 1 : 0)));
    result += word.empty()              ? std::string(1, text[0])
              : keywords.contains(word) ? word
                                        : "n" + Key(word);
    text.remove_prefix(word.empty() || bracket ? length + 1 : length);
  }
  return result;
}

// The same question where a text compares by a column that holds its key, and a
// group takes what its first row says.
std::string ForSqlite(std::string_view query) {
  std::string text = Replace(Names(query), "\r", " ");
  text =
      Replace(std::move(text), ")=True",
              "_key) IN (" + Sqlite::Quoted(Key("True")) + "," + Sqlite::Quoted(Key("-1")) + ")");
  const std::size_t groups = text.find(" GROUP BY ");
  if (groups == text.npos) return text;
  std::string keys = text.substr(groups);
  keys = Replace(Replace(std::move(keys), ",", "_key,"), ";", "_key");
  text.resize(groups);
  return text.insert(text.find(" From "), ", min(rowid)") + keys;
}

class TransferSqlite : public testing::Test {
 protected:
  // Some of the values of a field give way to Null, to a number that nothing has,
  // and to that of another row.
  void Scatter(std::string_view table, std::initializer_list<const char*> fields) {
    const auto rows = bench_.database().OpenTable(table);
    for (const char* field : fields) {
      const std::size_t ordinal = rows->OrdinalOf(field);
      std::vector<jet::Value> values;
      for (jet::TableScan scan(*rows); scan.Next();) values.push_back(scan.row().Get(ordinal));
      std::size_t at = 0;
      for (auto row = rows->First(); row; row = rows->Next(*row), ++at) {
        if (Below(25) != 0) continue;
        const bool real = rows->columns()[ordinal].type == jet::ColumnType::kDouble;
        const jet::Value choices[] = {jet::Null{}, values[Below(values.size())],
                                      real ? jet::Value(0.125) : jet::Value(987654)};
        const jet::FieldChange change{ordinal, choices[Below(std::size(choices))]};
        rows->Update(*row, {&change, 1});
      }
    }
  }

  // Rows that stand twice in a table without a key.
  void Repeat(std::string_view table) {
    const auto rows = bench_.database().OpenTable(table);
    std::vector<std::vector<jet::Value>> again;
    for (jet::TableScan scan(*rows); scan.Next();) {
      if (Below(6) != 0) continue;
      auto& row = again.emplace_back();
      for (std::size_t i = 0; i < rows->columns().size(); ++i) row.push_back(scan.row().Get(i));
    }
    for (const auto& row : again) rows->Insert(row);
  }

  void ChooseJobs(int jobs) {
    const auto chosen = bench_.database().OpenTable("拾い転送_選択物件");
    std::vector<jet::Value> row = chosen->NewRow();
    for (int job = -1; job <= jobs + 2; job += 1 + static_cast<int>(Below(4))) {
      row[chosen->OrdinalOf("選択物件ID")] = static_cast<double>(job);
      row[chosen->OrdinalOf("順番")] = static_cast<double>(Below(9));
      for (std::size_t times = 1 + Below(5) / 4; times > 0; --times) chosen->Insert(row);
    }
  }

  void FillWorkTable(int count) {
    static const char* const kChosen[] = {"True",  "ＴＲＵＥ",   "true", "ﾄﾙｰ", "-1",   "－1",
                                          "False", "ＦＡＬＳＥ", "0",    "",    "選択", "1"};
    static const char* const kTexts[] = {"Ａビル", "Aﾋﾞﾙ", "aビル", "1F", "１Ｆ", "１f",
                                         "給気",   "ＳＡ", "sa",    "",   "ハハ", "ﾊﾊ"};
    const auto base = bench_.database().OpenTable(kBase);
    const auto& columns = base->columns();
    for (int number = 1; number <= count; ++number) {
      std::vector<jet::Value> row = base->NewRow();
      for (std::size_t i = 0; i < columns.size(); ++i) {
        const std::string& name = columns[i].name;
        // Few different sites, floors and systems, so that rows meet in groups.
        const bool shared = name == "現場名" || name == "階" || name == "系統";
        if (name == "通し番号") {
          row[i] = static_cast<double>(number);
        } else if (columns[i].type == jet::ColumnType::kDateTime) {
          row[i] = jet::DateTime{40000};
        } else if (Below(8) == 0 && !base->columns()[i].required) {
          row[i] = jet::Null{};
        } else if (columns[i].type == jet::ColumnType::kText) {
          row[i] = name == "見積選択" ? kChosen[Below(std::size(kChosen))]
                                      : kTexts[shared ? Below(3) : Below(std::size(kTexts))];
        } else {
          row[i] = static_cast<std::int32_t>(Below(200));
          if (columns[i].type == jet::ColumnType::kDouble) {
            row[i] = static_cast<double>(Below(4000)) / 8;
          }
        }
      }
      base->Insert(row);
    }
  }

  void Export(Sqlite& sqlite) {
    sqlite.Tell("BEGIN;\n");
    for (const std::string& name : bench_.Tables()) {
      const auto table = bench_.database().OpenTable(name);
      const bool keys = name == kBase;
      std::string names;
      for (const jet::ColumnInfo& column : table->columns()) {
        if (!names.empty()) names += ",";
        names += "n" + Key(column.name);
        if (keys) names += ",n" + Key(column.name) + "_key";
      }
      if (names.empty()) continue;
      sqlite.Tell("CREATE TABLE n" + Key(name) + "(" + names + ");\n");
      for (jet::TableScan scan(*table); scan.Next();) {
        std::string row;
        for (std::size_t i = 0; i < table->columns().size(); ++i) {
          const jet::Value value = scan.row().Get(i);
          const std::string text = jet::IsNull(value) ? "" : ado::ToText(value);
          const bool bare = std::holds_alternative<double>(value) ||
                            std::holds_alternative<std::int32_t>(value) ||
                            std::holds_alternative<std::int16_t>(value);
          const bool null = jet::IsNull(value);
          row += (i == 0 ? "" : ",") + (null ? "NULL" : bare ? text : Sqlite::Quoted(text));
          if (keys) row += "," + (null ? "NULL" : Sqlite::Quoted(Key(text)));
        }
        sqlite.Tell("INSERT INTO n" + Key(name) + " VALUES(" + row + ");\n");
      }
    }
    sqlite.Tell("COMMIT;\n");
  }

  std::size_t Below(std::size_t count) { return random_() % count; }

  static constexpr int kJobs = 60;
  std::mt19937 random_{5};
  StepBench bench_{Kind::kData, 27,
                   [](Tables& tables) {
                     for (BaseTable& table : tables) {
                       for (auto& column : table.columns) column.spec.required = false;
                     }
                   },
                   kJobs};
};

TEST_F(TransferSqlite, SavedQueriesAnswerTheSame) {
  if (!Sqlite::Installed()) GTEST_SKIP() << "no sqlite3 here";
  bench_.Edit([&](db::DbHandle&) {
    Scatter("Data_ﾒｲﾝ_設定", {"系統ＩＤ", "物件名ID"});
    Scatter("Data_角_単体設定", {"形状名ID", "数量", "板厚ＩＤ1", "ﾀﾞｸﾄ材質ＩＤ", "ﾃﾞｰﾀＩＤ",
                                 "内貼ID", "ﾘﾌﾞＩＤ", "ﾊｾﾞＩＤ"});
    Scatter("Data_角_接続口", {"1工法ID", "2工法ID", "3工法ID", "4工法ID"});
    Scatter("Data_角_㎡数", {"㎡数"});
    Scatter("Data_丸副_単体設定", {"ﾃﾞｰﾀID", "丸副名ID", "ｱﾝｸﾞﾙ材質", "鉄板材質", "数量"});
    for (const char* conversion : {"拾い転送_系統変換", "拾い転送_工法変換", "拾い転送_材質変換",
                                   "拾い転送_形状名称変換", "拾い転送_形状名称変換_副資材"}) {
      Repeat(conversion);
    }
    ChooseJobs(kJobs);
    FillWorkTable(400);
  });
  Sqlite sqlite;
  Export(sqlite);
  const Texts names = bench_.Queries();
  Texts queries;
  for (const std::string& name : names) queries.push_back(ForSqlite(bench_.QueryText(name)));
  const std::vector<Texts> answers = sqlite.Ask(queries, kNull);
  const std::size_t least[] = {400, 150, 100, 40, 120};
  ASSERT_EQ(names.size(), std::size(least));
  for (std::size_t i = 0; i < names.size(); ++i) {
    const bool groups = queries[i].find("GROUP BY") != std::string::npos;
    Texts expected, found = bench_.Rows(names[i]);
    for (const std::string& line : answers[i]) {
      // Without the number of a group's first row; a real number that is whole
      // has no point with us.
      expected.push_back(
          Replace((groups ? line.substr(0, line.rfind('|')) : line) + "|", ".0|", "|"));
    }
    std::ranges::sort(expected);
    std::ranges::sort(found);
    EXPECT_EQ(found, expected) << names[i];
    EXPECT_GT(found.size(), least[i]) << names[i];
  }
}

// What the catalog holds of a query says what its text says.
TEST(TransferQueries, StoredRowsSayWhatTheirTextsSay) {
  StepBench bench(Kind::kData, 27);
  jet::Database& database = bench.database();
  for (const std::string& name : bench.Queries()) {
    const jet::QueryDefinition stored = database.LoadQuery(*database.Find(name));
    EXPECT_EQ(sql::Parse(bench.QueryText(name)), stored) << name;
    const std::string rebuilt = sql::Format(stored);
    EXPECT_NE(rebuilt, bench.QueryText(name));
    EXPECT_EQ(sql::Parse(rebuilt), stored) << name;
  }
}

}  // namespace
}  // namespace upgrade_test
