#include "jet/recover/old_file.h"

#include <algorithm>

#include "jet/base/bytes.h"
#include "jet/base/error.h"
#include "jet/check/header.h"
#include "jet/database/system_tables.h"
#include "jet/sort/collation.h"
#include "jet/storage/header_layout.h"

namespace jet::recover {
namespace {

constexpr std::string_view kOtherFormats[] = {"Standard ACE DB"};
constexpr std::string_view kThisFormat = "Standard Jet DB";

bool Signs(ByteView page, std::string_view text) {
  return page.size() >= kVersion + 4 &&
         std::equal(text.begin(), text.end(), page.begin() + kSignature,
                    [](char c, std::uint8_t byte) { return static_cast<std::uint8_t>(c) == byte; });
}

// A whole page 0 of a format that is not ours.
bool IsOfOtherFormat(ByteView page) {
  if (std::ranges::any_of(kOtherFormats, [page](auto text) { return Signs(page, text); })) {
    return true;
  }
  return Signs(page, kThisFormat) && GetU32(page, kVersion) == 0;
}

}  // namespace

OldFile::OldFile(FileSystem& files, const std::string& path, const RecoverOptions& options) {
  std::unique_ptr<File> file = files.Open(path, OpenMode::kRead);
  Bytes first(static_cast<std::size_t>(std::min<std::uint64_t>(file->Size(), kPageSize)));
  file->Read(0, first);
  if (IsOfOtherFormat(first)) Header::Parse(first);  // says which it is
  pager_ = std::make_unique<Pager>(std::move(file), false, options.limits);
  if (pager_->page_count() != 0) {
    try {
      header_ = Header::Parse(pager_->Read(PageNumber{0}).bytes());
    } catch (const Error& error) {
      if (error.code() != ErrorCode::kNotJet4) throw;
    }
  }
  if (header_ && check::IsCreationDate(header_->created()) && !header_->Accepts(options.password)) {
    throw Error(ErrorCode::kWrongPassword).In(path);
  }
  if (header_) pager_->SetPageKey(header_->page_key());
  scan_.emplace(*pager_);
  ReadDefinitions();
}

void OldFile::ReadDefinitions() {
  for (std::uint32_t page = 1; page < scan_->page_count(); ++page) {
    if ((*scan_)[{page}].kind != PageKind::kDefinition) continue;
    if (auto old = ReadOldDefinition(*pager_, {page})) {
      definitions_.emplace(PageNumber{page}, std::move(*old));
    }
  }
}

SortOrder OldFile::order() const {
  std::map<SortOrder, std::size_t> seen;
  for (const auto& [page, old] : definitions_) {
    for (const ColumnDef& column : old.def.columns) {
      if (column.type != ColumnType::kNumeric) ++seen[column.order];
    }
  }
  SortOrder most = header_ ? header_->order() : kJapanese;
  if (header_ && (IsSupportedOrder(most) || seen.contains(most))) return most;
  std::size_t count = 0;
  for (const auto& [order, columns] : seen) {
    if (columns <= count) continue;
    most = order;
    count = columns;
  }
  return most;
}

bool OldFile::has_content() const {
  for (std::uint32_t page = 1; page < scan_->page_count(); ++page) {
    const PageKind kind = (*scan_)[{page}].kind;
    if (kind == PageKind::kDefinition || kind == PageKind::kRows) return true;
  }
  return false;
}

void OldFile::Complete(const std::vector<TableDef>& system_tables) {
  for (const TableDef& def : system_tables) {
    const auto found = definitions_.find(def.page);
    const SystemTableSpec* spec = FindSystemTable(def.page);
    if (found != definitions_.end() && !SystemTableFault(*spec, found->second.def) &&
        found->second.def.columns.size() == def.columns.size()) {
      continue;
    }
    OldDefinition known{def, false};
    known.def.row_count = 0;
    known.def.owned_map = {};
    definitions_.insert_or_assign(def.page, std::move(known));
  }
  owners_.emplace(*pager_, *scan_, definitions_);
  // What is freed is dead, and so is what a free definition says.
  for (auto old = definitions_.begin(); old != definitions_.end();) {
    const bool dead = owners_->IsFree(old->first) && FindSystemTable(old->first) == nullptr;
    old = dead ? definitions_.erase(old) : std::next(old);
  }
  long_values_.emplace(*pager_, *scan_, *owners_);
  const RowJudge judge(definitions_.at(kObjectsPage).def);
  OldRows rows = RowsOf(kObjectsPage, judge);
  catalog_ = ReadOldCatalog(rows, judge);
}

OldRows OldFile::RowsOf(PageNumber table, const RowJudge& judge) {
  return {*pager_, *scan_, *long_values_, judge, owners_->PagesOf(table)};
}

}  // namespace jet::recover
