// The transfer names of the reinforcements, which go by the row's position.
#pragma once

#include <cstdint>

namespace upgrade {

// `row` counts from 0.
constexpr const char* ReinforcementTransferName(std::int16_t row) {
  if (row == 0) return "なし";
  if (row <= 4) return "FG";
  if (row == 10) return "縦補強";
  return "補強";
}

}  // namespace upgrade
