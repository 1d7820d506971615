#include "jet/recover/copy_tables.h"

#include <fmt/format.h>

#include <set>

#include "jet/database/system_tables.h"
#include "jet/recover/raw_rows.h"
#include "jet/recover/table_copy.h"

namespace jet::recover {
namespace {

using Source = RecoverReport::Source;

constexpr char kLostTable[] = "復旧";

// A table to be carried over, by all that is known of it.
struct Plan {
  PageNumber page;  // of its definition
  const TableDef* def = nullptr;
  bool whole = true;                  // the definition is the table's own and whole
  const OldObject* object = nullptr;  // in the catalog; null: its row is lost
  const KnownTable* known = nullptr;  // what stands for what is lost
  Source definition = Source::kFile;
};

class TablesCopy {
 public:
  TablesCopy(OldFile& old, NewFile& file, const RecoverOptions& options, DateTime now,
             RecoverReport& report)
      : old_(old), file_(file), options_(options), now_(now), report_(report) {}

  CopiedTables Run() {
    Learn();
    CopyDefined();
    CopyUndefined();
    return std::move(tables_);
  }

 private:
  void Learn();
  void CopyDefined();
  void CopyUndefined();
  void CopyRowsOf(PageNumber owner);
  void Copy(const Plan& plan);
  NewObject ObjectFor(const Plan& plan, RecoverReport::Table& report);
  std::string NameFor(const Plan& plan, RecoverReport::Table& report);
  bool IsDefined(PageNumber page) const { return old_.definitions().contains(page); }

  OldFile& old_;
  NewFile& file_;
  const RecoverOptions& options_;
  DateTime now_;
  RecoverReport& report_;
  KnownTables known_;
  std::map<PageNumber, std::string> names_;  // that other tables hold
  CopiedTables tables_;
  std::set<PageNumber> done_;
};

// Rows that were there, as far as the definition knows, and were not met.
// A count beyond all that `most_pages` could hold is damaged itself.
void CountLost(const Plan& plan, std::uint64_t most_pages, RecoverReport::Table& report) {
  const std::uint64_t met = report.whole + report.partly + report.lost;
  if (!plan.whole) {
    if (!report.lost_pages.empty()) report.losses.emplace_back("rows of the pages that are lost");
  } else if (plan.def->row_count == met && report.lost == 0) {
    report.lost_pages.clear();  // there was nothing on them
  } else if (plan.def->row_count > met &&
             plan.def->row_count <= met + kMaxRowsOnPage * most_pages) {
    report.lost += plan.def->row_count - met;
  }
}

// Asks for what is known, and looks further for names, only where something is lost.
void TablesCopy::Learn() {
  const auto is_named = [this](PageNumber page) {
    return FindSystemTable(page) != nullptr || old_.catalog().Find(page) != nullptr;
  };
  bool all_named = true;
  for (const auto& [page, definition] : old_.definitions()) {
    all_named = all_named && is_named(page);
  }
  bool all_defined = old_.owners().OwnersWithoutDefinition().empty();
  for (const OldObject& object : old_.catalog().objects) {
    if (!object.is_table()) continue;
    all_defined = all_defined && IsDefined({static_cast<std::uint32_t>(object.id)});
  }
  for (const auto& [page, definition] : old_.definitions()) {
    all_defined = all_defined && (definition.whole || FindSystemTable(page) != nullptr);
  }
  if (!all_named) names_ = NamesElsewhere(old_);
  if ((!all_named || !all_defined) && options_.known) known_ = {options_.known(), old_};
}

std::string TablesCopy::NameFor(const Plan& plan, RecoverReport::Table& report) {
  if (plan.object != nullptr) return plan.object->name;
  if (const auto named = names_.find(plan.page); named != names_.end()) {
    report.named = Source::kOther;
    return named->second;
  }
  if (plan.known != nullptr) {
    report.named = Source::kKnown;
    return plan.known->name;
  }
  report.named = Source::kNone;
  report.losses.emplace_back("its name");
  return fmt::format("{}_{}", kLostTable, plan.page.value);
}

NewObject TablesCopy::ObjectFor(const Plan& plan, RecoverReport::Table& report) {
  NewObject object;
  object.created = object.updated = now_;
  const std::string name = NameFor(plan, report);
  bool has_properties = false;
  if (plan.object != nullptr) {
    object.type = plan.object->type;
    object.flags = plan.object->flags;
    object.created = plan.object->created;
    object.updated = plan.object->updated;
    object.properties = plan.object->properties;
    object.other_fields = plan.object->other_fields;
    has_properties = !plan.object->lost_properties;
  }
  if (!has_properties && plan.known != nullptr && plan.known->name == name) {
    object.properties = plan.known->properties;
  } else if (!has_properties) {
    report.losses.emplace_back("its properties");
  }
  object.name = file_.FreeName(name);
  if (object.name != name) report.losses.push_back(fmt::format("its name {}", name));
  report.name = object.name;
  return object;
}

void TablesCopy::Copy(const Plan& plan) {
  RecoverReport::Table report;
  report.page = plan.page;
  report.definition = plan.definition;
  const NewObject object = ObjectFor(plan, report);
  if (options_.progress) options_.progress(object.name);
  if (plan.definition == Source::kColumns) report.losses.emplace_back("its indexes");
  if (plan.definition == Source::kKnown) {
    report.losses.emplace_back("its own definition, and with it how many rows there were");
  }
  {
    const RowJudge judge(*plan.def);
    OldRows rows = old_.RowsOf(plan.page, judge);
    TableCopy copy(file_, *plan.def, object.properties, report);
    copy.CopyRows(rows);
    const ObjectInfo info = copy.Finish(object, plan.whole ? plan.def->last_autonumber : 0);
    tables_.emplace(plan.object != nullptr ? plan.object->name : object.name, info);
  }
  CountLost(plan, old_.scan().page_count(), report);
  report_.tables.push_back(std::move(report));
}

// In the order of the catalog, then those that it does not know.
void TablesCopy::CopyDefined() {
  for (const SystemTableSpec& spec : SystemTables()) done_.insert(spec.page);
  const auto copy = [this](const OldDefinition& old, const OldObject* object) {
    Plan plan{old.def.page, &old.def, old.whole, object};
    if (object == nullptr && !names_.contains(plan.page))
      plan.known = known_.ByColumns(old_, old.def);
    if (object != nullptr) plan.known = known_.ByName(object->name);
    if (!old.whole) plan.definition = Source::kColumns;
    if (!old.whole && plan.known != nullptr && HaveSameColumns(plan.known->def, old.def)) {
      plan.def = &plan.known->def;  // with its indexes
      plan.definition = Source::kKnown;
    }
    Copy(plan);
  };
  for (const OldObject& object : old_.catalog().objects) {
    const PageNumber page{static_cast<std::uint32_t>(object.id)};
    const auto found = old_.definitions().find(page);
    if (!object.is_table() || found == old_.definitions().end()) continue;
    if (done_.insert(page).second) copy(found->second, &object);
  }
  for (const auto& [page, definition] : old_.definitions()) {
    if (done_.insert(page).second) copy(definition, nullptr);
  }
}

// Rows without a definition go into the one known table that they all fit, else into a
// table as they are.
void TablesCopy::CopyRowsOf(PageNumber owner) {
  done_.insert(owner);
  Plan plan{owner, nullptr, false, old_.catalog().Find(owner)};
  plan.known = known_.ByRows(old_, owner, plan.object == nullptr ? "" : plan.object->name);
  if (plan.known != nullptr) {
    plan.def = &plan.known->def;
    plan.definition = Source::kKnown;
    return Copy(plan);
  }
  RecoverReport::Table report;
  report.page = owner;
  report.definition = report.named = Source::kNone;
  report.name = file_.FreeName(fmt::format("{}_{}", kLostTable, owner.value));
  report.losses.push_back(plan.object == nullptr ? "its definition and its name"
                                                 : "the definition of " + plan.object->name);
  CopyRawRows(old_, owner, file_, now_, report);
  if (report.partly != 0) report_.tables.push_back(std::move(report));
}

void TablesCopy::CopyUndefined() {
  for (const PageNumber owner : old_.owners().OwnersWithoutDefinition()) CopyRowsOf(owner);
  for (const OldObject& object : old_.catalog().objects) {
    const PageNumber page{static_cast<std::uint32_t>(object.id)};
    if (!object.is_table() || !done_.insert(page).second) continue;
    // Nothing is left but its name.
    Plan plan{page, nullptr, false, &object};
    plan.known = known_.ByName(object.name);
    plan.definition = Source::kKnown;
    if (plan.known == nullptr) {
      report_.losses.push_back(fmt::format("the table {}", object.name));
      continue;
    }
    plan.def = &plan.known->def;
    Copy(plan);
  }
}

}  // namespace

CopiedTables CopyTables(OldFile& old, NewFile& file, const RecoverOptions& options, DateTime now,
                        RecoverReport& report) {
  return TablesCopy(old, file, options, now, report).Run();
}

}  // namespace jet::recover
