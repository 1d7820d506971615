// LIKE: `*` any run of characters, `?` one character, `#` one digit, `[a-c]` one
// of a range, `[!a-c]` one outside of it. The provider's dialect has `%` and `_` for the
// first two, and takes `*` and `?` as they are. Characters are compared by the
// database's sort order, so case, width and kana type do not matter.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "jet/base/types.h"

namespace sql {

class LikePattern {
 public:
  // A "[" that is not closed matches nothing.
  LikePattern(jet::SortOrder order, std::string_view pattern, bool ansi);
  bool Matches(std::string_view text) const;

 private:
  struct Range {
    std::string low, high;
  };
  struct Part {
    enum class Kind { kCharacter, kRun, kAny, kDigit, kSet };
    Kind kind = Kind::kCharacter;
    std::string key;
    bool negated = false;
    std::vector<Range> ranges;
  };
  void AddSet(const std::vector<std::string_view>& characters, std::size_t begin, std::size_t end);
  bool MatchesOne(const Part& part, std::string_view character) const;

  jet::SortOrder order_;
  std::vector<Part> parts_;
  bool matchless_ = false;
};

}  // namespace sql
