// The memo and OLE values of one column, copied byte for byte onto new pages.
#pragma once

#include <array>

#include "jet/base/types.h"
#include "jet/compact/map_book.h"
#include "jet/compact/page_writer.h"
#include "jet/row/long_value.h"

namespace jet::compact {

class LongValueCopy {
 public:
  // `owned` gets the pages of the column, `free` those with room; it may be null.
  LongValueCopy(Pager& from, PageWriter& out, PageRuns& owned, PageRuns* free)
      : from_(&from), out_(&out), owned_(&owned), free_(free) {}

  // The value goes where the descriptor, in the first bytes of `stored`, then points.
  // REQUIRES: it is not inline.
  void Copy(const LongValueDescriptor& value, std::span<std::uint8_t> stored);
  // Puts the page that is not full yet.
  void Finish();

 private:
  RowId CopySingle(const LongValueDescriptor& value);
  RowId CopyChain(const LongValueDescriptor& value);
  PageNumber TakePage();

  Pager* from_;
  PageWriter* out_;
  PageRuns* owned_;
  PageRuns* free_;
  PageNumber open_;  // that takes the next single value
  std::array<std::uint8_t, kPageSize> image_{};
  Bytes row_;
};

}  // namespace jet::compact
