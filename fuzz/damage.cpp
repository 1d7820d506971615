#include "fuzz/damage.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <span>
#include <vector>

#include "jet/base/bytes.h"
#include "jet/pages/slotted_page.h"

namespace fuzz {
namespace {

using jet::GetU16;
using jet::GetU32;
using jet::kPageSize;

constexpr std::size_t kSector = 512;
constexpr std::uint16_t kRows = 0x0101, kDefinition = 0x0102, kNode = 0x0103, kLeaf = 0x0104;

class Damage {
 public:
  Damage(jet::Bytes& file, Random& random) : file_(file), random_(random) {}

  std::string Run() {
    if (file_.size() < 2 * kPageSize) return "nothing";
    std::string said = One();
    if (random_.OneIn(3)) said += "; " + One();
    return said;
  }

 private:
  using Page = std::span<std::uint8_t>;

  std::size_t pages() const { return file_.size() / kPageSize; }
  Page At(std::size_t page) { return std::span(file_).subspan(page * kPageSize, kPageSize); }
  void Zero(Page part) { std::ranges::fill(part, std::uint8_t{0}); }
  void Scramble(Page part) {
    for (std::uint8_t& byte : part) byte = static_cast<std::uint8_t>(random_.Next());
  }

  std::vector<std::size_t> PagesWhere(const std::function<bool(Page)>& is) {
    std::vector<std::size_t> found;
    for (std::size_t page = 1; page < pages(); ++page) {
      if (is(At(page))) found.push_back(page);
    }
    return found;
  }
  static bool IsRowsOf(Page page, std::uint32_t owner) {
    return GetU16(page, 0) == kRows && GetU32(page, 4) == owner;
  }
  // Some of the pages, one at least if there is one.
  std::string ZeroSome(const char* what, const std::vector<std::size_t>& of, std::size_t one_in) {
    std::size_t count = 0;
    for (const std::size_t page : of) {
      if (!random_.OneIn(one_in)) continue;
      Zero(At(page));
      ++count;
    }
    return fmt::format("{} {} of {} zeroed", count, what, of.size());
  }

  std::string One();
  std::string Sectors(bool wild);
  std::string Cut();
  std::string Doubled();
  std::string Counters();
  std::string Trees();

  jet::Bytes& file_;
  Random& random_;
};

std::string Damage::Sectors(bool wild) {
  const std::size_t sectors = file_.size() / kSector;
  const std::size_t count = 1 + random_.Below(1 + sectors / 50);
  for (std::size_t i = 0; i < count; ++i) {
    const Page sector = std::span(file_).subspan(random_.Below(sectors) * kSector, kSector);
    wild ? Scramble(sector) : Zero(sector);
  }
  return fmt::format("{} sectors {}", count, wild ? "wild" : "zeroed");
}

std::string Damage::Cut() {
  file_.resize(kPageSize + random_.Below(file_.size() - kPageSize));
  return fmt::format("cut to {} bytes", file_.size());
}

std::string Damage::Doubled() {
  const std::size_t from = 1 + random_.Below(pages() - 1), to = 1 + random_.Below(pages() - 1);
  std::ranges::copy(At(from), At(to).begin());
  return fmt::format("page {} over page {}", from, to);
}

std::string Damage::Counters() {
  for (const std::size_t page : PagesWhere([](Page p) { return GetU16(p, 0) == kDefinition; })) {
    if (random_.OneIn(2)) Scramble(At(page).subspan(0x10, 8));
  }
  return "counters wild";
}

std::string Damage::Trees() {
  for (const std::size_t page :
       PagesWhere([](Page p) { return GetU16(p, 0) == kNode || GetU16(p, 0) == kLeaf; })) {
    if (random_.OneIn(2)) Scramble(At(page).subspan(random_.Below(2) * 0x20));
  }
  return "trees wild";
}

std::string Damage::One() {
  const auto definitions = [this] {
    return PagesWhere([](Page page) { return GetU16(page, 0) == kDefinition; });
  };
  const auto any = [this] { return PagesWhere([](Page) { return true; }); };
  const auto maps = [](Page page) { return IsRowsOf(page, 0) || IsRowsOf(page, 1); };
  switch (random_.Below(13)) {
    case 0:
      return ZeroSome("pages", any(), 100);
    case 1:
      return ZeroSome("pages", any(), 15);
    case 2:
      return Sectors(true);
    case 3:
      return Sectors(false);
    case 4:
      return Cut();
    case 5:
      return ZeroSome("pages of the catalog",
                      PagesWhere([](Page page) { return IsRowsOf(page, 2); }), 1);
    case 6:
      return ZeroSome("definitions", definitions(), 3);
    case 7:
      return ZeroSome("pages of maps", PagesWhere(maps), 1);
    case 8:
      Zero(At(0));
      return "page 0 zeroed";
    case 9:
      return ZeroSome("pages of long values",
                      PagesWhere([](Page page) { return IsRowsOf(page, jet::kLvalOwner); }), 2);
    case 10:
      return Doubled();
    case 11:
      return Counters();
    default:
      return Trees();
  }
}

}  // namespace

std::string DamageFile(jet::Bytes& file, Random& random) { return Damage(file, random).Run(); }

}  // namespace fuzz
