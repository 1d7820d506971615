// Where the fields of a page lie that damage can be aimed at. Judges by the raw
// bytes alone and takes any page.
#pragma once

#include <vector>

#include "jet/base/types.h"

namespace fuzz {

struct Field {
  enum class Kind {
    kNumber,
    kPage,
    kRow,  // row in the lowest byte, page above it
    kFlags,
  };
  const char* name;
  std::size_t at;  // in the page
  std::size_t width;
  Kind kind = Kind::kNumber;
  bool big_endian = false;
};

// Fields of one name stand together.
std::vector<Field> FieldsOf(jet::ByteView page, std::uint32_t page_count);

// The bitmaps of maps on the page: the byte where each starts, its length, and
// the page of its first bit.
struct MapBits {
  std::size_t at, bytes;
  std::uint32_t first_page;
};
std::vector<MapBits> MapsOn(jet::ByteView page);

}  // namespace fuzz
