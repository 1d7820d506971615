// What is seen in sound files of the original engine, field by field. A file of
// ours that leaves these ranges is readable, but shows that it is ours.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "jet/check/finding.h"

namespace jet::check {

// A value in a file, or a fact that follows from several.
enum class Field {
  // Page 0.
  kWord18,
  kWord1C,
  kObjectsAt,
  kAcesAt,
  kQueriesAt,
  kRelationshipsAt,
  kHeaderZeros,
  kCodePage,
  kBuild,
  kLanguage,
  kSortVersion,
  kPasswordTail,
  kFormatWord,
  kFormatText,
  kFirstSlot,
  kSlots,
  // Pages.
  kRowPageWord8,
  kSlotFlag,
  kGlobalRows,
  kMapPageOwner,
  kBitmapWord2,
  // Usage maps.
  kMapBytes,
  kMapOddBytes,
  kMapOddStart,
  kMapFirstMark,
  kListBytes,
  kGlobalStart,
  kGlobalBytes,
  kMapPages,
  // Definitions.
  kStep,
  kStatistic8,
  kBytesBehind,
  // Columns.
  kUserFlags,
  kSystemFlags,
  kTextFlags,
  kColumnWord17,
  kSystemPosition,
  kColumnLanguage,
  kBooleanBytes,
  kBooleanOffset,
  kOtherBytes,
  kFixedSlot,
  kFixedGap,
  // Indexes.
  kPartOrder,
  kTreeFlags,
  kPrimaryFlags,
  kTreeTail,
  kSide,
  kPlainCascade,
  kRelationCascade,
  kPlainOtherIndex,
  kPlainOtherTable,
  kIndexWord24,
  // Rows.
  kRowBytes,
  kVariableStart,
  // Long values.
  kInlineBytes,
  kInlineAddress,
  kSingleBytes,
  kSingleSpare,
  kSingleStamp,
  kChainPiece,
  kChainStamp,
  kChainRows,
  // Pages of indexes.
  kTreeWord8,
  kLeafTail,
  kNodePrefix,
  kNodeEntries,
  kLonePrefix,
  // Objects.
  kContainerFlags,
  kDatabaseFlags,
  kSystemTableFlags,
  kUserTableFlags,
  kQueryFlags,
  kTableParent,
  kTableLinks,
};

struct Range {
  std::int64_t first = 0, last = -1;  // no value at all
};

struct SeenField {
  Field field;
  Finding::Code code;
  std::string_view name;
  Range ranges[10];
};

// All fields, in the order above.
std::span<const SeenField> SeenFields();
const SeenField& Seen(Field field);
bool IsSeen(Field field, std::int64_t value);

}  // namespace jet::check
