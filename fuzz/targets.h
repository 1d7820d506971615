// The functions behind the targets.
#pragma once

#include <cstdint>

#include "jet/base/types.h"

namespace fuzz {

// A file: open, walk everything, check; what is called sound reads to the end.
void OpenFile(jet::ByteView file);
// A file: every kind of change, then a commit; nothing but the changes differs.
void ChangeFile(jet::ByteView file);
// A file: the ladder of its kind, kept or dropped; nothing is harmed.
void UpgradeData(jet::ByteView file);
void UpgradeTenkai(jet::ByteView file);
// A file: SELECTs over its tables and its saved queries, which end with rows or with
// an error of the engine or of a query.
void SelectFile(jet::ByteView file);
struct SelectCounts {
  std::uint64_t ran = 0, refused = 0, rows = 0;
};
// The same, counting what became of them.
SelectCounts RunSelects(jet::ByteView file);
// A file: what is saved of it is a sound file; it is not written to itself.
void RecoverFile(jet::ByteView file);
// A damaged file of which the sound state is known (recover_target.h): no row whose
// bytes are all there is lost, none comes in that was not there.
void RecoverDamage(jet::ByteView input);
void RecoverRealDamage(jet::ByteView input);
// A file: refused if it is not sound, else a sound file that holds the same, and that is
// not changed by doing it again.
void CompactFile(jet::ByteView file);
struct CompactCounts {
  std::uint64_t done = 0, refused = 0, rows = 0;
};
// The same, counting what became of it.
CompactCounts RunCompact(jet::ByteView file);
// A text: what can be parsed can be formatted and is the same when parsed again;
// what runs ends.
void SqlText(jet::ByteView text);
// Rows of a saved query, spoilt: refused, or a text; where that parses, it holds
// like any other. What runs ends.
void QueryRows(jet::ByteView rows);
// A property blob: what can be parsed is written as it was read.
void PropertyBlob(jet::ByteView blob);
// UTF-16 units, three texts in a row: keys are the same each time and order well.
void SortKeys(jet::ByteView units);

}  // namespace fuzz
