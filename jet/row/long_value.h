// Memo and OLE values: inside the row, on a page of long values, or chained
// over several pages. The row holds a descriptor:
//
//   u32 length (bits 0-29) and kind (bits 30-31): 10 inline, 01 one row, 00 chain
//   u32 address of the row or of the chain's first row
//   u32 stamp, equal to the one on the chain's first page; else 0
//   the value, if inline
#pragma once

#include <functional>

#include "jet/pages/page_allocator.h"
#include "jet/row/table_def.h"

namespace jet {

inline constexpr std::size_t kLongValueDescriptorBytes = 12;
inline constexpr std::size_t kMaxInlineBytes = 64;
inline constexpr std::size_t kMaxSingleBytes = 3816;
inline constexpr std::size_t kMaxLongValueBytes = 0x3FFF'FFFF;
inline constexpr std::size_t kChainLinkBytes = 4;  // the address of a chain's next row
inline constexpr std::size_t kChunkBytes = 4072;   // of a chain's row, behind it

enum class LongValueKind { kInline, kSingle, kChain };

struct LongValueDescriptor {
  LongValueKind kind = LongValueKind::kInline;
  std::uint32_t length = 0;
  RowId at;
  std::uint32_t stamp = 0;
};
LongValueDescriptor ParseLongValue(ByteView stored);

// The value behind the stored descriptor. Chains are followed no further than
// their length says; kDamaged.
Bytes ReadLongValue(Pager& pager, ByteView stored);

// Hands on a value that is not inline, piece by piece as its rows hold it.
void ReadPieces(Pager& pager, const LongValueDescriptor& value,
                const std::function<void(ByteView)>& piece);

// Whether a page of long values, in no chain, belongs into its column's map of free pages.
bool HasRoomForLongValues(PageNumber number, PageView page);

// Stores a value for `column` (its maps take the pages) and returns the
// descriptor to be put into the row. REQUIRES: a Scope.
Bytes WriteLongValue(PageAllocator& allocator, const ColumnDef& column, ByteView value);

// A memo's text in the form that its length and the column ask for; then as above.
Bytes WriteMemo(PageAllocator& allocator, const ColumnDef& column, std::u16string_view text);

// Gives back what the descriptor points to. REQUIRES: a Scope.
void FreeLongValue(PageAllocator& allocator, const ColumnDef& column, ByteView stored);

}  // namespace jet
