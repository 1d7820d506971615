#include "fuzz/recover_target.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>

#include "fuzz/content.h"
#include "fuzz/damage.h"
#include "fuzz/seeds.h"
#include "fuzz/snapshot.h"
#include "fuzz/targets.h"
#include "jet/base/bytes.h"
#include "jet/base/error.h"
#include "jet/base/text.h"
#include "jet/database/internals.h"
#include "jet/pages/slotted_page.h"
#include "jet/recover/recover.h"
#include "jet/row/long_value.h"
#include "jet/storage/header_layout.h"
#include "samples/known.h"
#include "tests/support/fault_file.h"
#include "tests/support/temp_db.h"

namespace fuzz {
namespace {

using test_support::FaultFiles;

constexpr char kOld[] = "/fuzz/old.mdb", kNew[] = "/fuzz/new.mdb";

struct Extent {
  std::size_t begin = 0, end = 0;  // in the file
};

// A row of a sound file, and the bytes that it depends on.
struct KnownRow {
  std::string text;   // its values
  std::string bytes;  // as stored
  std::vector<Extent> extents;
  bool of_user = true;  // else of a system table: it may come out, and need not
};

// What the rows of one table depend on.
class Dependences {
 public:
  // `encoded`: without the key of page 0 no page says anything.
  Dependences(jet::Pager& pager, const jet::Table& table, bool encoded)
      : pager_(pager), table_(table) {
    // Without counters, statistics and maps.
    const jet::TableDef& def = DefOf(table);
    const std::size_t columns_at = 0x3F + 12 * def.real_indexes.size();
    std::size_t end = columns_at + 25 * def.columns.size();
    for (const jet::ColumnDef& column : def.columns) end += 2 + 2 * jet::Utf16Length(column.name);
    AddContent(0, 0x10);
    AddContent(0x28, 0x37);
    AddContent(columns_at, end);
    if (encoded) extents_.push_back({jet::kPageKey, jet::kPageKey + 4});
    definition_ = std::move(extents_);
  }

  std::vector<Extent> Of(jet::RowId id, const jet::RowView& row) {
    extents_ = definition_;
    const jet::PageRef home = pager_.Read(id.page);
    const auto found = jet::FindRow(id.page, home.bytes(), id.row);
    AddRow(id);
    if (found->kind == jet::SlotKind::kMoved) {
      AddRow(jet::RowId::FromPacked(jet::GetU32(found->bytes, 0)));
    }
    for (const jet::ColumnDef& column : DefOf(table_).columns) {
      if (!jet::IsLongValue(column.type)) continue;
      if (const auto stored = row.Raw(column)) AddLongValue(*stored);
    }
    return std::move(extents_);
  }

 private:
  // A part of the definition, counted from the start of its first page.
  void AddContent(std::size_t begin, std::size_t end) {
    const auto& pages = DefOf(table_).pages;
    for (std::size_t i = 0; i < pages.size() && begin < end; ++i) {
      const std::size_t first = i == 0 ? 0 : jet::kPageSize + (i - 1) * (jet::kPageSize - 8);
      const std::size_t last = jet::kPageSize + i * (jet::kPageSize - 8);
      const std::size_t from = std::max(begin, first), to = std::min(end, last);
      if (from >= to) continue;
      const std::size_t head = i == 0 ? 0 : 8, at = pages[i].value * jet::kPageSize + head;
      extents_.push_back({at + from - first, at + to - first});
      if (i != 0) extents_.push_back({at - head, at});
    }
  }
  void AddRow(jet::RowId id) {
    const jet::PageRef ref = pager_.Read(id.page);
    const jet::RowPage page(id.page, ref.bytes());
    const std::size_t at = std::size_t{id.page.value} * jet::kPageSize;
    extents_.push_back({at, at + 14 + 2 * page.row_count()});
    const jet::ByteView row = page.row(id.row);
    const std::size_t start = at + static_cast<std::size_t>(row.data() - ref.bytes().data());
    extents_.push_back({start, start + row.size()});
  }
  void AddLongValue(jet::ByteView stored) {
    const jet::LongValueDescriptor value = jet::ParseLongValue(stored);
    if (value.kind == jet::LongValueKind::kInline) return;
    for (jet::RowId at = value.at; at;) {
      AddRow(at);
      const jet::PageRef ref = pager_.Read(at.page);
      const jet::ByteView row = jet::FindRow(at.page, ref.bytes(), at.row)->bytes;
      const bool goes_on = value.kind == jet::LongValueKind::kChain;
      at = goes_on ? jet::RowId::FromPacked(jet::GetU32(row, 0)) : jet::RowId();
    }
  }

  jet::Pager& pager_;
  const jet::Table& table_;
  std::vector<Extent> definition_, extents_;
};

std::vector<KnownRow> RowsOfSoundFile(const std::string& image, const std::string& password) {
  FaultFiles files;
  files.bytes(kOld) = image;
  const auto database = jet::Database::Open(files, kOld, {.password = password});
  std::vector<KnownRow> rows;
  std::map<const jet::Table*, Dependences> dependences;
  const jet::Internals internals(*database);
  const bool encoded = internals.header().page_key() != 0;
  for (const jet::ObjectKind kind : {jet::ObjectKind::kTable, jet::ObjectKind::kSystemTable}) {
    const auto add = [&](const jet::Table& table, const jet::Table::Row& row) {
      Dependences& on =
          dependences.try_emplace(&table, internals.pager(), table, encoded).first->second;
      rows.push_back({TextOf(row, table.columns().size()), ToImage(ViewOf(row).bytes()),
                      on.Of(row.id(), ViewOf(row)), kind == jet::ObjectKind::kTable});
    };
    ForEachRow(*database, add, kind);
  }
  return rows;
}

// What the new file holds: values of rows, and bytes of those that no table is known of.
struct Saved {
  std::multiset<std::string> rows, raw;
};

Saved Read(FaultFiles& files, const std::string& password) {
  Saved saved;
  const auto database = jet::Database::Open(files, kNew, {.password = password});
  ForEachRow(*database, [&](const jet::Table& table, const jet::Table::Row& row) {
    if (table.columns().size() == 4 && table.columns()[2].name == "バイト") {
      saved.raw.insert(ToImage(std::get<jet::Bytes>(row.Get(2))));
    } else {
      saved.rows.insert(TextOf(row, table.columns().size()));
    }
  });
  return saved;
}

// Nothing if the file could not be saved at all.
std::optional<jet::RecoverReport> TryRecover(FaultFiles& files, const std::string& password,
                                             std::vector<jet::KnownDatabase> known = {}) {
  try {
    jet::RecoverOptions options;
    options.password = password;
    options.known = [&known] { return known; };
    return jet::RecoverFile(files, kOld, kNew, options);
  } catch (const jet::Error& error) {
    if (error.detail().starts_with("the new file")) throw Broken(error.what());
    if (files.Exists(kNew) || files.Exists(std::string(kNew) + ".new")) {
      throw Broken("refused, but a file was left behind");
    }
    return std::nullopt;
  }
}

// Rows that pages which are not as they were may bring in: of another table, or twice.
std::size_t RowsOnChangedPages(const std::string& sound, const std::string& damaged) {
  std::size_t rows = 0;
  for (std::size_t at = 0; at + jet::kPageSize <= damaged.size(); at += jet::kPageSize) {
    const std::string_view page = std::string_view(damaged).substr(at, jet::kPageSize);
    if (at + jet::kPageSize <= sound.size() && page == sound.substr(at, jet::kPageSize)) continue;
    const jet::Bytes bytes(page.begin(), page.end());
    const std::size_t count = jet::GetU16(bytes, 12);
    if (count <= jet::kMaxRowsOnPage) rows += count;
  }
  return rows;
}

void Judge(const std::vector<KnownRow>& known, const std::string& sound, const std::string& damaged,
           const std::optional<jet::RecoverReport>& report, Saved saved) {
  const auto is_whole = [&](const Extent& extent) {
    return extent.end <= damaged.size() / jet::kPageSize * jet::kPageSize &&
           std::equal(sound.begin() + static_cast<std::ptrdiff_t>(extent.begin),
                      sound.begin() + static_cast<std::ptrdiff_t>(extent.end),
                      damaged.begin() + static_cast<std::ptrdiff_t>(extent.begin));
  };
  const std::size_t count = saved.rows.size() + saved.raw.size();
  std::size_t wanted = 0, touched = 0;
  std::vector<const KnownRow*> possible;
  const auto take = [&saved](const KnownRow& row) {
    if (const auto found = saved.rows.find(row.text); found != saved.rows.end()) {
      saved.rows.erase(found);
      return true;
    }
    const auto found = saved.raw.find(row.bytes);
    if (found != saved.raw.end()) saved.raw.erase(found);
    return found != saved.raw.end();
  };
  for (const KnownRow& row : known) {
    const bool whole = std::ranges::all_of(row.extents, is_whole);
    if (row.of_user && whole && !take(row)) throw Broken("a whole row is lost: " + row.text);
    if (row.of_user) ++wanted;
    if (!whole) ++touched;
    if (!row.of_user || !whole) possible.push_back(&row);
  }
  for (const KnownRow* row : possible) take(*row);
  const std::size_t allowed = touched + RowsOnChangedPages(sound, damaged);
  if (saved.rows.size() > allowed) {
    throw Broken(fmt::format("{} rows were never there, {} may be; one: {}", saved.rows.size(),
                             allowed, *saved.rows.begin()));
  }
  if (count < wanted && report && report->complete()) {
    throw Broken("rows are missing, and the report says nothing");
  }
}

// A file of which the sound state is known.
struct SoundFile {
  std::string image, password;
  bool complete = true;  // saved without a loss; else an index may have keys that nobody knows
  std::vector<KnownRow> rows = {};
};

std::vector<SoundFile> OwnFiles() {
  std::vector<SoundFile> files;
  for (const jet::Bytes& file : FileSeeds()) files.push_back({ToImage(file), ""});
  for (const db::Kind kind : db::kKinds) {
    for (const jet::Bytes& file : UpgradeSeeds(kind)) {
      files.push_back({ToImage(file), std::string(db::kDatabasePassword)});
    }
  }
  return files;
}

// Those that other programs wrote, where their folder is named.
std::vector<SoundFile> RealFiles() {
  std::vector<SoundFile> files;
  for (const std::string& name : test_support::SampleNames()) {
    files.push_back({test_support::ReadFileBytes(test_support::SamplePath(name)),
                     name == "password.mdb" ? "ucanaccess" : "", false});
  }
  return files;
}

std::vector<SoundFile> WithRows(std::vector<SoundFile> files) {
  for (SoundFile& file : files) file.rows = RowsOfSoundFile(file.image, file.password);
  return files;
}

jet::Bytes SeedOf(const SoundFile& file, std::size_t number) {
  jet::Bytes seed(1 + file.image.size());
  seed[0] = static_cast<std::uint8_t>(number);
  std::ranges::copy(file.image, seed.begin() + 1);
  return seed;
}

void RecoverDamageOf(const SoundFile& sound, jet::ByteView bytes) {
  static const std::vector<jet::KnownDatabase> kKnown = samples::KnownDatabases(std::nullopt);
  const std::string damaged = ToImage(bytes);
  FaultFiles files;
  files.bytes(kOld) = damaged;
  const auto report = TryRecover(
      files, sound.password, sound.password.empty() ? std::vector<jet::KnownDatabase>() : kKnown);
  Judge(sound.rows, sound.image, damaged, report, report ? Read(files, sound.password) : Saved());
  if (damaged == sound.image && !(report && (report->complete() || !sound.complete))) {
    throw Broken("a sound file is not saved whole");
  }
}

}  // namespace

void RecoverFile(jet::ByteView file) {
  FaultFiles files;
  files.bytes(kOld) = ToImage(file);
  const std::string before = files.bytes(kOld);
  if (TryRecover(files, {})) Read(files, {});
  if (files.bytes(kOld) != before) throw Broken("the damaged file was written to");
}

std::vector<jet::Bytes> DamageSeeds() {
  std::vector<jet::Bytes> seeds;
  for (const SoundFile& file : OwnFiles()) seeds.push_back(SeedOf(file, seeds.size()));
  return seeds;
}

std::vector<jet::Bytes> RealDamageSeeds() {
  std::vector<jet::Bytes> seeds;
  for (const SoundFile& file : RealFiles()) seeds.push_back(SeedOf(file, seeds.size()));
  return seeds;
}

std::string MutateDamage(jet::Bytes& input, Random& random) {
  jet::Bytes file(input.begin() + 1, input.end());
  std::string said = DamageFile(file, random);
  input.resize(1);
  input.insert(input.end(), file.begin(), file.end());
  return said;
}

void RecoverDamage(jet::ByteView input) {
  static const std::vector<SoundFile> kFiles = WithRows(OwnFiles());
  if (!input.empty()) RecoverDamageOf(kFiles[input[0] % kFiles.size()], input.subspan(1));
}

void RecoverRealDamage(jet::ByteView input) {
  static const std::vector<SoundFile> kFiles = WithRows(RealFiles());
  if (!input.empty() && !kFiles.empty()) {
    RecoverDamageOf(kFiles[input[0] % kFiles.size()], input.subspan(1));
  }
}

}  // namespace fuzz
