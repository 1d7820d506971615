#include "jet/check/tables_ahead.h"

#include <algorithm>

#include "jet/base/bytes.h"
#include "jet/base/threads.h"
#include "jet/check/definition.h"
#include "jet/check/tables.h"

namespace jet::check {

namespace {
// In the definition, to guess how long a table takes.
constexpr std::uint8_t kDefinitionType = 2;
constexpr std::size_t kRowCount = 16, kColumnCount = 45;
constexpr std::uint64_t kLeastFields = 10'000;  // less is not worth a thread
}  // namespace

TablesAhead::TablesAhead(const Context& context, const Parallel& parallel)
    : context_(&context), parallel_(&parallel) {}

void TablesAhead::Add(std::string name, PageNumber definition) {
  if (parallel_->threads < 2 || !definition || !context_->ledger.Exists(definition)) return;
  const PageRef page = context_->pager.Read(definition);
  if (page.bytes()[0] != kDefinitionType) return;
  const std::uint64_t fields =
      std::uint64_t{GetU32(page.bytes(), kRowCount)} * GetU16(page.bytes(), kColumnCount);
  if (fields >= kLeastFields) tables_.push_back({std::move(name), definition, fields});
}

void TablesAhead::Run() {
  if (tables_.size() < 2) return tables_.clear();
  std::ranges::stable_sort(tables_, std::greater{}, &Table::fields);
  RunOnThreads(parallel_->threads, tables_.size(), [this](std::size_t i) { Check(tables_[i]); });
}

void TablesAhead::Check(Table& table) const {
  try {
    const std::unique_ptr<Pager> pager = parallel_->open();
    Report report(table.counts);
    Ledger ledger(*pager, report);
    const Context own{*pager, context_->header, report, ledger, table.counts};
    std::optional<TableDef> def = ReadDefinition(own, table.page, table.name);
    if (!def) return;
    TableCheck(own, table.name, *def).Run();
    std::optional<Ledger::Claims> claims = ledger.TakeClaims();
    if (!table.counts.findings.empty() || !claims) return;
    table.claims = std::move(*claims);
    table.def = std::move(def);
  } catch (const std::exception&) {
    // The walk comes to the same, and says so.
    table.def.reset();
  }
}

std::optional<TableDef> TablesAhead::Take(PageNumber definition) {
  const auto table = std::ranges::find(tables_, definition, &Table::page);
  if (table == tables_.end() || !table->def || !context_->ledger.TakeOver(table->claims)) {
    return std::nullopt;
  }
  context_->result.tables += table->counts.tables;
  context_->result.rows += table->counts.rows;
  context_->result.index_entries += table->counts.index_entries;
  table->claims = {};
  return std::move(table->def);
}

}  // namespace jet::check
