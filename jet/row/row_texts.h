// The texts of one row in UTF-16. Keys and fields ask for them by column, so that each
// text is converted once.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace jet {

class RowTexts {
 public:
  // A new row, of which no text is known. The buffers are kept.
  void Begin(std::size_t columns) {
    units_.resize(columns);
    known_.assign(columns, false);
  }
  // Of `text`, which is what the column holds in this row; good until the next Begin.
  // kBadText.
  std::u16string_view Of(std::size_t ordinal, std::string_view text);

 private:
  std::vector<std::u16string> units_;  // by ordinal
  std::vector<bool> known_;
};

}  // namespace jet
