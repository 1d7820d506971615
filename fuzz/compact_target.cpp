#include <optional>
#include <vector>

#include "fuzz/content.h"
#include "fuzz/snapshot.h"
#include "fuzz/targets.h"
#include "jet/base/error.h"
#include "jet/compact/compact.h"
#include "tests/support/fault_file.h"

namespace fuzz {
namespace {

using test_support::FaultFiles;

constexpr char kBefore[] = "/fuzz/before.mdb", kAfter[] = "/fuzz/after.mdb",
               kTwice[] = "/fuzz/twice.mdb";

// Table and values of every row, as they stand.
std::vector<std::string> RowsIn(FaultFiles& files, const char* path) {
  std::vector<std::string> rows;
  const auto database = jet::Database::Open(files, path, {});
  ForEachRow(*database, [&](const jet::Table& table, const jet::Table::Row& row) {
    rows.push_back(table.name() + '\x1E' + TextOf(row, table.columns().size()));
  });
  return rows;
}

// Nothing if it was done; else what was wrong with the file.
std::optional<jet::Error> Refusal(FaultFiles& files) {
  try {
    jet::CompactFile(files, kBefore, kAfter, {});
    return std::nullopt;
  } catch (const jet::Error& error) {
    return error;
  }
}

}  // namespace

CompactCounts RunCompact(jet::ByteView file) {
  FaultFiles files;
  const std::string image = ToImage(file);
  files.bytes(kBefore) = image;
  const std::optional<jet::Error> refusal = Refusal(files);
  if (files.bytes(kBefore) != image) throw Broken("the old file was written to");
  if (refusal) {
    if (files.Exists(kAfter) || files.Exists(std::string(kAfter) + ".compacting")) {
      throw Broken("refused, but a file was left behind");
    }
    const bool own_fault = refusal->detail().starts_with("the new file");
    const bool refused_for_damage = refusal->code() == jet::ErrorCode::kDamaged;
    if (own_fault || (refused_for_damage && Look(image, {}).check.sound())) {
      throw Broken(refusal->what());
    }
    return {.refused = 1};
  }
  Look(files.bytes(kAfter), {});  // what is sound reads to its end
  const std::vector<std::string> rows = RowsIn(files, kAfter);
  if (rows != RowsIn(files, kBefore)) throw Broken("the rows are not the same");
  jet::CompactFile(files, kAfter, kTwice, {});
  if (files.bytes(kAfter) != files.bytes(kTwice)) throw Broken("the second time changes something");
  return {.done = 1, .rows = rows.size()};
}

void CompactFile(jet::ByteView file) { RunCompact(file); }

}  // namespace fuzz
