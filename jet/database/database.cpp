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
#include "jet/storage/pager.h"

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

Database::Database(std::unique_ptr<Pager> pager, Header header, Clock clock)
    : pager_(std::move(pager)),
      allocator_(std::make_unique<PageAllocator>(*pager_)),
      header_(std::move(header)),
      catalog_(std::make_unique<Catalog>(*allocator_, header_,
                                         clock ? std::move(clock) : SystemClock())) {
  allocator_->SetCensus([this] { return PagesInUse(*pager_, catalog_->Definitions()); });
}

Database::~Database() = default;

const std::string& Database::path() const { return pager_->path(); }
std::optional<FileId> Database::file_id() const { return pager_->file_id(); }
std::uint32_t Database::page_count() const { return pager_->page_count(); }
bool Database::changed() const { return pager_->changed(); }
void Database::Commit() { pager_->Flush(); }

std::unique_ptr<Database> Database::Open(FileSystem& files, const std::string& path,
                                         const OpenOptions& options) {
  return Named({.file = path}, [&] {
    const bool writable = options.mode == OpenMode::kExclusive;
    std::unique_ptr<File> file = files.Open(path, options.mode);
    // Nothing of a file is touched before it is known to be ours.
    Header::Parse(ReadFirstPage(*file));
    auto pager = std::make_unique<Pager>(std::move(file), writable, options.limits);
    Header header = Header::Parse(pager->Read(PageNumber{0}).bytes());
    if (!header.Accepts(options.password)) throw Error(ErrorCode::kWrongPassword);
    if (writable && header.mark() != CommitMark::kIdle) {
      throw Error(ErrorCode::kNeedsRepair,
                  header.mark() == CommitMark::kWriting
                      ? "a write was never finished; restore a copy, or recover the file"
                      : "the file is marked as suspect; restore a copy, or recover the file");
    }
    pager->SetPageKey(header.page_key());
    std::unique_ptr<Database> database(
        new Database(std::move(pager), std::move(header), options.clock));
    if (writable) database->pager_->CutLeftovers(database->allocator_->HighestTaken());
    database->catalog_->Objects();
    return database;
  });
}

std::unique_ptr<Database> Database::Create(FileSystem& files, const std::string& path,
                                           const CreateOptions& options) {
  return Named({.file = path}, [&] {
    const Clock clock = options.clock ? options.clock : SystemClock();
    Header::NewFile start;
    start.order = options.order;
    start.code_page = options.code_page;
    start.password = options.password;
    start.engine_build = options.engine_build;
    start.created = clock();
    auto pager =
        std::make_unique<Pager>(files.Create(path), true, options.limits, FlushMode::kPlain);
    PageAllocator allocator(*pager);
    InitDatabase(allocator, start, clock());
    Header header = Header::Parse(pager->Read(PageNumber{0}).bytes());
    return std::unique_ptr<Database>(new Database(std::move(pager), std::move(header), clock));
  });
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
  ChangeTable(table, [&](const ObjectInfo& object, const Table&, TableDef& def) {
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
  if (first_variable) OpenTable(table)->RewriteRows();
  scope.Commit();
}

void Database::AddIndex(std::string_view table, const IndexSpec& index) {
  ChangeTable(table, [&](const ObjectInfo&, const Table& open, TableDef& def) {
    AddIndexTo(*allocator_, order(), open, def, index);
  });
}

void Database::ChangeTable(
    std::string_view name,
    const std::function<void(const ObjectInfo&, const Table&, TableDef&)>& change) {
  Named({.file = path(), .table = name}, [&] {
    const std::shared_ptr<Table> table = OpenTable(name);
    const ObjectInfo object = *catalog_->Find(name);
    if (object.kind == ObjectKind::kSystemTable) {
      throw Error(ErrorCode::kNotSupported, "a system table keeps its shape");
    }
    Scope scope(*pager_);
    TableDef def = table->def();
    change(object, *table, def);
    catalog_->Touch(object.id);
    catalog_->ReloadTable(object.id);
    scope.Commit();
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
    catalog_->RemaskSecurityIds(header_, changed);
    scope.Commit();
    header_ = std::move(changed);
  });
}

void Database::Discard() {
  Named({.file = path()}, [&] {
    pager_->Discard();
    header_ = Header::Parse(pager_->Read(PageNumber{0}).bytes());
  });
}

}  // namespace jet
