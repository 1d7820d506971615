#include "jet/database/database.h"

#include <algorithm>
#include <ctime>

#include "jet/base/error.h"
#include "jet/base/text.h"
#include "jet/database/catalog.h"
#include "jet/database/create.h"
#include "jet/database/page_use.h"
#include "jet/database/schema.h"
#include "jet/pages/page_allocator.h"
#include "jet/sort/name.h"
#include "jet/storage/header.h"
#include "jet/storage/pager.h"
#include "jet/table/internals.h"

namespace jet {

namespace {

// The longest text that fits into one property.
constexpr std::size_t kMaxCommandTextChars = 32'763;

Bytes ReadFirstPage(File& file) {
  Bytes page(static_cast<std::size_t>(std::min<std::uint64_t>(file.Size(), kPageSize)));
  file.Read(0, page);
  return page;
}

void RequireFreeName(Catalog& catalog, SortOrder order, std::string_view name) {
  RequireProvenOrder(order);
  CheckNewName(order, name);
  if (catalog.Find(name) != nullptr) throw Error(ErrorCode::kNameTaken);
}

Clock ClockOf(const Clock& given) { return given ? given : SystemClock(); }

void RequireFinished(CommitMark mark) {
  if (mark == CommitMark::kIdle) return;
  throw Error(ErrorCode::kNeedsRepair,
              mark == CommitMark::kWriting
                  ? "a write was never finished; restore a copy, or recover the file"
                  : "the file is marked as suspect; restore a copy, or recover the file");
}

void SetCensus(PageAllocator& allocator, Catalog& catalog) {
  allocator.SetCensus(
      [&pager = allocator.pager(), &catalog] { return PagesInUse(pager, catalog.Definitions()); });
}

// Runs `change` on a copy of the table's definition, as one operation.
template <class Change>
void ChangeTable(Pager& pager, Catalog& catalog, std::string_view name, const Change& change) {
  Named({.file = pager.path(), .table = name}, [&] {
    const ObjectInfo* found = catalog.Find(name);
    if (found == nullptr) throw Error(ErrorCode::kTableMissing);
    const ObjectInfo object = *found;
    const std::shared_ptr<Table> table = catalog.OpenTable(object);
    if (object.kind == ObjectKind::kSystemTable) {
      throw Error(ErrorCode::kNotSupported, "a system table keeps its shape");
    }
    Scope scope(pager);
    TableDef def = DefOf(*table);
    change(object, *table, def);
    catalog.Touch(object.id);
    catalog.ReloadTable(object.id);
    scope.Commit();
  });
}

}  // namespace

Clock SystemClock() {
  return [] {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
#ifdef _WIN32
    localtime_s(&local, &now);
#else
    localtime_r(&now, &local);
#endif
    return ToDateTime({local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                       local.tm_min, local.tm_sec});
  };
}

Database::Database(std::unique_ptr<Pager> pager, const OpenOptions& options)
    : pager_(std::move(pager)),
      allocator_(std::make_unique<PageAllocator>(*pager_)),
      header_(std::make_unique<Header>(Header::Parse(pager_->Read(PageNumber{0}).bytes()))),
      catalog_(std::make_unique<Catalog>(*allocator_, *header_, ClockOf(options.clock))) {
  if (!AcceptsPassword(options.password)) throw Error(ErrorCode::kWrongPassword);
  if (pager_->writable()) RequireFinished(header_->mark());
  pager_->SetPageKey(header_->page_key());
  SetCensus(*allocator_, *catalog_);
  if (pager_->writable()) pager_->CutLeftovers(allocator_->HighestTaken());
  catalog_->Objects();
}

Database::Database(std::unique_ptr<Pager> pager, const CreateOptions& options)
    : pager_(std::move(pager)) {
  const Clock clock = ClockOf(options.clock);
  const Header::NewFile start{.order = options.order,
                              .code_page = options.code_page,
                              .password = options.password,
                              .created = clock(),
                              .engine_build = options.engine_build};
  InitDatabase(*std::make_unique<PageAllocator>(*pager_), start, clock());
  allocator_ = std::make_unique<PageAllocator>(*pager_);
  header_ = std::make_unique<Header>(Header::Parse(pager_->Read(PageNumber{0}).bytes()));
  catalog_ = std::make_unique<Catalog>(*allocator_, *header_, clock);
  SetCensus(*allocator_, *catalog_);
}

Database::~Database() = default;

std::unique_ptr<Database> Database::Open(FileSystem& files, const std::string& path,
                                         const OpenOptions& options) {
  return Named({.file = path}, [&] {
    std::unique_ptr<File> file = files.Open(path, options.mode);
    // Nothing of a file is touched before it is known to be ours.
    Header::Parse(ReadFirstPage(*file));
    auto pager = std::make_unique<Pager>(std::move(file), options.mode == OpenMode::kExclusive,
                                         PagerLimits{.clean_bytes = options.cache_bytes,
                                                     .changed_bytes = options.max_changed_bytes});
    return std::unique_ptr<Database>(new Database(std::move(pager), options));
  });
}

std::unique_ptr<Database> Database::Create(FileSystem& files, const std::string& path,
                                           const CreateOptions& options) {
  return Named({.file = path}, [&] {
    auto pager = std::make_unique<Pager>(
        files.Create(path), true,
        PagerLimits{.clean_bytes = options.cache_bytes, .changed_bytes = options.max_changed_bytes},
        FlushMode::kPlain);
    return std::unique_ptr<Database>(new Database(std::move(pager), options));
  });
}

const std::string& Database::path() const { return pager_->path(); }
std::optional<FileId> Database::file_id() const { return pager_->file_id(); }
SortOrder Database::order() const { return header_->order(); }
bool Database::changed() const { return pager_->changed(); }
void Database::Commit() { pager_->Flush(); }

FileInfo Database::info() const {
  return {.page_count = pager_->page_count(),
          .order = header_->order(),
          .code_page = header_->code_page(),
          .engine_build = header_->engine_build(),
          .created = header_->created(),
          .has_password = header_->has_password(),
          .encoded = header_->page_key() != 0};
}

bool Database::AcceptsPassword(std::string_view password) const {
  return header_->Accepts(password);
}

std::vector<ObjectInfo> Database::Objects() {
  return Named({.file = path()}, [&] { return catalog_->Objects(); });
}

std::optional<ObjectInfo> Database::Find(std::string_view name) {
  return Named({.file = path(), .table = name}, [&]() -> std::optional<ObjectInfo> {
    const ObjectInfo* object = catalog_->Find(name);
    if (object == nullptr) return std::nullopt;
    return *object;
  });
}

std::shared_ptr<Table> Database::OpenTable(std::string_view name) {
  return Named({.file = path(), .table = name}, [&] {
    const ObjectInfo* object = catalog_->Find(name);
    if (object == nullptr) throw Error(ErrorCode::kTableMissing);
    return catalog_->OpenTable(*object);
  });
}

std::shared_ptr<Table> Database::OpenTable(const ObjectInfo& object) {
  return Named({.file = path(), .table = object.name}, [&] { return catalog_->OpenTable(object); });
}

std::shared_ptr<Table> Database::CreateTable(const TableSpec& spec) {
  return Named({.file = path(), .table = spec.name}, [&] {
    Scope scope(*pager_);
    RequireFreeName(*catalog_, order(), spec.name);
    const TableDef def = BuildTable(*allocator_, order(), spec);
    Properties properties;
    for (const ColumnSpec& column : spec.columns) {
      AddColumnProperties(properties, order(), column);
    }
    const ObjectInfo object = catalog_->AddObject(static_cast<std::int32_t>(def.page.value),
                                                  kTableObject, 0, spec.name, properties);
    std::shared_ptr<Table> table = catalog_->OpenTable(object);
    scope.Commit();
    return table;
  });
}

void Database::AppendColumn(std::string_view table, const ColumnSpec& column) {
  Scope scope(*pager_);
  bool first_variable = false;
  ChangeTable(*pager_, *catalog_, table,
              [&](const ObjectInfo& object, const Table&, TableDef& def) {
                first_variable = !def.has_variable_columns();
                AppendColumnTo(*allocator_, order(), def, column);
                Properties properties = catalog_->LoadProperties(object.id);
                // A column of that name that was dropped may have left some.
                const bool removed = properties.RemoveColumn(order(), column.name);
                const bool added = AddColumnProperties(properties, order(), column);
                if (removed || added) catalog_->StoreProperties(object.id, properties);
                first_variable = first_variable && def.has_variable_columns();
              });
  // Readers expect offsets in every row of a table that has variable columns.
  if (first_variable) TableInternals::CoreOf(*OpenTable(table)).RewriteRows();
  scope.Commit();
}

void Database::AddIndex(std::string_view table, const IndexSpec& index) {
  ChangeTable(*pager_, *catalog_, table, [&](const ObjectInfo&, const Table& open, TableDef& def) {
    AddIndexTo(*allocator_, order(), open, def, index);
  });
}

void Database::CreateQuery(std::string_view name, const QueryDefinition& definition,
                           std::string_view text) {
  Named({.file = path(), .table = name}, [&] {
    Scope scope(*pager_);
    RequireFreeName(*catalog_, order(), name);
    Properties properties;
    if (!text.empty()) {
      if (Utf16Length(text) > kMaxCommandTextChars) {
        throw Error(ErrorCode::kTextTooLong, "the text of a query has at most 32763 characters");
      }
      properties.SetText(order(), {}, kCommandTextProperty, ColumnType::kMemo, 0, text);
    }
    const std::int32_t id = catalog_->NextFreeId();
    catalog_->AddObject(id, kQueryObject, kProviderQueryFlag, name, properties);
    catalog_->AddQuery(id, definition);
    scope.Commit();
  });
}

QueryDefinition Database::LoadQuery(const ObjectInfo& query) {
  return Named({.file = path(), .table = query.name}, [&] {
    if (query.kind != ObjectKind::kQuery) {
      throw Error(ErrorCode::kTableMissing, "the object is not a query");
    }
    return catalog_->LoadQuery(query.id);
  });
}

Properties Database::LoadProperties(const ObjectInfo& object) {
  return Named({.file = path(), .table = object.name},
               [&] { return catalog_->LoadProperties(object.id); });
}

void Database::StoreProperties(const ObjectInfo& object, const Properties& properties) {
  Named({.file = path(), .table = object.name}, [&] {
    Scope scope(*pager_);
    catalog_->StoreProperties(object.id, properties);
    catalog_->Touch(object.id);
    catalog_->ReloadTable(object.id);
    scope.Commit();
  });
}

void Database::SetPassword(std::string_view password) {
  Named({.file = path()}, [&] {
    Scope scope(*pager_);
    const PageSpan page = pager_->Edit(PageNumber{0});
    Header::PutPassword(page, password);
    Header changed = Header::Parse(page);
    catalog_->RemaskSecurityIds(*header_, changed);
    scope.Commit();
    *header_ = std::move(changed);
  });
}

void Database::Discard() {
  Named({.file = path()}, [&] {
    pager_->Discard();
    *header_ = Header::Parse(pager_->Read(PageNumber{0}).bytes());
  });
}

}  // namespace jet
