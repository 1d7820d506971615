// What the integrity checker finds.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "jet/base/types.h"

namespace jet {

struct Finding {
  enum class Severity {
    kProblem,     // damage
    kWarning,     // untidy but harmless
    kUnusual,     // sound, but not as files of the original engine are
    kNotChecked,  // what could not be looked into, mostly because of damage
  };
  // What kind of thing was found. Its name (NameOf) never changes; texts may.
  enum class Code {
    // The file as a whole.
    kBeyondEnd,
    kTwoOwners,
    kFreeInUse,
    kLostPage,
    kFileSize,
    kCannotOpen,
    kNotChecked,
    // Page 0.
    kCreationDate,
    kCommitSlot,
    kSortOrder,
    // Pages.
    kPageKind,
    kPageOwner,
    kReleasedPage,
    kFreeBytes,
    // Usage maps.
    kMapPlace,
    kMapShared,
    kMapForm,
    kMapStray,
    kMapMissing,
    // Definitions.
    kDefinitionChain,
    kDefinitionLength,
    kMarker,
    kTableKind,
    kLimit,
    kUnreadable,
    kNameForm,
    kNameTwice,
    kColumnNumber,
    kColumnType,
    kColumnLength,
    kColumnOverlap,
    kIndexNumber,
    kIndexForm,
    // Rows and long values.
    kRowForm,
    kFieldForm,
    kMovedRow,
    kRowCount,
    kAutonumber,
    kLongValueForm,
    kLongValueLost,
    // Indexes.
    kTreeForm,
    kTreeLevel,
    kTreeLinks,
    kEntryForm,
    kEntryOrder,
    kSeparator,
    kEmptyLeaf,
    kEntryMissing,
    kEntryTwice,
    kEntryStray,
    kEntryKey,
    kKeyTwice,
    kKeyCount,
    kNullInKey,
    // The catalog.
    kSystemTable,
    kObjectField,
    kObjectTwice,
    kObjectParent,
    kObjectMissing,
    kSecurityId,
    kProperties,
    kRights,
    kQueryRows,
    kRelation,
    // Unlike files of the original engine, by structure.
    kUnusualHeader,
    kUnusualPage,
    kUnusualMap,
    kUnusualDefinition,
    kUnusualColumn,
    kUnusualIndex,
    kUnusualRow,
    kUnusualLongValue,
    kUnusualTree,
    kUnusualObject,
  };
  Severity severity = Severity::kProblem;
  Code code = Code::kUnreadable;
  std::string table;        // empty: the file as a whole
  std::string other_table;  // that claims the same page
  std::optional<PageNumber> page;
  std::optional<std::uint8_t> row;
  std::string text;
};
std::string_view NameOf(Finding::Severity severity);  // "problem"
std::string_view NameOf(Finding::Code code);          // "beyond-end"
// All of them, in the order above.
std::span<const Finding::Code> FindingCodes();
// "page 12 row 3, table 設定: ..."
std::string FormatFinding(const Finding& finding);

struct CheckResult {
  // In the order of the walk; the first 10,000 of each severity.
  std::vector<Finding> findings;
  // All of them.
  std::uint64_t problems = 0, warnings = 0, unusual = 0, not_checked = 0;
  std::uint64_t pages = 0, tables = 0, rows = 0, index_entries = 0;
  std::uint64_t unverified_keys = 0;  // texts without a proven sort key
  bool sound() const { return problems == 0; }
};

}  // namespace jet
