// bench_rows: rows for the comparison of whole programs.
//
//   bench_rows insert none|long|text FILE ROWS   a new file, all rows in one flush
//   bench_rows text ROWS                         the same rows, tab-separated
//   bench_rows transfer FILE JOBS STEP ROWS      what the saved queries ask for
#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/rows.h"
#include "db/kind.h"
#include "jet/base/error.h"

namespace {

std::int32_t Number(const std::string& text) { return std::atoi(text.c_str()); }

// An empty file is made before the clock of interest starts: it is opened again,
// so that the rows go through the flush that every change of a file goes through.
void Insert(jet::FileSystem& files, const std::string& key_name, const std::string& path,
            std::int32_t rows) {
  const bench::Key key = key_name == "long"   ? bench::Key::kLong
                         : key_name == "text" ? bench::Key::kText
                                              : bench::Key::kNone;
  {
    const auto database = jet::Database::Create(files, path, {});
    bench::MakeTable(*database, key);
    database->Commit();
  }
  jet::OpenOptions options;
  options.mode = jet::OpenMode::kExclusive;
  const auto database = jet::Database::Open(files, path, options);
  bench::InsertRows(*database->OpenTable(bench::kTableName), rows);
  database->Commit();
}

void PrintText(std::int32_t rows) {
  std::vector<jet::Value> row;
  for (std::int32_t number = 1; number <= rows; ++number) {
    bench::FillRow(number, rows, row);
    fmt::print("{}\t{}\t{}\t{}\t{}\n", std::get<std::int32_t>(row[0]),
               std::get<std::string>(row[1]), std::get<std::int32_t>(row[2]),
               std::get<double>(row[3]), std::get<jet::DateTime>(row[4]).days);
  }
}

void Transfer(jet::FileSystem& files, const std::vector<std::string>& arguments) {
  jet::OpenOptions options;
  options.mode = jet::OpenMode::kExclusive;
  options.password = db::kDatabasePassword;
  const auto database = jet::Database::Open(files, arguments[1], options);
  bench::FillTransfer(*database, Number(arguments[2]), Number(arguments[3]), Number(arguments[4]));
  database->Commit();
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  const std::string verb = arguments.empty() ? "" : arguments[0];
  try {
    const auto files = jet::MakeSystemFiles();
    if (verb == "insert" && arguments.size() == 4) {
      Insert(*files, arguments[1], arguments[2], Number(arguments[3]));
    } else if (verb == "text" && arguments.size() == 2) {
      PrintText(Number(arguments[1]));
    } else if (verb == "transfer" && arguments.size() == 5) {
      Transfer(*files, arguments);
    } else {
      fmt::print(stderr,
                 "bench_rows insert KEY FILE ROWS | text ROWS | transfer FILE JOBS STEP ROWS\n");
      return 2;
    }
  } catch (const std::exception& error) {
    fmt::print(stderr, "bench_rows: {}\n", error.what());
    return 1;
  }
  return 0;
}
