#include "db/db_handle.h"

#include <gmock/gmock.h>

#include "tests/support/ado_fixture.h"

namespace test_support {
namespace {

using db::Tolerant;
using db::Value;
using jet::ColumnType;
using Long = std::int32_t;

class DbHandleTest : public AdoTest {
 protected:
  // A session with one file, as Module1 keeps one.
  class FileSession : public db::Session {
   public:
    FileSession(ado::Environment& environment, std::string text)
        : connection_(environment), text_(std::move(text)) {}
    void Open() override { connection_.Open(text_); }
    void Close() override { connection_.Close(); }
    ado::Connection& connection() override {
      if (!connection_.is_open()) throw ado::Error::Standard(ado::kErrNoConnection);
      return connection_;
    }
    const std::string& connection_string() const override { return text_; }
    ado::Environment& environment() override { return connection_.environment(); }

   private:
    ado::Connection connection_;
    std::string text_;
  };

  DbHandleTest()
      : path_(MakeFile(
            "Data.mdb",
            {{{.name = "名称",
               .columns = {Col("番号", ColumnType::kLong), Col("種類", ColumnType::kText, 20)},
               .indexes = {}},
              {{Long{1}}, {Long{2}}, {Long{3}}}}})),
        session_(environment_, ConnectionTo(path_)) {
    db_.OpenDb();
  }
  std::string Content() { return RowsOf(session_.connection(), "名称"); }

  std::string path_;
  ado::Environment environment_{*files_, [] { return kTestNow; }};
  FileSession session_;
  db::DbHandle db_{session_};
};

TEST_F(DbHandleTest, StepChangesSchemaReopensAndWritesRows) {
  ado::Environment::Action action(environment_);
  db_.OpenTable("名称");  // stays open over the reopen and is replaced
  {
    db::Catalog catalog = db_.BindCatalog();
    db_.AppendColumn(db_.GetTable(catalog, "名称"), "工法", db::adWChar, 50);
    db::Table table = db_.CreateTable("作業");
    db_.AppendColumn(table, "番号", db::adInteger, 0);
    db_.SetColumnAttributes(table, "番号", db::adColNullable);
    db_.AppendKey(table, "PrimaryKey", db::adKeyPrimary, "番号");
    db_.AppendTable(catalog, table);
    db_.CreateTable("捨てる");
  }
  db_.ReopenDb();
  db_.OpenTable("名称");
  db_.SetField("工法", "共板");
  db_.NextRow();
  db_.SetField("工法", "なし");
  db_.SaveRow();
  db_.CloseTable();
  db_.OpenTable("作業");
  db_.AddRow();
  db_.SetField("番号", Long{9});
  db_.SaveRow();
  EXPECT_EQ(db_.RowCount(), 1);
  db_.ReleaseTable();
  action.Commit();
  EXPECT_EQ(OnDisk(path_, "名称"), "1,Null,共板|2,Null,なし|3,Null,Null");
  EXPECT_EQ(OnDisk(path_, "作業"), "9");
  std::vector<std::string> seen;
  db_.EachColumn(db_.GetTable(db_.BindCatalog(), "名称"), [&](const ado::Column& column) {
    seen.push_back(column.name);
    return column.name != "種類";
  });
  EXPECT_THAT(seen, ::testing::ElementsAre("番号", "種類"));
  ExpectSound(path_);
}

// A zero of a number's type is not a null pointer, and so not a text.
TEST_F(DbHandleTest, TypedZeroIsANumber) {
  db_.OpenTable("名称");
  db_.SetField("番号", std::int16_t{0});
  db_.SaveRow();
  EXPECT_EQ(db_.GetField("番号"), Value(Long{0}));
}

TEST_F(DbHandleTest, RaisingModeRaisesAndKeepsNoError) {
  EXPECT_RAISES(ado::kErrNoTable, db_.OpenTable("無い"));
  EXPECT_RAISES(ado::kErrClosed, db_.GetField("番号"));
  EXPECT_RAISES(ado::kErrInvalidCall, db_.AppendColumn(nullptr, "x", db::adDouble, 0));
  EXPECT_RAISES(ado::kErrItemNotFound, db_.GetTable(db_.BindCatalog(), "無い"));
  db_.OpenTable("名称");
  EXPECT_RAISES(ado::kErrItemNotFound, db_.GetField("工法"));
  db_.LastRow();
  db_.NextRow();
  EXPECT_RAISES(ado::kErrNoCurrentRow, db_.NextRow());
  db_.AddRow();
  db_.SaveRow();
  EXPECT_FALSE(db_.AtEnd());  // it stands on the row that was added
  EXPECT_FALSE(db_.error());
}

TEST_F(DbHandleTest, CloseThatFailsLetsGoOfTheTableWhereTolerated) {
  db_.OpenTable("名称");
  db_.SetField("番号", Long{7});
  EXPECT_RAISES(ado::kErrPendingEdit, db_.CloseTable());
  EXPECT_EQ(db_.GetField("番号"), Value(Long{7})) << "where it raises, the step ends there";
  {
    const Tolerant tolerant(db_);
    db_.CloseTable();
    ASSERT_TRUE(db_.error());
    EXPECT_EQ(db_.error()->number(), ado::kErrPendingEdit);
    db_.ClearError();
    EXPECT_EQ(db_.GetField("番号"), Value());
    ASSERT_TRUE(db_.error()) << "the table is still held";
    EXPECT_EQ(db_.error()->number(), ado::kErrClosed);
  }
  EXPECT_EQ(Content(), "1,Null|2,Null|3,Null") << "and what was pending is dropped";
}

TEST_F(DbHandleTest, ToleratedOperationsGoOnAndKeepTheError) {
  {
    Tolerant tolerant(db_);
    db_.OpenTable("名称");
    EXPECT_EQ(db_.GetField("工法"), Value());
    ASSERT_TRUE(db_.error());
    EXPECT_EQ(db_.error()->number(), ado::kErrItemNotFound);
    EXPECT_EQ(db_.GetField("番号"), Value(Long{1}));
    EXPECT_TRUE(db_.error()) << "a success has cleared the error";
    db_.ClearError();
    db_.SetField("無い", Long{1});
    db_.SetField("種類", "x");
    db_.SaveRow();  // the operation after the one that failed has run
    db::Table none = db_.GetTable(db_.BindCatalog(), "無い");
    EXPECT_EQ(none, nullptr);
    db_.AppendColumn(none, "x", db::adDouble, 0);
    EXPECT_EQ(db_.error()->number(), ado::kErrInvalidCall);
    db_.EachColumn(none, [](const ado::Column&) -> bool { throw std::logic_error("visited"); });
    EXPECT_EQ(db_.BindCatalog() == nullptr, false);
    db_.CloseDb();
    db_.CloseDb();
    EXPECT_EQ(db_.error()->number(), ado::kErrClosed);
    db_.OpenDb();
    {
      const Tolerant inner(db_);  // starts clear, too
      EXPECT_FALSE(db_.error());
    }
    db_.GetField("番号");  // of a table that went with its session
    EXPECT_TRUE(db_.error());
  }
  EXPECT_FALSE(db_.error());
  EXPECT_EQ(Content(), "1,x|2,Null|3,Null");
  EXPECT_RAISES(ado::kErrNoTable, db_.OpenTable("無い"));
}

TEST_F(DbHandleTest, ToleratedLoopsEnd) {
  Tolerant tolerant(db_);
  db_.OpenTable("無い");
  EXPECT_TRUE(db_.AtEnd());
  EXPECT_EQ(db_.RowCount(), 0);
  db_.OpenTable("名称");
  db_.SetField("種類", "x");
  EXPECT_FALSE(db_.AtEnd());
  // The session goes away below the walk: the move fails, the loop ends.
  session_.Close();
  db_.NextRow();
  EXPECT_TRUE(db_.AtEnd());
  session_.Open();
  db_.OpenTable("名称");
  EXPECT_FALSE(db_.AtEnd());
  EXPECT_EQ(db_.GetField("種類"), Value());  // what was pending is dropped
  db_.LastRow();
  db_.NextRow();
  EXPECT_TRUE(db_.AtEnd());
  for (void (db::DbHandle::*move)() : {&db::DbHandle::FirstRow, &db::DbHandle::LastRow}) {
    db_.NextRow();  // from the end: fails
    EXPECT_TRUE(db_.AtEnd());
    (db_.*move)();
    EXPECT_FALSE(db_.AtEnd());
    db_.LastRow();
    db_.NextRow();
  }
}

TEST_F(DbHandleTest, OnlyErrorsOfTheDatabaseAreTolerated) {
  Tolerant tolerant(db_);
  db::Table table = db_.GetTable(db_.BindCatalog(), "名称");
  EXPECT_THROW(db_.EachColumn(table, [](const ado::Column&) -> bool { throw std::bad_alloc(); }),
               std::bad_alloc);
}

TEST_F(DbHandleTest, QueryIsStoredWhileARecordsetIsOpen) {
  db_.OpenTable("名称");
  db_.AddRow();
  db_.SetField("番号", Long{4});
  db_.AddQuery(db_.BindCatalog(), "一覧", "SELECT 名称.番号 FROM 名称");
  EXPECT_RAISES(ado::kErrObjectExists,
                db_.AddQuery(db_.BindCatalog(), "一覧", "SELECT 名称.番号 FROM 名称"));
  db_.SaveRow();
  EXPECT_EQ(Content(), "1,Null|2,Null|3,Null|4,Null");
}

}  // namespace
}  // namespace test_support
