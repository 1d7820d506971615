#include "jet/check/seen.h"

#include <algorithm>

#include "jet/base/system_ids.h"

namespace jet::check {

namespace {

using Code = Finding::Code;

constexpr Range One(std::int64_t value) { return {value, value}; }
constexpr Range kZero = One(0);
constexpr std::int64_t kMost = 0xFFFFFFFF;

constexpr SeenField kSeen[] = {
    {Field::kWord18, Code::kUnusualHeader, "the word at 18", {One(0x100)}},
    {Field::kWord1C, Code::kUnusualHeader, "the word at 1C", {One(0x101)}},
    {Field::kObjectsAt, Code::kUnusualHeader, "the page of MSysObjects", {One(kObjectsPage.value)}},
    {Field::kAcesAt, Code::kUnusualHeader, "the page of MSysACEs", {One(kAccessPage.value)}},
    {Field::kQueriesAt, Code::kUnusualHeader, "the page of MSysQueries", {One(kQueriesPage.value)}},
    {Field::kRelationshipsAt,
     Code::kUnusualHeader,
     "the page of MSysRelationships",
     {One(kRelationshipsPage.value)}},
    {Field::kHeaderZeros, Code::kUnusualHeader, "bytes that are not zero", {kZero}},
    {Field::kCodePage, Code::kUnusualHeader, "the code page", {One(932), One(1252)}},
    {Field::kBuild,
     Code::kUnusualHeader,
     "the engine's build",
     {One(4518), One(6218), One(8618), One(9025), One(9511), One(9756)}},
    {Field::kLanguage, Code::kUnusualHeader, "the language", {One(1033), One(1041)}},
    {Field::kSortVersion, Code::kUnusualHeader, "the sort id and version", {kZero}},
    {Field::kPasswordTail, Code::kUnusualHeader, "characters behind the password", {kZero}},
    {Field::kFormatWord, Code::kUnusualHeader, "the word at 98", {One(0x654)}},
    {Field::kFormatText, Code::kUnusualHeader, "the text at 9C", {One(0x302E34)}},
    {Field::kFirstSlot, Code::kUnusualHeader, "commit slot 0", {{0x101, 0xFFFF}}},
    {Field::kSlots, Code::kUnusualHeader, "a commit slot", {{0x100, 0xFFFF}}},

    {Field::kRowPageWord8, Code::kUnusualPage, "the word at 8", {kZero}},
    {Field::kSlotFlag, Code::kUnusualPage, "the flag 2000 of a slot", {kZero}},
    {Field::kGlobalRows, Code::kUnusualPage, "rows", {One(2)}},
    {Field::kMapPageOwner, Code::kUnusualPage, "the owner of a page of maps", {kZero}},
    {Field::kBitmapWord2, Code::kUnusualPage, "the word at 2 of a page of bits", {kZero}},

    // Rows of maps grow by four bytes to reach a page behind their end, and begin
    // anew at the page's group of eight when they are empty.
    {Field::kMapBytes, Code::kUnusualMap, "bytes", {{69, 4080}}},
    {Field::kMapOddBytes, Code::kUnusualMap, "bytes over a whole number of words", {kZero}},
    {Field::kMapOddStart, Code::kUnusualMap, "first page, modulo 8", {kZero}},
    {Field::kMapFirstMark, Code::kUnusualMap, "pages before the first one marked", {{0, 511}}},
    {Field::kListBytes, Code::kUnusualMap, "bytes of a list", {One(69)}},
    {Field::kGlobalStart, Code::kUnusualMap, "first page", {kZero}},
    {Field::kGlobalBytes, Code::kUnusualMap, "bytes more than the file's pages take", {kZero}},
    {Field::kMapPages, Code::kUnusualMap, "pages that hold the maps of the table", {One(1)}},

    {Field::kStep, Code::kUnusualDefinition, "the increment of autonumbers", {One(1)}},
    {Field::kStatistic8, Code::kUnusualDefinition, "the third count of an index tree", {kZero}},
    {Field::kBytesBehind, Code::kUnusualDefinition, "bytes behind the end, not zero", {kZero}},

    {Field::kUserFlags, Code::kUnusualColumn, "flags", {{2, 3}, {6, 7}, One(0x43), {0x82, 0x82}}},
    {Field::kSystemFlags, Code::kUnusualColumn, "flags", {{2, 3}, One(6), {0x12, 0x13}, One(0x32)}},
    {Field::kTextFlags, Code::kUnusualColumn, "text flags", {{0, 1}, One(4), One(8), One(16)}},
    {Field::kColumnWord17, Code::kUnusualColumn, "the word at 17", {kZero}},
    {Field::kSystemPosition, Code::kUnusualColumn, "the position", {kZero}},
    {Field::kColumnLanguage,
     Code::kUnusualColumn,
     "the language",
     {kZero, One(1033), One(1041), One(1053)}},
    {Field::kBooleanBytes, Code::kUnusualColumn, "the length", {{0, 1}}},
    {Field::kBooleanOffset, Code::kUnusualColumn, "the offset", {kZero}},
    {Field::kOtherBytes, Code::kUnusualColumn, "bytes more than its type has", {kZero}},
    {Field::kFixedSlot, Code::kUnusualColumn, "variable columns counted too many", {kZero}},
    {Field::kFixedGap, Code::kUnusualColumn, "bytes unused before it", {kZero}},

    {Field::kPartOrder, Code::kUnusualIndex, "the order of a column", {{0, 1}}},
    {Field::kTreeFlags, Code::kUnusualIndex, "flags", {{0x80, 0x83}, {0x88, 0x89}}},
    {Field::kPrimaryFlags, Code::kUnusualIndex, "flags of a primary key", {One(0x89)}},
    {Field::kTreeTail, Code::kUnusualIndex, "bytes at the end, not zero", {kZero}},
    {Field::kSide, Code::kUnusualIndex, "the side of the relation", {{0, 2}}},
    {Field::kPlainCascade, Code::kUnusualIndex, "a cascade without a relation", {One(4)}},
    {Field::kRelationCascade, Code::kUnusualIndex, "a cascade", {{0, 1}}},
    {Field::kPlainOtherIndex, Code::kUnusualIndex, "the other index, of none", {One(kMost)}},
    {Field::kPlainOtherTable, Code::kUnusualIndex, "the other table, of none", {kZero}},
    {Field::kIndexWord24, Code::kUnusualIndex, "the word at 24", {kZero}},

    {Field::kRowBytes, Code::kUnusualRow, "bytes", {{3, 4060}}},
    {Field::kVariableStart, Code::kUnusualRow, "bytes unused before the variable ones", {kZero}},

    {Field::kInlineBytes, Code::kUnusualLongValue, "bytes in the row", {{0, 64}}},
    {Field::kInlineAddress, Code::kUnusualLongValue, "an address or stamp in the row", {kZero}},
    {Field::kSingleBytes, Code::kUnusualLongValue, "bytes on one page", {{1, 3816}}},
    {Field::kSingleSpare,
     Code::kUnusualLongValue,
     "bytes on its page that it does not count",
     {kZero}},
    {Field::kSingleStamp, Code::kUnusualLongValue, "the stamp of a value on one page", {kZero}},
    {Field::kChainPiece, Code::kUnusualLongValue, "bytes of a piece before the last", {One(4072)}},
    {Field::kChainStamp, Code::kUnusualLongValue, "the stamp of a chain", {{1, kMost}}},
    {Field::kChainRows, Code::kUnusualLongValue, "rows on the page of a chain", {One(1)}},

    {Field::kTreeWord8, Code::kUnusualTree, "the word at 8", {kZero}},
    {Field::kLeafTail, Code::kUnusualTree, "the last child of a leaf", {kZero}},
    {Field::kNodePrefix, Code::kUnusualTree, "the shared beginning in a node", {kZero}},
    {Field::kNodeEntries, Code::kUnusualTree, "entries of a node", {{1, 3616}}},
    {Field::kLonePrefix, Code::kUnusualTree, "the shared beginning of one entry", {kZero}},

    {Field::kContainerFlags,
     Code::kUnusualObject,
     "flags of a container",
     {kZero, One(0x80000000)}},
    {Field::kDatabaseFlags, Code::kUnusualObject, "flags of the database", {One(0x80000000)}},
    {Field::kSystemTableFlags,
     Code::kUnusualObject,
     "flags of a system table",
     {One(2), One(10), One(0x80000000)}},
    {Field::kUserTableFlags, Code::kUnusualObject, "flags of a table", {kZero, One(0x800A0000)}},
    {Field::kQueryFlags,
     Code::kUnusualObject,
     "flags of a query",
     {kZero, One(0x10), One(0x20), One(0x30), One(0x40), One(0x50), One(0x60), One(0x70), One(0x80),
      One(0x10000000)}},
    {Field::kTableParent,
     Code::kUnusualObject,
     "the parent of a table or query",
     {One(0x0F000001)}},
    {Field::kTableLinks, Code::kUnusualObject, "link fields of a table that are not Null", {kZero}},
};

constexpr bool InOrder() {
  for (std::size_t i = 0; i < std::size(kSeen); ++i) {
    if (static_cast<std::size_t>(kSeen[i].field) != i) return false;
  }
  return static_cast<std::size_t>(Field::kTableLinks) + 1 == std::size(kSeen);
}
static_assert(InOrder(), "every field has its row, at its place");

}  // namespace

std::span<const SeenField> SeenFields() { return kSeen; }

const SeenField& Seen(Field field) { return kSeen[static_cast<std::size_t>(field)]; }

bool IsSeen(Field field, std::int64_t value) {
  return std::ranges::any_of(Seen(field).ranges, [value](const Range& range) {
    return range.first <= value && value <= range.last;
  });
}

}  // namespace jet::check
