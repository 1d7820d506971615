#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <string_view>

#include "fuzz/mutator.h"
#include "fuzz/page_fields.h"
#include "jet/base/bytes.h"

namespace fuzz {
namespace {

using jet::kPageSize;
using Kind = Field::Kind;

constexpr std::size_t kMaxPages = 400;  // an input does not grow beyond it by mutation

class FileMutator {
 public:
  FileMutator(jet::Bytes& file, Random& random)
      : file_(file), random_(random), pages_(file.size() / kPageSize) {}

  std::string Mutate() {
    if (pages_ < 2 || random_.OneIn(12)) return MutateBytes(file_, random_);
    static constexpr std::array kWays = {
        &FileMutator::LieInField,    &FileMutator::LieInField,    &FileMutator::LieInField,
        &FileMutator::LieInField,    &FileMutator::LieInField,    &FileMutator::LieInField,
        &FileMutator::PointInCircle, &FileMutator::PointInCircle, &FileMutator::ToggleMapBit,
        &FileMutator::ToggleMapBit,  &FileMutator::SwapPages,     &FileMutator::CopyPage,
        &FileMutator::ZeroPage,      &FileMutator::ZeroRange,     &FileMutator::CopyField,
        &FileMutator::ChangeSize,    &FileMutator::BytesInPage,
    };
    return (this->*random_.Pick(kWays))();
  }

 private:
  std::span<std::uint8_t> Page(std::size_t page) {
    return std::span(file_).subspan(page * kPageSize, kPageSize);
  }
  // Definitions and indexes are rarer than pages of rows, and more is to be
  // found in them.
  std::size_t AnyPage() {
    std::size_t page = random_.Below(pages_);
    for (int i = 0; i < 3 && (Page(page)[0] <= 1 || Page(page)[1] != 1); ++i) {
      page = random_.Below(pages_);
    }
    return page;
  }
  std::size_t PageOfTypeOf(std::size_t page) {
    for (int i = 0; i < 20; ++i) {
      const std::size_t other = random_.Below(pages_);
      if (other != page && Page(other)[0] == Page(page)[0]) return other;
    }
    return random_.Below(pages_);
  }

  std::uint64_t Get(std::size_t page, const Field& field) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < field.width; ++i) {
      const std::size_t at = field.big_endian ? i : field.width - 1 - i;
      value = value << 8 | Page(page)[field.at + at];
    }
    return value;
  }
  void Put(std::size_t page, const Field& field, std::uint64_t value) {
    for (std::size_t i = 0; i < field.width; ++i) {
      const std::size_t at = field.big_endian ? field.width - 1 - i : i;
      Page(page)[field.at + at] = static_cast<std::uint8_t>(value >> 8 * i);
    }
  }

  std::uint64_t PageValue(std::size_t page, std::uint64_t old) {
    switch (random_.Below(9)) {
      case 0:
        return page;
      case 1:
        return random_.Below(2);
      case 2:
        return random_.Below(pages_);
      case 3:
        return pages_ + random_.Below(3);
      case 4:
        return random_.Pick(std::array{0xFFFF'FFFFu, 0xFF'FFFFu, 0x7FFF'FFFFu, 0x8'0000u});
      case 5:
        return old + 1 - 2 * random_.Below(2);
      case 6:
        return 2 + random_.Below(4);
      default:
        return PageOfTypeOf(page);
    }
  }
  std::uint64_t NumberValue(std::size_t width, std::uint64_t old) {
    const std::uint64_t most = (std::uint64_t{1} << 8 * width) - 1;
    switch (random_.Below(8)) {
      case 0:
        return 0;
      case 1:
        return most;
      case 2:
        return most / 2 + random_.Below(2);
      case 3:
        return old + 1 + random_.Below(3);
      case 4:
        return old - 1 - random_.Below(3);
      case 5:
        return old ^ std::uint64_t{1} << random_.Below(8 * width);
      case 6:
        return random_.Below(300);
      default:
        return random_.Next();
    }
  }
  std::uint64_t ValueFor(std::size_t page, const Field& field, std::uint64_t old) {
    switch (field.kind) {
      case Kind::kPage:
        return PageValue(page, old);
      case Kind::kRow:
        if (random_.OneIn(3))
          return (old & ~std::uint64_t{0xFF}) | random_.Below(random_.OneIn(2) ? 4 : 256);
        return PageValue(page, old >> 8) << 8 | (random_.OneIn(2) ? old & 0xFF : random_.Below(4));
      case Kind::kFlags:
        if (!random_.OneIn(3)) return old ^ std::uint64_t{1} << random_.Below(8 * field.width);
        return random_.OneIn(2) ? random_.Below(20) : random_.Next();
      case Kind::kNumber:
        break;
    }
    return NumberValue(field.width, old);
  }

  // Names are drawn first: a page has two hundred slots and one owner.
  const Field& AnyField(const std::vector<Field>& fields) {
    std::vector<std::size_t> firsts;
    for (std::size_t i = 0; i < fields.size(); ++i) {
      if (i == 0 || std::string_view(fields[i].name) != fields[i - 1].name) firsts.push_back(i);
    }
    const std::size_t group = random_.Below(firsts.size());
    const std::size_t end = group + 1 < firsts.size() ? firsts[group + 1] : fields.size();
    return fields[firsts[group] + random_.Below(end - firsts[group])];
  }
  std::vector<Field> Fields(std::size_t page) {
    return FieldsOf(Page(page), static_cast<std::uint32_t>(pages_));
  }

  std::string Set(std::size_t page, const Field& field, std::uint64_t value) {
    const std::uint64_t old = Get(page, field);
    Put(page, field, value);
    return fmt::format("page {} at {:X}: {} {:X} -> {:X}", page, field.at, field.name, old,
                       Get(page, field));
  }
  std::string LieInField() {
    const std::size_t page = AnyPage();
    const std::vector<Field> fields = Fields(page);
    const Field& field = AnyField(fields);
    return Set(page, field, ValueFor(page, field, Get(page, field)));
  }
  // The same field of another page of the kind: true there, a lie here.
  std::string CopyField() {
    const std::size_t page = AnyPage(), other = PageOfTypeOf(page);
    const std::vector<Field> fields = Fields(page);
    const Field& field = AnyField(fields);
    return Set(page, field, Get(other, field));
  }
  // A pointer back to its own page, or to one that may point here.
  std::string PointInCircle() {
    const std::size_t page = AnyPage();
    std::vector<Field> fields = Fields(page);
    std::erase_if(fields,
                  [](const Field& f) { return f.kind != Kind::kPage && f.kind != Kind::kRow; });
    if (fields.empty()) return LieInField();
    const Field& field = AnyField(fields);
    const std::uint64_t to = random_.OneIn(2) ? page : PageOfTypeOf(page);
    return Set(page, field, field.kind == Kind::kRow ? to << 8 | random_.Below(3) : to);
  }
  std::string ToggleMapBit() {
    for (int i = 0; i < 40; ++i) {
      const std::size_t page = random_.OneIn(3) ? 1 : random_.Below(pages_);
      const std::vector<MapBits> maps = MapsOn(Page(page));
      if (maps.empty()) continue;
      const MapBits& map = random_.Pick(maps);
      const std::size_t marked = random_.Below(pages_ + 2);
      const std::size_t bit = marked - map.first_page;
      if (marked < map.first_page || bit / 8 >= map.bytes) continue;
      Page(page)[map.at + bit / 8] ^= static_cast<std::uint8_t>(1 << bit % 8);
      return fmt::format("page {} at {:X}: bit of page {} in a map", page, map.at, marked);
    }
    return LieInField();
  }

  std::string SwapPages() {
    const std::size_t a = AnyPage();
    const std::size_t b = random_.OneIn(2) ? PageOfTypeOf(a) : AnyPage();
    if (a != b) std::swap_ranges(Page(a).begin(), Page(a).end(), Page(b).begin());
    return fmt::format("pages {} and {} swapped", a, b);
  }
  std::string CopyPage() {
    const std::size_t to = AnyPage();
    const std::size_t from = random_.OneIn(2) ? PageOfTypeOf(to) : random_.Below(pages_);
    if (from != to) std::ranges::copy(Page(from), Page(to).begin());
    return fmt::format("page {} copied over page {}", from, to);
  }
  std::string ZeroPage() {
    const std::size_t page = AnyPage();
    std::ranges::fill(Page(page), std::uint8_t{0});
    return fmt::format("page {} cleared", page);
  }
  std::string ZeroRange() {
    const std::size_t page = AnyPage(), at = random_.Below(kPageSize);
    const std::size_t length =
        std::min(kPageSize - at, 1 + random_.Below(random_.OneIn(2) ? 16 : 1024));
    std::ranges::fill(Page(page).subspan(at, length), std::uint8_t{0});
    return fmt::format("page {} at {:X}: {} bytes cleared", page, at, length);
  }
  std::string BytesInPage() {
    const std::size_t page = AnyPage(), at = random_.Below(kPageSize);
    const std::size_t length = std::min(kPageSize - at, 1 + random_.Below(24));
    for (std::uint8_t& byte : Page(page).subspan(at, length)) {
      byte = static_cast<std::uint8_t>(random_.Next());
    }
    return fmt::format("page {} at {:X}: {} random bytes", page, at, length);
  }
  std::string ChangeSize() {
    const std::size_t old = file_.size();
    switch (random_.Below(4)) {
      case 0:
        file_.resize(random_.Below(pages_ + 1) * kPageSize);
        break;
      case 1:
        file_.resize(random_.Below(old));
        break;
      case 2:
        file_.resize(old - std::min(old, (1 + random_.Below(3)) * kPageSize));
        break;
      default:
        if (pages_ >= kMaxPages) break;
        file_.resize(old + (random_.OneIn(2) ? kPageSize * (1 + random_.Below(3)) : 100));
    }
    return fmt::format("{} bytes -> {}", old, file_.size());
  }

  jet::Bytes& file_;
  Random& random_;
  std::size_t pages_;
};

}  // namespace

std::string MutateFile(jet::Bytes& file, Random& random) {
  std::string said;
  // Most often one damage alone: a second tends to hide the first.
  const std::size_t count = random.OneIn(3) ? 1 + random.Below(5) : 1;
  for (std::size_t i = 0; i < count; ++i) {
    said += (i == 0 ? "" : "; ") + FileMutator(file, random).Mutate();
  }
  return said;
}

}  // namespace fuzz
