// Small databases made for a test, and the provider over them.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ado/catalog.h"
#include "ado/connection.h"
#include "ado/recordset.h"
#include "tests/support/temp_db.h"

namespace test_support {

inline constexpr jet::DateTime kTestNow{40182.5};  // 2010-01-04 12:00

// Rows by column; a column that is left out at the end is Null.
struct TestTable {
  jet::TableSpec spec;
  std::vector<std::vector<ado::Value>> rows;
};

inline jet::ColumnSpec Col(std::string name, jet::ColumnType type, std::size_t max_size = 0) {
  jet::ColumnSpec column;
  column.name = std::move(name);
  column.type = type;
  column.max_size = max_size;
  return column;
}

// Ends the test with a failure unless `body` throws an ado::Error.
template <class Body>
ado::Error ErrorOf(Body&& body) {
  try {
    body();
  } catch (const ado::Error& error) {
    return error;
  }
  ADD_FAILURE() << "no error was raised";
  return {0, "none"};
}

#define EXPECT_RAISES(expected, ...) \
  EXPECT_EQ(::test_support::ErrorOf([&] { __VA_ARGS__; }).number(), (expected))

class AdoTest : public ::testing::Test {
 protected:
  std::string MakeFile(const std::string& name, const std::vector<TestTable>& tables,
                       const std::string& password = {}) {
    std::string path = folder_.File(name);
    jet::CreateOptions options;
    options.password = password;
    options.clock = [] { return kTestNow; };
    const auto database = jet::Database::Create(*files_, path, options);
    for (const TestTable& content : tables) {
      const auto table = database->CreateTable(content.spec);
      for (std::vector<ado::Value> row : content.rows) {
        row.resize(content.spec.columns.size());
        table->Insert(row);
      }
    }
    database->Commit();
    return path;
  }

  static std::string ConnectionTo(const std::string& path, const std::string& password = {}) {
    return "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + path +
           ";Jet OLEDB:Database Password=" + password + ";";
  }

  // The rows of a table as they are in the file itself, "1,a|2,Null". Through a
  // copy, as the file may be locked.
  std::string OnDisk(const std::string& path, const std::string& table,
                     const std::string& password = {}) {
    const std::string copy = folder_.File("on_disk.mdb");
    WriteFileBytes(copy, ReadFileBytes(path));
    ado::Environment environment(*files_);
    ado::Connection connection(environment);
    connection.Open(ConnectionTo(copy, password));
    return RowsOf(connection, table);
  }

  // Through a copy, too.
  void ExpectSound(const std::string& path) {
    const std::string copy = folder_.File("judged.mdb");
    WriteFileBytes(copy, ReadFileBytes(path));
    test_support::ExpectSound(copy);
  }

  static void OpenTable(ado::Recordset& rows, ado::Connection& connection, const char* table,
                        int lock = ado::adLockOptimistic) {
    rows.Open(table, connection, ado::adOpenKeyset, lock, ado::adCmdTable);
  }

  // A new row with these fields, saved.
  static void AddRow(ado::Recordset& rows,
                     const std::vector<std::pair<const char*, ado::Value>>& fields) {
    rows.AddNew();
    for (const auto& [name, value] : fields) rows.Set(name, value);
    rows.Update();
  }

  static std::string RowsOf(ado::Connection& connection, const std::string& source,
                            int options = ado::adCmdTable) {
    ado::Recordset rows;
    rows.Open(source, connection, ado::adOpenForwardOnly, ado::adLockReadOnly, options);
    std::string text;
    for (; !rows.eof(); rows.MoveNext()) {
      if (!text.empty()) text += '|';
      for (std::size_t i = 0; i < rows.field_count(); ++i) {
        const ado::Value value = rows.Get(i);
        if (i != 0) text += ',';
        text += jet::IsNull(value) ? "Null" : ado::ToText(value);
      }
    }
    return text;
  }

  TempFolder folder_;
  std::unique_ptr<jet::FileSystem> files_ = jet::MakeSystemFiles();
};

}  // namespace test_support
