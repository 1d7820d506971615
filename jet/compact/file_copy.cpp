#include "jet/compact/file_copy.h"

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

#include "jet/base/bytes.h"
#include "jet/base/system_ids.h"
#include "jet/compact/table_copy.h"
#include "jet/compact/table_order.h"
#include "jet/pages/map_row.h"
#include "jet/pages/slotted_page.h"
#include "jet/storage/header_layout.h"

namespace jet::compact {
namespace {

constexpr std::uint32_t kOldBuild = 0x11A6;
constexpr std::uint32_t kGlobalWords = 16;  // the least that a map of free pages has

using Image = std::array<std::uint8_t, kPageSize>;

class FileCopy {
 public:
  FileCopy(Pager& from, const Header& header, File& to, const CopyWatch& watch)
      : from_(&from),
        header_(&header),
        allocator_(from),
        out_(to, header.page_key(), watch.stop),
        rows_(from.page_count()),
        context_{from, allocator_, out_, ids_, rows_},
        watch_(&watch) {}

  CopyCounts Run() {
    TakeBasePages();
    for (const TableCopy::Source& source : OtherTables(allocator_, *header_)) TakeOther(source);
    for (std::unique_ptr<TableCopy>& table : waiting_) CopyOther(std::move(table));
    CopyBaseTables();
    for (const auto& table : related_) table->PutDefinition();
    PutGlobalMap();
    PutHeader();
    out_.Finish();
    counts_.pages = out_.page_count();
    return counts_;
  }

 private:
  void TakeBasePages();
  void TakeOther(const TableCopy::Source& source);
  void CopyOther(std::unique_ptr<TableCopy> table);
  void CopyBaseTables();
  void Count(const TableCopy& table);
  Bytes MakeGlobalMap();
  void PutGlobalMap();
  void PutHeader();

  Pager* from_;
  const Header* header_;
  PageAllocator allocator_;  // of the old file; nothing is taken
  PageWriter out_;
  ObjectIds ids_;
  RowIdMap rows_;
  CopyContext context_;
  const CopyWatch* watch_;
  std::vector<std::unique_ptr<TableCopy>> base_;
  std::optional<MapBook> base_maps_;
  std::vector<std::unique_ptr<TableCopy>> waiting_;  // for the ids of all tables
  std::vector<std::unique_ptr<TableCopy>> related_;  // wait for the tables that they name
  CopyCounts counts_;
};

// The rows of the object list have their pages here, but are written last: they name the
// pages of all tables.
void FileCopy::TakeBasePages() {
  while (out_.page_count() < kObjectsPage.value) out_.Take();
  std::size_t maps = 0;
  for (TableCopy::Source& source : BaseTables()) {
    base_.push_back(std::make_unique<TableCopy>(context_, std::move(source)));
    base_.back()->TakeDefinition(out_.Take());
    maps += base_.back()->map_count();
  }
  if (header_->engine_build() == kOldBuild) {
    for (const auto& table : base_) {
      table->TakeMaps();
      table->TakeRoots();
    }
  } else {
    base_maps_.emplace(out_, maps, from_->pages_per_bitmap());
    for (const auto& table : base_) table->TakeMaps(*base_maps_);
    for (const auto& table : base_) table->TakeRoots();
  }
  base_.front()->TakeRowPages();
  for (const auto& table : base_) table->TakeContinuation();
}

void FileCopy::TakeOther(const TableCopy::Source& source) {
  Named({.table = source.name}, [&] {
    auto table = std::make_unique<TableCopy>(context_, source);
    table->TakeDefinition(out_.Take());
    table->TakeContinuation();
    table->TakeMaps();
    if (table->names_ids()) {
      table->TakeRowPages();
      table->TakeRoots();
      waiting_.push_back(std::move(table));
    } else {
      CopyOther(std::move(table));
    }
  });
}

void FileCopy::CopyOther(std::unique_ptr<TableCopy> table) {
  Named({.table = table->name()}, [&] {
    watch_->begins(table->name());
    table->CopyRows();
    table->CopyIndexes();
    table->FinishMaps();
    Count(*table);
    if (table->is_related()) {
      related_.push_back(std::move(table));
    } else {
      table->PutDefinition();
    }
  });
}

void FileCopy::CopyBaseTables() {
  for (const std::size_t i : {2U, 3U, 1U, 0U}) {
    TableCopy& table = *base_[i];
    Named({.table = table.name()}, [&] {
      watch_->begins(table.name());
      table.CopyRows();
      table.CopyIndexes();
      Count(table);
    });
  }
  if (base_maps_) base_maps_->Finish();
  for (const auto& table : base_) {
    table->FinishMaps();
    table->PutDefinition();
  }
}

void FileCopy::Count(const TableCopy& table) {
  ++counts_.tables;
  counts_.rows += table.row_count();
  counts_.index_entries += table.index_entries();
}

// All pages are in use but those that the map has bits for behind the end.
Bytes FileCopy::MakeGlobalMap() {
  const std::uint32_t per_bitmap = from_->pages_per_bitmap();
  constexpr std::size_t kRoom = kPageSize - 14 - 2 * kSlotSize - kNewMapBytes;
  const auto set_free = [](std::span<std::uint8_t> bits, std::uint64_t from, std::uint64_t used) {
    for (std::uint32_t i = 0; i < bits.size() * 8; ++i) PutBit(bits, i, from + i >= used);
  };
  const std::uint32_t words = std::max(kGlobalWords, (out_.page_count() + 31) / 32);
  Bytes row(kInlineBits + std::size_t{4} * words);
  if (row.size() <= kRoom && 32 * words <= per_bitmap) {
    set_free(std::span(row).subspan(kInlineBits), 0, out_.page_count());
    return row;
  }
  row.assign(kListBytes, 0);
  row[0] = kReferenceMap;
  std::vector<PageNumber> bitmaps;
  while (std::uint64_t{bitmaps.size()} * per_bitmap < out_.page_count()) {
    bitmaps.push_back(out_.Take());
  }
  for (std::size_t k = 0; k < bitmaps.size(); ++k) {
    Image image{};
    set_free(InitBitmap(image).first(per_bitmap / 8), k * per_bitmap, out_.page_count());
    out_.Put(bitmaps[k], image);
    PutU32(row, 1 + 4 * k, bitmaps[k].value);
  }
  return row;
}

void FileCopy::PutGlobalMap() {
  const Bytes map = MakeGlobalMap();
  Image image{};
  InitRowPage(image, kGlobalMap.page.value);
  AddRow(kGlobalMap.page, image, map, SlotKind::kLive);
  AddRow(kGlobalMap.page, image, Bytes(kNewMapBytes), SlotKind::kLive);
  out_.Put(kGlobalMap.page, image);
}

// Date, password, key and order stay, and with them the masks of the security ids.
void FileCopy::PutHeader() {
  const PageNumber page{0};
  Image image{};
  std::ranges::copy(from_->Read(page).bytes(), image.begin());
  for (std::size_t at = kCommitSlots; at < kPageSize; at += 2) PutU16(image, at, kSlotIdle);
  PutU16(image, kCommitSlots, kSlotNewFile);
  out_.Put(page, image);
}

}  // namespace

CopyCounts CopyDatabase(Pager& from, const Header& header, File& to, const CopyWatch& watch) {
  return FileCopy(from, header, to, watch).Run();
}

}  // namespace jet::compact
