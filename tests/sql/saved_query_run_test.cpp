// The five saved queries run. Their tables are made from the names that the
// texts themselves use, spelled in another width at creation.

#include <map>
#include <set>

#include "sql/text/parser.h"
#include "tests/sql/query_fixture.h"

namespace sql_tests {
namespace {

using jet::ColumnType;
using jet::Null;
using test_support::Replace;
using testing::ElementsAre;

class SavedQueryRunTest : public QueryTest {
 protected:
  struct Columns {
    std::vector<std::string> names;  // in order of appearance
    std::set<std::string> keys, sums;
    void Add(const std::string& name) {
      if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
    }
  };

  void Collect(const sql::Select& select, const sql::Expr& expr, bool key, bool sum) {
    for (const sql::ExprPtr& arg : expr.args) {
      Collect(select, *arg, key, sum || expr.kind == sql::Expr::Kind::kCall);
    }
    if (expr.kind != sql::Expr::Kind::kColumn) return;
    for (const sql::SourceItem& source : select.sources) {
      if (source.name() != expr.qualifier) continue;
      Columns& columns = tables_[source.table];
      columns.Add(expr.name);
      if (key) columns.keys.insert(expr.name);
      if (sum) columns.sums.insert(expr.name);
    }
  }

  void CollectJoins(const sql::Select& select, const sql::FromNode& node) {
    if (node.leaf()) return;
    CollectJoins(select, *node.left);
    CollectJoins(select, *node.right);
    for (const sql::SqlText& term : node.on) Collect(select, *term.tree, true, false);
  }

  void CollectTables(std::string_view text) {
    const sql::Select select = sql::ParseSelect(text).select;
    for (const auto& node : select.from) CollectJoins(select, *node);
    for (const sql::OutputItem& item : select.outputs) {
      if (item.expression.tree) Collect(select, *item.expression.tree, false, false);
    }
  }

  // Every key of row i is i, Long in one table and Double in the next; every
  // other field names its column and row.
  void MakeTables(int rows) {
    bool whole = false;
    for (const auto& [name, columns] : tables_) {
      whole = !whole;
      std::vector<std::pair<std::string, ColumnType>> spec;
      std::vector<Row> data(static_cast<std::size_t>(rows));
      for (const std::string& column : columns.names) {
        const bool key = columns.keys.contains(column);
        spec.emplace_back(Replace(column, "ＩＤ", "ID"), !key    ? ColumnType::kText
                                                         : whole ? ColumnType::kLong
                                                                 : ColumnType::kDouble);
        for (int i = 1; i <= rows; ++i) {
          Row& row = data[static_cast<std::size_t>(i - 1)];
          if (!key) {
            row.push_back(column + std::to_string(i));
          } else if (whole) {
            row.push_back(i);
          } else {
            row.push_back(static_cast<double>(i));
          }
        }
      }
      MakeTable(Replace(name, "(角", "（角"), spec, data);
    }
  }

  std::map<std::string, Columns> tables_;
  const std::vector<std::string> texts_ = SavedQueries();
};

TEST_F(SavedQueryRunTest, PiecesOfTheSelectedJobs) {
  CollectTables(texts_[0]);
  MakeTables(8);
  ASSERT_EQ(tables_.size(), 17u);
  const std::string& text = texts_[0];
  database_->CreateQuery("q", sql::Parse(text), text);
  const auto names = [&] { return ColumnNames("SELECT * FROM q"); };
  EXPECT_EQ(names().size(), 32u);
  EXPECT_THAT(names(), testing::IsSupersetOf(
                           {"拾い転送_工法変換_1.拾い工法名", "Data_角_単体設定.入力ID", "㎡数"}));
  // `*` is expanded when the query runs.
  jet::ColumnSpec column;
  column.name = "W9";
  database_->AppendColumn("Data_角_ｻｲｽﾞ", column);
  EXPECT_EQ(names().size(), 33u);
  EXPECT_EQ(Rows(text).size(), 8u);

  // A piece whose method is Null, or whose job is not chosen, is not there.
  const auto change = [&](std::string_view table, std::string_view name, int row,
                          jet::Value value) {
    const auto open = database_->OpenTable(table);
    auto id = open->First();
    while (--row > 0) id = open->Next(*id);
    open->Update(*id, {{{open->OrdinalOf(name), std::move(value)}}});
  };
  change("Data_角_接続口", "3工法ID", 3, Null{});
  change("拾い転送_選択物件", "選択物件ID", 5, Null{});
  // Different methods for the four ports of a piece.
  change("Data_角_接続口", "2工法ID", 1, 7);
  const std::vector<std::string> rows = Sorted(text);
  EXPECT_EQ(rows.size(), 6u);
  EXPECT_THAT(rows[0], testing::HasSubstr("|拾い工法名1|拾い工法名7|拾い工法名1|拾い工法名1|"));
}

TEST_F(SavedQueryRunTest, AccessoriesOfTheSelectedJobs) {
  CollectTables(texts_[1]);
  MakeTables(5);
  EXPECT_EQ(Rows(texts_[1]).size(), 5u);
}

TEST_F(SavedQueryRunTest, TotalsOfTheWorkTable) {
  for (const std::size_t i : {2, 3, 4}) CollectTables(texts_[i]);
  Columns& base = tables_.begin()->second;
  std::vector<std::pair<std::string, ColumnType>> spec;
  for (const std::string& name : base.names) {
    // The name in the query differs in width from the column's.
    spec.emplace_back(name == "相FG" ? "相ＦＧ" : name,
                      base.sums.contains(name) ? ColumnType::kDouble : ColumnType::kText);
  }
  const auto row = [&](const jet::Value& chosen, const char* site, const jet::Value& floor,
                       const jet::Value& amount) {
    Row fields;
    for (const auto& [name, type] : spec) {
      fields.push_back(type == ColumnType::kDouble ? amount
                       : name == "見積選択"        ? chosen
                       : name == "現場名"          ? jet::Value(site)
                       : name == "階"              ? floor
                                                   : Null{});
    }
    return fields;
  };
  MakeTable(tables_.begin()->first, spec,
            {row("True", "現場ｱ", "１F", 0.25), row("True", "現場ア", "1f", 0.5),
             row("-1", "現場ア", "1F", Null{}), row("False", "x", Null{}, 1.0),
             row("選択", "X", Null{}, Null{}), row("", "x", Null{}, 2.0),
             row(Null{}, "x", Null{}, 4.0), row(Null{}, "X", Null{}, 0.75)});
  EXPECT_EQ(Rows(texts_[2]).size(), 3u);
  for (const std::size_t i : {3, 4}) {
    std::vector<std::string> groups;
    for (const std::string& line : Rows(texts_[i])) {
      groups.push_back(line.substr(0, line.find('|')) + ":" + line.substr(line.rfind('|') + 1));
    }
    EXPECT_THAT(groups, ElementsAre("True:0.75", "-1:-", "False:1", "選択:-", "'':2", "-:4.75"));
  }
  EXPECT_THAT(Rows(texts_[3])[0], testing::StartsWith("True|現場ｱ|１F|-|0.75|"));
}

}  // namespace
}  // namespace sql_tests
