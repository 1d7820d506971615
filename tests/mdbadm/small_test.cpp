// The small pieces of the maintenance program: cells, counts, kinds of files, what
// a failure leaves behind.
#include <gmock/gmock.h>

#include <filesystem>

#include "ado/error.h"
#include "mdbadm/backup.h"
#include "mdbadm/failure.h"
#include "samples/sample.h"
#include "sql/sql.h"
#include "tests/mdbadm/program.h"
#include "tests/support/fault_file.h"

namespace {

using namespace test_support;
using jet::ColumnType;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

using SmallTest = MadeFilesTest;

// Two rows of a cell of each kind.
void FillCells(jet::Database& database) {
  const auto table = database.CreateTable(
      {.name = "ｾﾙ",
       .columns = {{.name = "b", .type = ColumnType::kBinary, .max_size = 5},
                   {.name = "d", .type = ColumnType::kDateTime},
                   {.name = "t", .type = ColumnType::kText, .max_size = 30},
                   {.name = "y", .type = ColumnType::kBoolean},
                   {.name = "r", .type = ColumnType::kDouble},
                   {.name = "c", .type = ColumnType::kCurrency}},
       .indexes = {
           {.name = "i", .columns = {"t", "d"}, .descending = {false, true}, .unique = true}}});
  table->Insert(std::vector<jet::Value>{jet::Bytes{0xAB, 1}, jet::DateTime{40182}, "a\tb\\", true,
                                        1e16, jet::Currency{12'500}});
  table->Insert(
      std::vector<jet::Value>{jet::Null{}, jet::DateTime{40183.5}, "", false, -0.5, jet::Null{}});
  database.CreateQuery("全部", {{{.attribute = jet::QueryRow::kSource, .name1 = "ｾﾙ"}}},
                       "SELECT * FROM ｾﾙ");
  database.CreateQuery("空", {{{.attribute = jet::QueryRow::kSource, .name1 = "なし"}}}, "");
}

TEST_F(SmallTest, CellsAndLimits) {
  const std::string path = Make("cells.mdb", FillCells);
  const std::string head = "b\td\tt\ty\tr\tc\n",
                    first = "AB01\t2010-01-04 00:00:00\ta\\tb\\\\\tTrue\t1E+16\t1.25\n",
                    second = "\\N\t2010-01-05 12:00:00\t\tFalse\t-0.5\t\\N\n";
  std::string all = head;
  all.append(first).append(second);
  for (const auto& [verb, source] :
       {std::pair("rows", "セル"), std::pair("sql", "SELECT * FROM ｾﾙ"),
        std::pair("sql", "全部")}) {
    EXPECT_EQ(MdbAdmOut({verb, path, source}), all);
    EXPECT_EQ(MdbAdmOut({verb, path, source, "--limit", "1"}), head + first);
    EXPECT_EQ(MdbAdmOut({verb, path, source, "--limit", "0"}), head);
    const auto rows = MdbAdmJson({verb, path, source});
    EXPECT_EQ(rows[0]["b"], "AB01");
    EXPECT_EQ(rows[1]["y"], false);
  }
  EXPECT_THAT(MdbAdmOut({"indexes", path}), EndsWith("ｾﾙ\ti\tt, d desc\tno\tyes\tno\tno\n"));
  EXPECT_THAT(MdbAdmOut({"columns", path}),
              AllOf(HasSubstr("ｾﾙ\tt\tText\t30\t"), Not(HasSubstr("MSys"))));
  EXPECT_THAT(MdbAdmOut({"tables", path}), Not(HasSubstr("MSys")));
  EXPECT_THAT(MdbAdmOut({"tables", path, "--system"}), HasSubstr("MSysObjects\tsystem table\t"));
  EXPECT_THAT(MdbAdmOut({"props", path}), Not(HasSubstr("MSys")));
  EXPECT_EQ(MdbAdmJson({"queries", path, "ぜんぶ"}).size(), 0U);
  EXPECT_EQ(MdbAdmJson({"queries", path, "全部"}).size(), 1U);
  EXPECT_THAT(MdbAdm({"sql", path, "空"}).err, HasSubstr(" 空: "));
  const auto info = MdbAdmJson({"info", path});
  EXPECT_EQ(info["tables"], 1);
  EXPECT_EQ(info["queries"], 2);
#ifndef _WIN32  // where arguments are UTF-16
  // A name that is not UTF-8 is reported all the same.
  const Outcome bad = MdbAdm({"info", "/none/\xFF.mdb", "--json"});
  EXPECT_EQ(bad.status, 1);
  EXPECT_EQ(nlohmann::json::parse(bad.err)["error"], "file_not_found");
#endif
}

// A version that was never stored, and a table that lies in another file.
TEST_F(SmallTest, WhatIsNotThereIsLeftOut) {
  const std::string path = Make("x.mdb", [](jet::Database& database) {
    const auto versions = database.CreateTable(
        {.name = "ﾊﾞｰｼﾞｮﾝ番号", .columns = {{.name = "Ver_No", .type = ColumnType::kDouble}}});
    versions->Insert(std::vector<jet::Value>{jet::Null{}});
    const auto objects = database.OpenTable("MSysObjects");
    const jet::FieldChange link[] = {{objects->OrdinalOf("Id"), 99},
                                     {objects->OrdinalOf("ParentId"), 251658241},
                                     {objects->OrdinalOf("Name"), "別表"},
                                     {objects->OrdinalOf("Type"), std::int16_t{6}}};
    objects->Insert(objects->NewRow(link));
  });
  EXPECT_FALSE(MdbAdmJson({"info", path}).contains("version"));
  EXPECT_THAT(MdbAdmOut({"tables", path}), HasSubstr("別表\tlinked table\t\\N\t\\N\t"));
}

TEST_F(SmallTest, DiffShowsWhatEitherHasAlone) {
  const auto make = [&](const char* name, bool more) {
    return Make(name, [=](jet::Database& database) {
      jet::TableSpec spec{.name = "t", .columns = {{.name = "ID"}}, .indexes = {}};
      if (more) spec.columns.push_back({.name = "z", .default_expression = "1"});
      const auto table = database.CreateTable(spec);
      for (int i = 0; i < (more ? 4 : 2); ++i) {
        std::vector<jet::Value> row = table->NewRow();
        row[0] = i;
        table->Insert(row);
      }
      const auto query = [&](const char* called, const char* text) {
        database.CreateQuery(called, sql::Parse(text), text);
      };
      query("q", more ? "SELECT * FROM t" : "SELECT * FROM t;");
      if (more) query("x", "SELECT * FROM t");
      if (!more) database.CreateTable({.name = "x", .columns = {{.name = "ID"}}, .indexes = {}});
    });
  };
  const std::string a = make("a.mdb", false), b = make("b.mdb", true);
  const std::string out = MdbAdm({"diff", a, b}).out, back = MdbAdm({"diff", b, a}).out;
  EXPECT_THAT(out,
              AllOf(HasSubstr("t\trows\t2\t4\n"), HasSubstr("t\tcolumn z\t\\N\tLong 4 at 2\n"),
                    HasSubstr("x\ttable\tpresent\t\\N\n"), HasSubstr("x\tquery\t\\N\tpresent\n"),
                    HasSubstr("t\tcolumn z property DefaultValue\t\\N\t1\n"),
                    HasSubstr("q\ttext\tSELECT * FROM t;\tSELECT * FROM t\n")));
  EXPECT_THAT(back,
              AllOf(HasSubstr("t\trows\t4\t2\n"), HasSubstr("t\tcolumn z\tLong 4 at 2\t\\N\n"),
                    Not(HasSubstr("property Command"))));
}

TEST_F(SmallTest, FailuresCarryTheProvidersNumberAndLeaveNothingBehind) {
  MdbAdmOut({"sample", folder_.path(), "--data", "2", "--jobs", "0"});
  const std::string path = folder_.File("Data.mdb");
  MdbAdmOut({"set-version", path, "40000"});
  EXPECT_THAT(MdbAdm({"upgrade", path}).err, StartsWith("mdbadm: " + path + ": 6 "));
  const nlohmann::json summary =
      nlohmann::json::parse(MdbAdm({"upgrade", path, "--summary", "--json"}).out)[0];
  EXPECT_EQ(summary["outcome"], "failed");
  EXPECT_EQ(summary["error"]["file"], path);
  EXPECT_THAT(MdbAdm({"upgrade", path, "--summary"}).out, HasSubstr("\t\\N\t6 "));

  EXPECT_EQ(mdbadm::FailureOf(ado::Error::Standard(ado::kErrSql)).reason, "sql");

  // A copy that cannot be written whole is taken away.
  FaultFiles files;
  files.bytes("/d/Data.mdb") = std::string(10'000, 'x');
  files.SetFault({.kind = Fault::Kind::kFull, .at = 1});
  const jet::DateTime now = jet::ToDateTime({2024, 1, 31, 23, 59, 58});
  const std::string folder = folder_.File("b");
  EXPECT_EQ(CodeOf([&] { mdbadm::BackUp(files, "/d/Data.mdb", folder, now); }),
            jet::ErrorCode::kDiskFull);
  EXPECT_FALSE(files.Exists(folder + "/Data-20240131-235958.mdb.new"));
}

TEST_F(SmallTest, TheKindOfAFileIsItsExactName) {
  using db::Kind;
  EXPECT_EQ(db::KindOfFile("C:/x/Data.mdb"), Kind::kData);
  EXPECT_EQ(db::KindOfFile("a/展開Data.mdb"), Kind::kTenkai);
  EXPECT_EQ(db::KindOfFile("展開Data.mdb"), Kind::kTenkai);
  for (const char* other : {"a/data.mdb", "a/xData.mdb", "Data.mdb/", "Data.mdb.bak"}) {
    EXPECT_EQ(db::KindOfFile(other), std::nullopt) << other;
  }
}

// Half a version counts as the even one beside it.
TEST_F(SmallTest, AVersionBetweenTwoIsRounded) {
  MdbAdmOut({"sample", folder_.path(), "--data", "4", "--jobs", "0"});
  const std::string path = folder_.File("Data.mdb");
  MdbAdmOut({"set-version", path, "3.6"});
  const auto steps = MdbAdmJson({"upgrade", path, "--to", "5"});
  ASSERT_EQ(steps.size(), 2U);
  EXPECT_EQ(steps[0]["step"], "Data_Up_5");
}

}  // namespace
