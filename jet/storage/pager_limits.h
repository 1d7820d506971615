// How much a pager may hold and write.
#pragma once

#include <cstddef>
#include <cstdint>

namespace jet {

inline constexpr std::uint32_t kPagesPerBitmap = 32736;  // what a bitmap page has bits for

struct PagerLimits {
  std::size_t clean_bytes = std::size_t{32} << 20;   // unchanged pages kept
  std::size_t changed_bytes = std::size_t{1} << 30;  // changed pages, kFileTooLarge beyond
  // Of a usage map, a multiple of 32. Less only where tests make a small file meet
  // what large ones do; other programs do not understand such a file.
  std::uint32_t pages_per_bitmap = kPagesPerBitmap;
};

}  // namespace jet
