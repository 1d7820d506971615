#include "sql/values/like.h"

#include <algorithm>

#include "jet/sort/name.h"

namespace sql {
namespace {

bool IsVoicedMark(std::string_view character) {
  return character == "\xEF\xBE\x9E" || character == "\xEF\xBE\x9F";
}

// Half-width kana with its voiced mark is one character, as its full form is.
std::vector<std::string_view> Characters(std::string_view text) {
  std::vector<std::string_view> characters;
  for (std::size_t at = 0; at < text.size();) {
    std::size_t length = 1;
    while (at + length < text.size() &&
           (static_cast<unsigned char>(text[at + length]) & 0xC0) == 0x80) {
      ++length;
    }
    const std::string_view character = text.substr(at, length);
    if (IsVoicedMark(character) && !characters.empty()) {
      const std::string_view last = characters.back();
      characters.back() = {last.data(), last.size() + length};
    } else {
      characters.push_back(character);
    }
    at += length;
  }
  return characters;
}

}  // namespace

LikePattern::LikePattern(jet::SortOrder order, std::string_view pattern, bool ansi)
    : order_(order) {
  const std::string_view run = ansi ? "%" : "*", any = ansi ? "_" : "?";
  const std::vector<std::string_view> characters = Characters(pattern);
  for (std::size_t i = 0; i < characters.size(); ++i) {
    if (characters[i] == "[") {
      const auto close =
          std::find(characters.begin() + static_cast<std::ptrdiff_t>(i) + 1, characters.end(), "]");
      matchless_ = close == characters.end();
      if (matchless_) return;
      const auto end = static_cast<std::size_t>(close - characters.begin());
      AddSet(characters, i + 1, end);
      i = end;
      continue;
    }
    Part part;
    if (characters[i] == run) {
      part.kind = Part::Kind::kRun;
    } else if (characters[i] == any) {
      part.kind = Part::Kind::kAny;
    } else if (characters[i] == "#") {
      part.kind = Part::Kind::kDigit;
    } else {
      part.key = jet::NameKey(order_, characters[i]);
    }
    parts_.push_back(std::move(part));
  }
}

// An empty set stands for nothing at all.
void LikePattern::AddSet(const std::vector<std::string_view>& characters, std::size_t begin,
                         std::size_t end) {
  if (begin == end) return;
  Part part;
  part.kind = Part::Kind::kSet;
  if (characters[begin] == "!" && begin + 1 < end) {
    part.negated = true;
    ++begin;
  }
  for (std::size_t i = begin; i < end; ++i) {
    Range range;
    range.low = range.high = jet::NameKey(order_, characters[i]);
    if (i + 2 < end && characters[i + 1] == "-") {
      range.high = jet::NameKey(order_, characters[i + 2]);
      i += 2;
    }
    part.ranges.push_back(std::move(range));
  }
  parts_.push_back(std::move(part));
}

bool LikePattern::MatchesOne(const Part& part, std::string_view character) const {
  if (part.kind == Part::Kind::kAny) return true;
  const std::string key = jet::NameKey(order_, character);
  if (part.kind == Part::Kind::kCharacter) return key == part.key;
  if (part.kind == Part::Kind::kDigit) {
    return key >= jet::NameKey(order_, "0") && key <= jet::NameKey(order_, "9");
  }
  const bool inside = std::any_of(part.ranges.begin(), part.ranges.end(), [&](const Range& range) {
    return key >= range.low && key <= range.high;
  });
  return inside != part.negated;
}

// On a mismatch only the last run may take one character more, which keeps this
// from growing beyond text times pattern.
bool LikePattern::Matches(std::string_view text) const {
  if (matchless_) return false;
  const std::vector<std::string_view> characters = Characters(text);
  std::size_t at = 0, part = 0, run_part = parts_.size(), run_at = 0;
  while (at < characters.size()) {
    if (part < parts_.size() && parts_[part].kind == Part::Kind::kRun) {
      run_part = part++;
      run_at = at;
    } else if (part < parts_.size() && MatchesOne(parts_[part], characters[at])) {
      ++part;
      ++at;
    } else if (run_part < parts_.size()) {
      part = run_part + 1;
      at = ++run_at;
    } else {
      return false;
    }
  }
  while (part < parts_.size() && parts_[part].kind == Part::Kind::kRun) ++part;
  return part == parts_.size();
}

}  // namespace sql
