#include "jet/recover/new_file.h"

#include <algorithm>

#include "jet/base/bytes.h"
#include "jet/base/error.h"
#include "jet/base/text.h"
#include "jet/database/create.h"
#include "jet/row/long_value.h"
#include "jet/row/table_def_chain.h"
#include "jet/sort/name.h"
#include "jet/storage/header_layout.h"

namespace jet::recover {
namespace {

constexpr char kPassingName[] = "~";
constexpr std::uint64_t kChangesPerFlush = 50'000;

}  // namespace

NewFile::NewFile(FileSystem& files, const std::string& path, const NewFileSettings& settings)
    : pager_(std::make_unique<Pager>(files.Create(path), true, settings.limits, FlushMode::kPlain)),
      allocator_(*pager_),
      now_(settings.header.created),
      catalog_(allocator_, header_.emplace([&] {
        pager_->SetPageKey(settings.page_key);
        InitDatabase(allocator_, settings.header, settings.header.created);
        PutPageKey(settings.page_key);
        return Header::Parse(pager_->Read(PageNumber{0}).bytes());
      }()),
               [this] { return now_; }) {}

void NewFile::PutPageKey(std::uint32_t key) {
  Scope scope(*pager_);
  const PageSpan page = pager_->Edit(PageNumber{0});
  const auto masked = std::span(page).subspan(kMasked, kMaskedEnd - kMasked);
  Rc4(kHeaderKey).Apply(masked);
  PutU32(page, kPageKey, key);
  Rc4(kHeaderKey).Apply(masked);
  scope.Commit();
}

std::string NewFile::FreeName(const std::string& name) {
  const auto is_free = [this](const std::string& tried) {
    try {
      CheckNewName(order(), tried);
    } catch (const Error&) {
      return false;
    }
    return catalog_.Find(tried) == nullptr;
  };
  if (is_free(name)) return name;
  std::u16string stem = ToUtf16(name);
  for (int number = 2; number < 100'000; ++number) {
    const std::string end = "_" + std::to_string(number);
    stem.resize(std::min(stem.size(), kMaxNameChars - end.size()));
    std::string tried = ToUtf8(stem) + end;
    if (is_free(tried)) return tried;
    if (number == 9) stem = u"復旧";  // the name itself cannot be had
  }
  throw Error(ErrorCode::kNameTaken, name);
}

ObjectInfo NewFile::AddObject(std::optional<PageNumber> id, const NewObject& object) {
  Scope scope(*pager_);
  now_ = object.created;
  const std::int32_t number = id ? static_cast<std::int32_t>(id->value) : catalog_.NextFreeId();
  // An object elsewhere may have the name of a table.
  const bool is_elsewhere = object.parent != kTablesContainer;
  ObjectInfo info =
      catalog_.AddObject(number, object.type, object.flags,
                         is_elsewhere ? std::string(kPassingName) : object.name, object.properties);
  const std::shared_ptr<Table> objects = SystemTable(kObjectsPage);
  std::vector<FieldChange> changes;
  changes.push_back({objects->OrdinalOf("DateUpdate"), object.updated});
  if (is_elsewhere) {
    changes.push_back({objects->OrdinalOf("ParentId"), object.parent});
    changes.push_back({objects->OrdinalOf("Name"), object.name});
  }
  for (const auto& [column, value] : object.other_fields) {
    changes.push_back({objects->OrdinalOf(column), value});
  }
  auto seek = objects->SeekBy({objects->OrdinalOf("Id")});
  const Value key = number;
  seek->Begin(std::span(&key, 1));
  if (const std::optional<RowId> row = seek->Next()) objects->Update(*row, changes);
  scope.Commit();
  return info;
}

std::shared_ptr<Table> NewFile::SystemTable(PageNumber page) {
  const auto id = static_cast<std::int32_t>(page.value);
  const auto& objects = catalog_.Objects();
  const auto found = std::ranges::find(objects, id, &ObjectInfo::id);
  return catalog_.OpenTable(*found);
}

void NewFile::FlushSometimes() {
  if (++unflushed_ < kChangesPerFlush) return;
  unflushed_ = 0;
  pager_->Flush();
}

NewTable::NewTable(NewFile& file, const TableDef& like)
    : file_(&file), rows_(file.allocator(), def_) {
  Scope scope(file.pager());
  PageAllocator& allocator = file.allocator();
  def_.page = allocator.Allocate();
  def_.pages = {def_.page};
  def_.kind = like.kind;
  def_.next_column_id = like.next_column_id;
  def_.next_variable_slot = like.next_variable_slot;
  PageNumber page_of_maps;
  def_.owned_map = allocator.NewMap(page_of_maps);
  def_.free_map = allocator.NewMap(page_of_maps);
  def_.columns = like.columns;
  for (ColumnDef& column : def_.columns) {
    const auto ordinal = static_cast<std::size_t>(&column - def_.columns.data());
    if (column.auto_number() && column.type == ColumnType::kLong) counted_.push_back(ordinal);
    column.owned_map = column.free_map = {};
    if (column.type != ColumnType::kNumeric) column.order = file.order();
    if (!IsLongValue(column.type)) continue;
    long_values_.push_back(ordinal);
    column.owned_map = allocator.NewMap(page_of_maps);
    column.free_map = allocator.NewMap(page_of_maps);
  }
  StoreTableDef(def_, file.pager(), allocator);
  scope.Commit();
}

Bytes NewTable::StoreLongValue(const ColumnDef& column, ByteView content) {
  if (column.type == ColumnType::kOle) return WriteLongValue(file_->allocator(), column, content);
  return WriteMemo(file_->allocator(), column, ToUtf16(DecodeText(content)));
}

void NewTable::PassStored(ByteView stored) {
  const auto number = static_cast<std::int32_t>(GetU32(stored, 0));
  if (number > static_cast<std::int32_t>(def_.last_autonumber)) {
    def_.last_autonumber = static_cast<std::uint32_t>(number);
  }
}

void NewTable::PassAutonumber(std::uint32_t last) {
  def_.last_autonumber = std::max(def_.last_autonumber, last);
}

bool NewTable::Store(ByteView bytes) {
  rows_.Append(bytes);
  ++def_.row_count;
  return true;
}

bool NewTable::FitsAsItIs(const OldRow& row) const {
  return row.tidy && row.gone.empty() && row.bytes.size() <= kMaxRowBytes &&
         std::ranges::none_of(long_values_,
                              [&](std::size_t i) { return row.fields[i].has_value(); });
}

ByteView NewTable::Encode(const OldRow& row) {
  encoder_.Begin(def_);
  for (std::size_t i = 0; i < row.fields.size(); ++i) {
    if (!row.fields[i]) continue;
    const ColumnDef& column = def_.columns[i];
    if (IsLongValue(column.type)) {
      encoder_.SetStored(i, StoreLongValue(column, row.contents[i]));
    } else {
      encoder_.SetStored(i, *row.fields[i]);
    }
  }
  return encoder_.Finish();
}

bool NewTable::Append(const OldRow& row) {
  bool stored = false;
  try {
    Scope scope(file_->pager());
    stored = Store(FitsAsItIs(row) ? row.bytes : Encode(row));
    scope.Commit();
  } catch (const Error& error) {
    if (error.code() != ErrorCode::kRowTooLong) throw;
  }
  for (const std::size_t i : counted_) {
    if (stored && row.fields[i]) PassStored(*row.fields[i]);
  }
  file_->FlushSometimes();
  return stored;
}

bool NewTable::Append(std::span<const Value> values) {
  Scope scope(file_->pager());
  encoder_.Begin(def_);
  for (std::size_t i = 0; i < values.size(); ++i) {
    const ColumnDef& column = def_.columns[i];
    if (const auto* bytes = std::get_if<Bytes>(&values[i]); bytes && IsLongValue(column.type)) {
      encoder_.SetStored(i, WriteLongValue(file_->allocator(), column, *bytes));
    } else if (const auto* text = std::get_if<std::string>(&values[i]);
               text && column.type == ColumnType::kMemo) {
      encoder_.SetStored(i, WriteMemo(file_->allocator(), column, ToUtf16(*text)));
    } else if (!IsNull(values[i])) {
      encoder_.Set(i, values[i]);
    }
  }
  const bool stored = Store(encoder_.Finish());
  scope.Commit();
  file_->FlushSometimes();
  return stored;
}

ObjectInfo NewTable::Finish(const NewObject& object) {
  {
    Scope scope(file_->pager());
    StoreTableDef(def_, file_->pager(), file_->allocator());
    scope.Commit();
  }
  return file_->AddObject(def_.page, object);
}

}  // namespace jet::recover
