#include "jet/row/row_texts.h"

#include "jet/base/text.h"

namespace jet {

std::u16string_view RowTexts::Of(std::size_t ordinal, std::string_view text) {
  std::u16string& units = units_[ordinal];
  if (!known_[ordinal]) {
    ToUtf16(text, units);
    known_[ordinal] = true;
  }
  return units;
}

}  // namespace jet
