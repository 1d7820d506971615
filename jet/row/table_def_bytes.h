// A table's definition as bytes: what its chain of pages holds, in one piece.
//
//   0x00     of the first page, not of the content
//   0x08 u32 length                      0x2B u16 next variable slot
//   0x0C u32 marker 659                  0x2D u16 columns
//   0x10 u32 rows                        0x2F u32 logical indexes
//   0x14 u32 last autonumber             0x33 u32 real indexes
//   0x18 u32 step of autonumbers         0x37 u32 map of pages owned
//   0x28 u8  kind: user, system          0x3B u32 map of pages with room
//   0x29 u16 next column id
//   0x3F     12 bytes of statistics a real index: u32 rows, u32 distinct keys, u32
//   then     columns (25 bytes each), their names; real indexes (52 bytes each),
//            logical indexes (28 bytes each), their names; maps of long values
//            (u16 column id, u32 owned, u32 with room); FFFF
//
// A name is a u16 length in bytes and UTF-16. A map is the address of its row.
#pragma once

#include "jet/row/table_def.h"

namespace jet {

// Fills `def`, of which `page` is set. Every count and length is checked against the
// bytes there. kDamaged, not always with a page.
void ReadDefinition(ByteView content, TableDef& def);
// From the start of the first page to behind the closing mark. The first eight bytes,
// which belong to the page, are zero.
Bytes WriteDefinition(const TableDef& def);
// What StoreCounters writes, and the part of the first page in which that stands.
void PutCounters(const TableDef& def, PageSpan first_page);
PagePart PartOfCounters(const TableDef& def);

}  // namespace jet
