// Sample files for the window, and what stands in them.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "app/assembly.h"
#include "samples/sample.h"
#include "tests/support/content.h"
#include "tests/support/temp_db.h"

namespace app_test {

using samples::Kind;

inline constexpr std::string_view kReinforcements = "Spec_補強名称";
inline constexpr std::string_view kVersions = "ﾊﾞｰｼﾞｮﾝ番号";

inline jet::DateTime FixedNow() { return jet::ToDateTime({2019, 6, 4, 12, 0, 0}); }

// A sample of this version under its own name in `folder`; its path.
inline std::string Sample(
    const std::string& folder, Kind kind, std::int16_t version,
    const std::function<void(std::vector<samples::BaseTable>&)>& change = {}) {
  static std::map<std::pair<Kind, std::int16_t>, std::string> made;  // making one takes long
  std::string path = folder + "/" + std::string(db::FileNameOf(kind));
  const auto known = made.find({kind, version});
  if (!change && known != made.end()) {
    test_support::WriteFileBytes(path, known->second);
    return path;
  }
  samples::SampleOptions options;
  options.version = version;
  options.jobs = 1;
  options.change = change;
  samples::MakeSample(*jet::MakeSystemFiles(), path, kind, options);
  if (!change) made[{kind, version}] = test_support::ReadFileBytes(path);
  return path;
}

// Everything in a file that is not open.
inline std::string Content(const std::string& path) {
  const auto files = jet::MakeSystemFiles();
  return test_support::ContentOf(*jet::Database::Open(
      *files, path,
      {.mode = jet::OpenMode::kRead, .password = std::string(db::kDatabasePassword)}));
}

// Walks a table of a file that is not open; `visit` may change its rows.
inline void Edit(const std::string& path, std::string_view table,
                 const std::function<void(ado::Recordset&)>& visit) {
  const auto files = jet::MakeSystemFiles();
  ado::Environment environment(*files);
  ado::Connection connection(environment);
  connection.Open("Provider=x;Data Source=" + path +
                  ";Jet OLEDB:Database Password=" + std::string(db::kDatabasePassword) + ";");
  ado::Recordset rows;
  rows.Open(table, connection, ado::adOpenKeyset, ado::adLockOptimistic, ado::adCmdTable);
  visit(rows);
}

inline void StoreVersion(const std::string& path, const ado::Value& version) {
  Edit(path, kVersions, [&](ado::Recordset& rows) {
    rows.Set("Ver_No", version);
    rows.Update();
  });
}

inline std::string StoredVersion(const std::string& path) {
  std::string version;
  Edit(path, kVersions, [&](ado::Recordset& rows) { version = ado::ToText(rows.Get("Ver_No")); });
  return version;
}

// A field of all rows in stored order, Null as "<Null>".
inline std::vector<std::string> Values(const std::string& path, std::string_view table,
                                       std::string_view field) {
  std::vector<std::string> values;
  Edit(path, table, [&](ado::Recordset& rows) {
    for (; !rows.eof(); rows.MoveNext()) {
      const ado::Value value = rows.Get(field);
      values.push_back(jet::IsNull(value) ? "<Null>" : ado::ToText(value));
    }
  });
  return values;
}

}  // namespace app_test
