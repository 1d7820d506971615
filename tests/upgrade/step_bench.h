// A sample database with its session open, and every step of its ladder by name.
#pragma once

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "samples/columns.h"
#include "samples/sample.h"
#include "tests/support/content.h"
#include "tests/support/definition_check.h"
#include "tests/support/fault_file.h"
#include "tests/support/temp_db.h"
#include "upgrade/ladders.h"

namespace upgrade_test {

using samples::BaseTable;
using samples::Kind;
using samples::TableNamed;
using Tables = std::vector<BaseTable>;
using Change = std::function<void(Tables&)>;
using Texts = std::vector<std::string>;

inline constexpr const char* kNull = "<Null>";
inline constexpr const char* kShapes = "Spec_形状名（角）";
inline constexpr const char* kReinforcements = "Spec_補強名称";
inline constexpr const char* kVersions = "ﾊﾞｰｼﾞｮﾝ番号";

// The steps of a run.
class StepNames : public db::LadderObserver {
 public:
  void StepBegins(const db::LadderStep& step) override { begun.push_back(step.name); }
  void StepEnds(const db::LadderStep& step) override { ended.push_back(step.name); }
  Texts begun, ended;
};

class StepBench {
 public:
  explicit StepBench(Kind kind, std::int16_t version = samples::kBaseVersion, Change change = {},
                     int jobs = 2)
      : StepBench(kind, [&](jet::FileSystem& files, const std::string& path) {
          samples::SampleOptions options;
          options.version = version;
          options.jobs = jobs;
          options.change = std::move(change);
          samples::MakeSample(files, path, kind, options);
        }) {}
  // `make` writes the file, without a password or with that of the sessions.
  StepBench(Kind kind, const std::function<void(jet::FileSystem&, const std::string& path)>& make)
      : kind_(kind),
        environment_(files_,
                     [] {
                       return jet::ToDateTime({2012, 2, 3, 4, 5, 6});
                     }),
        session_(environment_, kind, Path(), db::kDatabasePassword),
        ladder_(upgrade::MakeLadder(kind, session_.handle())) {
    make(files_, Path());
    session_.Open();
  }

  db::DbHandle& db() { return session_.handle(); }
  const db::Ladder& ladder() const { return ladder_; }

  // Runs `body` as a button does: what completed operations did stays. The
  // number of its error, 0 for none. Afterwards the file is closed and reopened.
  ado::ErrorNumber Edit(const std::function<void(db::DbHandle&)>& body) {
    ado::ErrorNumber number = 0;
    {
      ado::Environment::Action action(environment_);
      try {
        body(db());
      } catch (const ado::Error& error) {
        number = error.number();
      }
      db().ReleaseTable();
      action.Commit();
      db().CloseDb();
    }
    db().OpenDb();
    return number;
  }

  // Steps in one go, up to the first that fails.
  ado::ErrorNumber Run(std::initializer_list<std::string_view> names) {
    return Edit([&](db::DbHandle&) {
      for (std::string_view name : names) {
        const auto step = std::ranges::find(ladder().steps(), name, &db::LadderStep::name);
        ASSERT_NE(step, ladder().steps().end()) << name;
        step->run();
      }
    });
  }
  ado::ErrorNumber Run(std::string_view name) { return Run({name}); }

  // The ladder from the stored version.
  ado::ErrorNumber Upgrade(std::int16_t to, db::LadderObserver* observer = nullptr) {
    return Edit([&](db::DbHandle&) { upgrade::RunLadder(session_, to, observer); });
  }

  // A field of all rows in stored order; one text "!number" for an error.
  Texts Values(std::string_view table, std::string_view field) {
    Texts values;
    try {
      ado::Recordset rows;
      Open(rows, table);
      if (rows.eof()) rows.Get(field);  // an unknown field shows even without rows
      for (; !rows.eof(); rows.MoveNext()) values.push_back(Text(rows.Get(field)));
    } catch (const ado::Error& error) {
      if (error.number() != ado::kErrNoCurrentRow) return {"!" + std::to_string(error.number())};
    }
    return values;
  }
  // All fields of all rows, one text a row.
  Texts Rows(std::string_view table) {
    Texts texts;
    ado::Recordset rows;
    Open(rows, table);
    for (; !rows.eof(); rows.MoveNext()) {
      std::string& row = texts.emplace_back();
      for (std::size_t i = 0; i < rows.field_count(); ++i) row += Text(rows.Get(i)) + "|";
    }
    return texts;
  }
  Texts Fields(std::string_view table) {
    ado::Recordset rows;
    Open(rows, table);
    Texts fields;
    for (std::size_t i = 0; i < rows.field_count(); ++i) fields.push_back(rows.field_name(i));
    return fields;
  }
  std::size_t Count(std::string_view table) { return Rows(table).size(); }
  std::string Value(std::string_view table, std::string_view field, std::size_t row) {
    const Texts values = Values(table, field);
    return row < values.size() ? values[row] : "!no row";
  }

  // "name type size", with "!" behind it if a value is required.
  Texts Columns(std::string_view table) {
    Texts columns;
    try {
      db().EachColumn(db().GetTable(db().BindCatalog(), table), [&](const ado::Column& column) {
        columns.push_back(column.name + " " + std::to_string(column.type) + " " +
                          std::to_string(column.defined_size) +
                          ((column.attributes & ado::adColNullable) != 0 ? "" : "!"));
        return true;
      });
    } catch (const ado::Error& error) {
      columns.push_back("!" + std::to_string(error.number()));
    }
    return columns;
  }
  bool HasTable(std::string_view table) { return Columns(table) != Texts{"!3265"}; }
  Texts Tables() { return Names(jet::ObjectKind::kTable); }
  Texts Queries() { return Names(jet::ObjectKind::kQuery); }
  std::string QueryText(std::string_view query) {
    return ado::QueryText(database(), *database().Find(query));
  }
  // Everything that the database holds.
  std::string Content() { return test_support::ContentOf(database()); }
  void WriteTo(const std::string& path) {
    db().CloseDb();
    test_support::WriteFileBytes(path, files_.bytes(Path()));
    db().OpenDb();
  }
  // Nothing is wrong with the file itself.
  void ExpectSound() {
    EXPECT_THAT(test_support::RewriteDefinitions(database()).changed, testing::IsEmpty());
    const test_support::TempFolder folder;
    const std::string path = folder.File("x.mdb");
    WriteTo(path);
    test_support::ExpectSound(path);
  }

  jet::Database& database() { return *session_.connection().database(); }
  // Deletes the rows of a table from the row numbered `first` (from 0) on.
  void DeleteRows(std::string_view table, std::size_t first, std::size_t count = SIZE_MAX) {
    Edit([&](db::DbHandle&) {
      jet::Table& rows = *database().OpenTable(table);
      auto at = rows.First();
      for (; first > 0; --first) at = rows.Next(*at);
      for (; at && count > 0; --count) {
        const jet::RowId gone = *at;
        at = rows.Next(gone);
        rows.Delete(gone);
      }
    });
  }

 private:
  std::string Path() const { return "/bench/" + std::string(db::FileNameOf(kind_)); }
  Texts Names(jet::ObjectKind kind) {
    Texts names;
    for (const jet::ObjectInfo& object : database().Objects()) {
      if (object.kind == kind) names.push_back(object.name);
    }
    return names;
  }
  static std::string Text(const ado::Value& value) {
    return jet::IsNull(value) ? kNull : ado::ToText(value);
  }
  void Open(ado::Recordset& rows, std::string_view table) {
    rows.Open(table, session_.connection(), ado::adOpenKeyset, ado::adLockOptimistic,
              ado::adCmdTable);
  }

  Kind kind_;
  test_support::FaultFiles files_;
  ado::Environment environment_;
  db::FileSession session_;
  db::Ladder ladder_;
};

// What tests put in a step's way.
inline void MakeTable(db::DbHandle& db, std::string_view name) {
  db.AppendTable(db.BindCatalog(), db.CreateTable(name));
}
inline void MakeQuery(db::DbHandle& db, std::string_view name) {
  db.AddQuery(db.BindCatalog(), name, "SELECT Ver_No FROM ﾊﾞｰｼﾞｮﾝ番号;");
}
inline Change SetRows(const char* table, const std::vector<samples::Row>& rows) {
  return [=](Tables& tables) { TableNamed(tables, table).rows = rows; };
}
// Keeps the first `count` rows, or repeats the last under new identifiers.
inline Change ResizeRows(const char* table, std::size_t count) {
  return [=](Tables& tables) {
    auto& rows = TableNamed(tables, table).rows;
    if (count < rows.size()) rows.resize(count);
    while (rows.size() < count) {
      rows.push_back(rows.back());
      rows.back()[0] = std::get<std::int32_t>(rows.back()[0]) + 1;
    }
  };
}
inline Texts Repeat(std::size_t count, const std::string& text) { return Texts(count, text); }
inline Texts operator+(Texts texts, const Texts& more) {
  texts.insert(texts.end(), more.begin(), more.end());
  return texts;
}
// Consecutive numbers as text.
inline Texts Numbers(int first, int last) {
  Texts texts;
  for (int number = first; number <= last; ++number) texts.push_back(std::to_string(number));
  return texts;
}

}  // namespace upgrade_test
