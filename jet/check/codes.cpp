#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

#include "jet/check/finding.h"

namespace jet {

namespace {

using Code = Finding::Code;

struct NamedCode {
  Code code;
  std::string_view name;
};

constexpr NamedCode kNames[] = {
    {Code::kBeyondEnd, "beyond-end"},
    {Code::kTwoOwners, "two-owners"},
    {Code::kFreeInUse, "free-in-use"},
    {Code::kLostPage, "lost-page"},
    {Code::kFileSize, "file-size"},
    {Code::kCannotOpen, "cannot-open"},
    {Code::kNotChecked, "not-checked"},
    {Code::kCreationDate, "creation-date"},
    {Code::kCommitSlot, "commit-slot"},
    {Code::kSortOrder, "sort-order"},
    {Code::kPageKind, "page-kind"},
    {Code::kPageOwner, "page-owner"},
    {Code::kReleasedPage, "released-page"},
    {Code::kFreeBytes, "free-bytes"},
    {Code::kMapPlace, "map-place"},
    {Code::kMapShared, "map-shared"},
    {Code::kMapForm, "map-form"},
    {Code::kMapStray, "map-stray"},
    {Code::kMapMissing, "map-missing"},
    {Code::kDefinitionChain, "definition-chain"},
    {Code::kDefinitionLength, "definition-length"},
    {Code::kMarker, "marker"},
    {Code::kTableKind, "table-kind"},
    {Code::kLimit, "limit"},
    {Code::kUnreadable, "unreadable"},
    {Code::kNameForm, "name-form"},
    {Code::kNameTwice, "name-twice"},
    {Code::kColumnNumber, "column-number"},
    {Code::kColumnType, "column-type"},
    {Code::kColumnLength, "column-length"},
    {Code::kColumnOverlap, "column-overlap"},
    {Code::kIndexNumber, "index-number"},
    {Code::kIndexForm, "index-form"},
    {Code::kRowForm, "row-form"},
    {Code::kFieldForm, "field-form"},
    {Code::kMovedRow, "moved-row"},
    {Code::kRowCount, "row-count"},
    {Code::kAutonumber, "autonumber"},
    {Code::kLongValueForm, "long-value-form"},
    {Code::kLongValueLost, "long-value-lost"},
    {Code::kTreeForm, "tree-form"},
    {Code::kTreeLevel, "tree-level"},
    {Code::kTreeLinks, "tree-links"},
    {Code::kEntryForm, "entry-form"},
    {Code::kEntryOrder, "entry-order"},
    {Code::kSeparator, "separator"},
    {Code::kEmptyLeaf, "empty-leaf"},
    {Code::kEntryMissing, "entry-missing"},
    {Code::kEntryTwice, "entry-twice"},
    {Code::kEntryStray, "entry-stray"},
    {Code::kEntryKey, "entry-key"},
    {Code::kKeyTwice, "key-twice"},
    {Code::kKeyCount, "key-count"},
    {Code::kNullInKey, "null-in-key"},
    {Code::kSystemTable, "system-table"},
    {Code::kObjectField, "object-field"},
    {Code::kObjectTwice, "object-twice"},
    {Code::kObjectParent, "object-parent"},
    {Code::kObjectMissing, "object-missing"},
    {Code::kSecurityId, "security-id"},
    {Code::kProperties, "properties"},
    {Code::kRights, "rights"},
    {Code::kQueryRows, "query-rows"},
    {Code::kRelation, "relation"},
    {Code::kUnusualHeader, "unusual-header"},
    {Code::kUnusualPage, "unusual-page"},
    {Code::kUnusualMap, "unusual-map"},
    {Code::kUnusualDefinition, "unusual-definition"},
    {Code::kUnusualColumn, "unusual-column"},
    {Code::kUnusualIndex, "unusual-index"},
    {Code::kUnusualRow, "unusual-row"},
    {Code::kUnusualLongValue, "unusual-long-value"},
    {Code::kUnusualTree, "unusual-tree"},
    {Code::kUnusualObject, "unusual-object"},
};

constexpr auto kCodes = [] {
  std::array<Code, std::size(kNames)> codes{};
  for (std::size_t i = 0; i < codes.size(); ++i) codes[i] = kNames[i].code;
  return codes;
}();
static_assert(std::ranges::is_sorted(kCodes) &&
                  static_cast<std::size_t>(kCodes.back()) + 1 == kCodes.size(),
              "every code has its name, at its place");

}  // namespace

std::string_view NameOf(Finding::Severity severity) {
  static constexpr std::string_view kWords[] = {"problem", "warning", "unusual", "not checked"};
  return kWords[static_cast<std::size_t>(severity)];
}

std::string_view NameOf(Finding::Code code) { return kNames[static_cast<std::size_t>(code)].name; }

std::span<const Finding::Code> FindingCodes() { return kCodes; }

std::string FormatFinding(const Finding& finding) {
  std::string place;
  const auto add = [&place](const std::string& part) {
    if (!place.empty()) place += ' ';
    place += part;
  };
  if (finding.page) add(fmt::format("page {}", finding.page->value));
  if (finding.row) add(fmt::format("row {}", *finding.row));
  if (!finding.table.empty()) {
    if (!place.empty()) place += ',';
    add(fmt::format("table {}", finding.table));
  }
  if (place.empty()) place = "file";
  return fmt::format("{}: {}", place, finding.text);
}

}  // namespace jet
