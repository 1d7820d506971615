// A key, ascending:
//
//   7F | weights | 01 | secondaries | kana | word-sort | 00
//
// Weights: one or two bytes a letter. Secondaries: one a weight, up to the last
// that is not plain. Kana, if there is any: 01 01, small forms, FF, repeats and
// prolongations, 02, fill, FF, fill. Word-sort characters, if any: 01 01 01 (FF
// 01 behind kana) and a record of four bytes each. Descending: 80, everything
// behind the flag inverted, and one more 00.
#include "jet/sort/collation.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>

#include "jet/base/bytes.h"
#include "jet/base/error.h"
#include "jet/base/text.h"
#include "jet/sort/collation_table.h"

namespace jet {
namespace {

constexpr std::size_t kMaxKeyUnits = 255;  // the rest of a text does not count
constexpr std::uint8_t kAscendingFlag = 0x7F, kDescendingFlag = 0x80;
constexpr std::uint16_t kBareProlonged = 0xFFFF;  // weight of a mark that nothing precedes
constexpr std::uint8_t kFirstSoundWithoutVowel = 0x80;

// Two-bit codes of the kana lists.
constexpr std::uint8_t kSmall = 2, kNormal = 3;
constexpr std::uint8_t kLetterCode = 1, kRepeatCode = 2, kProlongedCode = 3;

struct Refusal {
  std::size_t at = 0;  // unit in the text
  const char* reason = nullptr;
};

bool IsHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool IsLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

// Walks a text once and keeps the parts of its key apart.
class KeyParts {
 public:
  explicit KeyParts(const CollationTable& table) : table_(table) {}

  // Nothing if the text has a proven key; then Append may follow.
  std::optional<Refusal> Take(std::u16string_view text);
  // Everything behind the flag.
  void Append(Bytes& out) const;

 private:
  struct Kana {
    std::uint8_t size, form;  // two-bit codes
  };
  struct WordSort {
    std::uint16_t after;  // weights before it
    std::uint8_t code;
  };
  // What the character just before was.
  enum class Before { kNothing, kLetter, kKana, kSmallKana };

  const char* TakeUnit(char16_t unit);
  const char* TakeProlonged(const CharEntry& entry);
  const char* TakeRepeat(const CharEntry& entry);
  const char* TakeMark(const CharEntry& entry);
  void TakeLetters(const CharEntry& entry);
  void TakeKana(const CharEntry& entry, bool small);
  void TakeWordSort(const CharEntry& entry);
  const char* Finish(std::size_t& at);

  bool AfterKana() const { return before_ == Before::kKana || before_ == Before::kSmallKana; }
  void AddWeight(std::uint16_t weight, std::uint8_t secondary) {
    if (weight > 0xFF) weights_[weight_bytes_++] = static_cast<std::uint8_t>(weight >> 8);
    weights_[weight_bytes_++] = static_cast<std::uint8_t>(weight);
    last_weight_ = weight;
    secondaries_[weight_count_++] = secondary;
  }
  void AddKana(std::uint8_t size, std::uint8_t form) { kana_[kana_count_++] = {size, form}; }
  void AppendKana(Bytes& out) const;
  void AppendCodes(std::uint8_t Kana::*code, std::uint8_t usual, Bytes& out) const;

  const CollationTable& table_;
  std::size_t at_ = 0;
  Before before_ = Before::kNothing;
  std::uint16_t last_weight_ = 0;
  std::optional<std::size_t> bare_prolonged_at_;  // of a prolonged mark before any weight
  // The first character that counts as several letters: where it stands, and
  // which of its weights a reading of one place a character would not have.
  std::optional<std::size_t> letters_at_;
  std::size_t letters_extra_ = 0;

  std::size_t weight_bytes_ = 0, weight_count_ = 0, kana_count_ = 0, word_sort_count_ = 0;
  std::array<std::uint8_t, kMaxKeyUnits * kMaxLetters * 2> weights_;
  std::array<std::uint8_t, kMaxKeyUnits * kMaxLetters> secondaries_;
  std::array<Kana, kMaxKeyUnits> kana_;
  std::array<WordSort, kMaxKeyUnits> word_sort_;
};

std::optional<Refusal> KeyParts::Take(std::u16string_view text) {
  text = text.substr(0, kMaxKeyUnits);
  while (!text.empty() && text.back() == u' ') text.remove_suffix(1);
  for (at_ = 0; at_ < text.size(); ++at_) {
    if (const char* reason = TakeUnit(text[at_])) return Refusal{at_, reason};
  }
  std::size_t at = 0;
  if (const char* reason = Finish(at)) return Refusal{at, reason};
  return std::nullopt;
}

const char* KeyParts::TakeUnit(char16_t unit) {
  CharEntry entry = table_[unit];
  switch (entry.kind) {
    case CharKind::kLetter:
      AddWeight(entry.weight, entry.secondary);
      before_ = Before::kLetter;
      return nullptr;
    case CharKind::kKana:
    case CharKind::kSmallKana:
      TakeKana(entry, entry.kind == CharKind::kSmallKana);
      return nullptr;
    case CharKind::kLetters:
      TakeLetters(entry);
      return nullptr;
    case CharKind::kProlonged:
      return TakeProlonged(entry);
    case CharKind::kRepeat:
      return TakeRepeat(entry);
    case CharKind::kMark:
      return TakeMark(entry);
    case CharKind::kWordSort:
      TakeWordSort(entry);
      return nullptr;
    case CharKind::kIgnored:
      before_ = Before::kNothing;
      return nullptr;
    case CharKind::kRefused:
      break;
  }
  return IsHighSurrogate(unit) || IsLowSurrogate(unit)
             ? "characters beyond U+FFFF have no proven key"
             : "its key is not proven in this order";
}

void KeyParts::TakeLetters(const CharEntry& entry) {
  if (!letters_at_) {
    letters_at_ = at_;
    letters_extra_ = weight_count_ + 1;
  }
  for (const Letter& letter : CollationTable::LettersOf(entry)) {
    AddWeight(letter.weight, letter.secondary);
  }
  before_ = Before::kNothing;
}

void KeyParts::TakeKana(const CharEntry& entry, bool small) {
  AddWeight(entry.weight, entry.secondary);
  AddKana(small ? kSmall : kNormal, kLetterCode);
  before_ = small ? Before::kSmallKana : Before::kKana;
}

const char* KeyParts::TakeProlonged(const CharEntry& entry) {
  if (AfterKana()) {
    if ((last_weight_ & 0xFF) >= kFirstSoundWithoutVowel) return "no vowel before it to lengthen";
    // The low bits of a sound are its vowel.
    AddWeight(static_cast<std::uint16_t>(last_weight_ & 0xFF07), kPlainSecondary);
    AddKana(before_ == Before::kSmallKana ? kSmall : kNormal, kProlongedCode);
    return nullptr;
  }
  if (weight_count_ == 0) {
    AddWeight(kBareProlonged, kPlainSecondary);
    bare_prolonged_at_ = at_;
    before_ = Before::kNothing;
    return nullptr;
  }
  if (before_ == Before::kNothing) return "no single letter before it to lengthen";
  AddWeight(last_weight_, entry.secondary);
  return nullptr;
}

const char* KeyParts::TakeRepeat(const CharEntry& entry) {
  if (before_ == Before::kNothing) return "no single letter before it to repeat";
  if (before_ == Before::kSmallKana) return "a repeated small kana has no proven key";
  AddWeight(last_weight_, entry.secondary);
  if (before_ == Before::kKana) {
    AddKana(kNormal, kRepeatCode);
    before_ = Before::kNothing;
  }
  return nullptr;
}

const char* KeyParts::TakeMark(const CharEntry& entry) {
  if (before_ == Before::kNothing || secondaries_[weight_count_ - 1] != kPlainSecondary) {
    return "no letter without a mark before it";
  }
  std::uint8_t& secondary = secondaries_[weight_count_ - 1];
  secondary = static_cast<std::uint8_t>(secondary + entry.secondary);
  return nullptr;
}

void KeyParts::TakeWordSort(const CharEntry& entry) {
  word_sort_[word_sort_count_++] = {static_cast<std::uint16_t>(weight_count_), entry.secondary};
  before_ = Before::kNothing;
}

// Drops the plain secondaries at the end, and refuses where the sources differ.
const char* KeyParts::Finish(std::size_t& at) {
  std::size_t secondaries = weight_count_;
  while (secondaries > 0 && secondaries_[secondaries - 1] == kPlainSecondary) --secondaries;
  weight_count_ = secondaries;
  if (bare_prolonged_at_ && (secondaries > 0 || kana_count_ > 0 || word_sort_count_ > 0)) {
    at = *bare_prolonged_at_;
    return "at the start it has no proven key before a mark, a kana or a word-sort character";
  }
  // The sources disagree whether such a character takes one place or several: a key
  // that stores the place of anything behind it depends on that.
  bool record_behind =
      word_sort_count_ > 0 && word_sort_[word_sort_count_ - 1].after >= letters_extra_;
  if (letters_at_ && (secondaries > letters_extra_ || record_behind)) {
    at = *letters_at_;
    return "it counts as several letters and has no proven key before a mark or a word-sort "
           "character";
  }
  return nullptr;
}

void KeyParts::Append(Bytes& out) const {
  out.insert(out.end(), weights_.begin(),
             weights_.begin() + static_cast<std::ptrdiff_t>(weight_bytes_));
  out.push_back(0x01);
  out.insert(out.end(), secondaries_.begin(),
             secondaries_.begin() + static_cast<std::ptrdiff_t>(weight_count_));
  if (kana_count_ > 0) AppendKana(out);
  if (word_sort_count_ > 0) {
    if (kana_count_ > 0) {
      out.insert(out.end(), {0xFF, 0x01});
    } else {
      out.insert(out.end(), {0x01, 0x01, 0x01});
    }
    for (std::size_t i = 0; i < word_sort_count_; ++i) {
      int place = 0x8007 + 4 * word_sort_[i].after;
      out.insert(out.end(), {static_cast<std::uint8_t>(place >> 8),
                             static_cast<std::uint8_t>(place), 0x06, word_sort_[i].code});
    }
  }
  out.push_back(0x00);
}

void KeyParts::AppendKana(Bytes& out) const {
  out.insert(out.end(), {0x01, 0x01});
  AppendCodes(&Kana::size, kNormal, out);
  out.push_back(0xFF);
  AppendCodes(&Kana::form, kLetterCode, out);
  out.push_back(0x02);
  // Room for one bit a kana, which the format leaves at zero.
  std::size_t fill = (kana_count_ + 6) / 7;
  out.insert(out.end(), fill, 0x80);
  out.push_back(0xFF);
  out.insert(out.end(), fill, 0x80);
}

// Three codes a byte below the bits 10, without the usual ones at the end.
void KeyParts::AppendCodes(std::uint8_t Kana::*code, std::uint8_t usual, Bytes& out) const {
  std::size_t count = kana_count_;
  while (count > 0 && kana_[count - 1].*code == usual) --count;
  for (std::size_t i = 0; i < count; i += 3) {
    int byte = 0x80;
    for (std::size_t j = i; j < std::min(i + 3, count); ++j) {
      byte |= kana_[j].*code << (4 - 2 * (j - i));
    }
    out.push_back(static_cast<std::uint8_t>(byte));
  }
}

// As much of a text as its key counts, or a little more: a memo may be long.
class CountedUnits {
 public:
  explicit CountedUnits(std::string_view text) {
    std::size_t end = units_.size();
    if (text.size() > end) {
      while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
      text = text.substr(0, end);
    }
    count_ = ToUtf16(text, std::span(units_));
  }
  std::u16string_view view() const { return {units_.data(), count_}; }

 private:
  // As many as the bytes that so many units can take.
  std::array<char16_t, (kMaxKeyUnits + 1) * 3> units_;
  std::size_t count_ = 0;
};

std::string OrderReason(SortOrder order) {
  return fmt::format("sort order {} (id {}, version {}) is not supported", order.language,
                     order.sort_id, order.version);
}

// "U+30FC: no vowel before it to lengthen"
std::string Explain(std::u16string_view text, const Refusal& refusal) {
  char32_t code = text[refusal.at];
  if (IsHighSurrogate(text[refusal.at]) && refusal.at + 1 < text.size() &&
      IsLowSurrogate(text[refusal.at + 1])) {
    code = 0x10000 + ((code - 0xD800) << 10) + (text[refusal.at + 1] - 0xDC00U);
  }
  return fmt::format("U+{:04X}: {}", static_cast<std::uint32_t>(code), refusal.reason);
}

}  // namespace

bool IsSupportedOrder(SortOrder order) { return FindCollationTable(order) != nullptr; }

void AddTextKey(SortOrder order, std::u16string_view text, bool ascending, Bytes& out) {
  const CollationTable* table = FindCollationTable(order);
  if (table == nullptr) throw Error(ErrorCode::kUnsortable, OrderReason(order));
  KeyParts parts(*table);
  if (auto refusal = parts.Take(text)) {
    throw Error(ErrorCode::kUnsortable, Explain(text, *refusal));
  }
  out.push_back(ascending ? kAscendingFlag : kDescendingFlag);
  std::size_t body = out.size();
  parts.Append(out);
  if (ascending) return;
  for (std::size_t i = body; i < out.size(); ++i) out[i] = static_cast<std::uint8_t>(~out[i]);
  out.push_back(0x00);
}

void AddTextKey(SortOrder order, std::string_view text, bool ascending, Bytes& out) {
  AddTextKey(order, CountedUnits(text).view(), ascending, out);
}

Bytes TextKey(SortOrder order, std::string_view text, bool ascending) {
  Bytes key;
  AddTextKey(order, text, ascending, key);
  return key;
}

bool AddWeights(const CollationTable& table, std::u16string_view text, Bytes& out) {
  KeyParts parts(table);
  if (parts.Take(text)) return false;
  parts.Append(out);
  return true;
}

std::optional<std::string> WhyUnsortable(SortOrder order, std::u16string_view text) {
  const CollationTable* table = FindCollationTable(order);
  if (table == nullptr) return OrderReason(order);
  KeyParts parts(*table);
  if (auto refusal = parts.Take(text)) return Explain(text, *refusal);
  return std::nullopt;
}

std::optional<std::string> WhyUnsortable(SortOrder order, std::string_view text) {
  return WhyUnsortable(order, CountedUnits(text).view());
}

}  // namespace jet
