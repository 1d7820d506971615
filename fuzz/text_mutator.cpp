#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <utility>

#include "fuzz/mutator.h"

namespace fuzz {
namespace {

constexpr std::size_t kMaxTextBytes = 8192;

// A random piece of the input, of at most `most` units of `unit` bytes.
std::pair<std::size_t, std::size_t> Piece(const jet::Bytes& input, Random& random, std::size_t unit,
                                          std::size_t most) {
  const std::size_t units = input.size() / unit;
  const std::size_t at = random.Below(units);
  return {at * unit, std::min(units - std::min(at, units), 1 + random.Below(most)) * unit};
}

std::ptrdiff_t Offset(std::size_t at) { return static_cast<std::ptrdiff_t>(at); }

void Insert(jet::Bytes& input, std::size_t at, const jet::Bytes& piece) {
  if (input.size() + piece.size() > kMaxTextBytes && input.size() + piece.size() > 2 * input.size())
    return;
  input.insert(input.begin() + Offset(std::min(at, input.size())), piece.begin(), piece.end());
}
jet::Bytes Copy(const jet::Bytes& input, std::pair<std::size_t, std::size_t> piece) {
  const auto begin = input.begin() + Offset(piece.first);
  return {begin, begin + Offset(piece.second)};
}

// Removes, repeats, moves pieces. False: draw something else.
bool MovePieces(jet::Bytes& input, Random& random, std::size_t unit) {
  const auto piece = Piece(input, random, unit, random.OneIn(4) ? 200 : 8);
  const jet::Bytes bytes = Copy(input, piece);
  const std::size_t to = Piece(input, random, unit, 1).first;
  switch (random.Below(6)) {
    case 0:
      input.erase(input.begin() + Offset(piece.first),
                  input.begin() + Offset(piece.first + piece.second));
      return true;
    case 1:
      Insert(input, to, bytes);
      return true;
    case 2:
      for (std::size_t i = random.Below(40); i > 0 && input.size() < kMaxTextBytes; --i) {
        Insert(input, piece.first, bytes);
      }
      return true;
    case 3:
      input.resize(std::max(piece.first, unit));
      return true;
    default:
      return false;
  }
}

void FlipOrSet(jet::Bytes& input, Random& random) {
  if (input.empty()) return input.push_back(static_cast<std::uint8_t>(random.Next()));
  std::uint8_t& byte = input[random.Below(input.size())];
  byte = random.OneIn(2) ? static_cast<std::uint8_t>(byte ^ 1u << random.Below(8))
                         : static_cast<std::uint8_t>(random.Next());
}

constexpr auto kWords = std::to_array<std::string_view>({" ",
                                                         "\r",
                                                         ";",
                                                         ",",
                                                         ".",
                                                         "!",
                                                         "(",
                                                         ")",
                                                         "()",
                                                         "[",
                                                         "]",
                                                         "[ＩＤ]",
                                                         "'",
                                                         "\"",
                                                         "'abc'",
                                                         "''",
                                                         "#",
                                                         "#2010/01/04#",
                                                         "0",
                                                         "1",
                                                         "-1",
                                                         "1.5e300",
                                                         "1e-999",
                                                         "999999999999999999999999",
                                                         "0x7F",
                                                         "&H7F",
                                                         "NULL",
                                                         "TRUE",
                                                         "SELECT ",
                                                         " DISTINCT ",
                                                         " DISTINCTROW ",
                                                         " TOP 3 ",
                                                         " TOP 50 PERCENT ",
                                                         "*",
                                                         "a.*",
                                                         " AS b",
                                                         " FROM ",
                                                         " WHERE ",
                                                         " GROUP BY ",
                                                         " HAVING ",
                                                         " ORDER BY ",
                                                         " DESC",
                                                         " ASC",
                                                         " INNER JOIN b ON a.ID = b.ID",
                                                         " LEFT JOIN ",
                                                         " RIGHT JOIN ",
                                                         " ON ",
                                                         " UNION ",
                                                         " UNION ALL ",
                                                         " AND ",
                                                         " OR ",
                                                         "NOT ",
                                                         " XOR ",
                                                         " EQV ",
                                                         " IMP ",
                                                         " IS NULL",
                                                         " IS NOT NULL",
                                                         " LIKE '*a?#[!b-c]'",
                                                         " BETWEEN 1 AND 2",
                                                         " IN (1,2)",
                                                         " IN (SELECT a FROM b)",
                                                         " MOD ",
                                                         "\\",
                                                         "/",
                                                         "^",
                                                         "&",
                                                         "+",
                                                         "-",
                                                         "=",
                                                         "<>",
                                                         "<=",
                                                         ">=",
                                                         "<",
                                                         ">",
                                                         "Sum(a)",
                                                         "Count(*)",
                                                         "IIf(a,b,c)",
                                                         "Nz(a)",
                                                         "Left(a,3)",
                                                         "PARAMETERS [x] Text;",
                                                         "?",
                                                         " WITH OWNERACCESS OPTION",
                                                         " IN 'other.mdb'",
                                                         "名称",
                                                         "物件",
                                                         "ｱﾝｸﾞﾙ",
                                                         "\xE3\x80\x80",
                                                         "\xFF",
                                                         "\xC3",
                                                         "\xF0\x9F\x92\xA9",
                                                         std::string_view("\0", 1),
                                                         "SELECT * FROM a",
                                                         "(SELECT 1 FROM a) AS x",
                                                         "TRANSFORM Sum(a)",
                                                         "INSERT INTO ",
                                                         "DROP TABLE a"});

void PutWord(jet::Bytes& text, Random& random) {
  const std::string_view word = random.Pick(kWords);
  const jet::Bytes bytes(word.begin(), word.end());
  const auto piece = Piece(text, random, 1, word.size() + 4);
  if (random.OneIn(3)) {
    text.erase(text.begin() + Offset(piece.first),
               text.begin() + Offset(piece.first + piece.second));
  }
  const std::size_t times = random.OneIn(12) ? 1 + random.Below(2000 / word.size()) : 1;
  for (std::size_t i = 0; i < times; ++i) Insert(text, piece.first, bytes);
}

// Ranges of units that sort keys treat differently.
constexpr std::array<std::pair<char16_t, char16_t>, 22> kRanges = {
    {{0x20, 0x7E},     {0x00, 0x1F},     {0xA0, 0xFF},     {0x100, 0x24F},   {0x300, 0x36F},
     {0x370, 0x3FF},   {0x400, 0x45F},   {0x2010, 0x2015}, {0x2160, 0x217B}, {0x2460, 0x2473},
     {0x3000, 0x303F}, {0x3041, 0x3096}, {0x3099, 0x309E}, {0x30A1, 0x30FE}, {0x3220, 0x32FE},
     {0x4E00, 0x9FA5}, {0xFF01, 0xFF5E}, {0xFF61, 0xFF9F}, {0xD800, 0xDFFF}, {0xE000, 0xF8FF},
     {0xFFF0, 0xFFFF}, {0x3303, 0x33CD}}};

void PutUnit(jet::Bytes& units, Random& random) {
  const auto [first, last] = random.Pick(kRanges);
  const auto unit =
      static_cast<std::uint16_t>(first + random.Below(std::size_t{last} - first + 1u));
  const jet::Bytes bytes{static_cast<std::uint8_t>(unit), static_cast<std::uint8_t>(unit >> 8)};
  const std::size_t at = random.Below(units.size() / 2 + 1) * 2;
  if (at < units.size() && random.OneIn(2)) {
    units[at] = bytes[0];
    units[at + 1] = bytes[1];
  } else {
    Insert(units, at, bytes);
  }
}

template <class Put>
std::string MutateBy(jet::Bytes& input, Random& random, std::size_t unit, const Put& put) {
  const std::size_t rounds = 1 + random.Below(4);
  for (std::size_t i = 0; i < rounds; ++i) {
    if (input.size() >= unit && MovePieces(input, random, unit)) continue;
    put(input, random);
  }
  return fmt::format("{} bytes", input.size());
}

}  // namespace

std::string MutateBytes(jet::Bytes& input, Random& random) {
  // A file keeps its length: everything behind would move.
  if (input.size() > kMaxTextBytes) {
    const std::size_t count = 1 + random.Below(16);
    std::string said;
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t at = random.Below(input.size());
      const auto bit = static_cast<std::uint8_t>(1 << random.Below(8));
      input[at] ^= bit;
      said += fmt::format("{}byte {:X} ^ {:X}", i == 0 ? "" : ", ", at, bit);
    }
    return said;
  }
  return MutateBy(input, random, 1, [](jet::Bytes& bytes, Random& r) {
    if (bytes.size() >= 4 && r.OneIn(2)) {
      const std::size_t at = r.Below(bytes.size() - 3), width = r.OneIn(2) ? 2 : 4;
      const std::uint32_t value = r.Pick(std::array{0u, 1u, 0x7FFF'FFFFu, 0xFFFF'FFFFu, 0xFFFFu, 6u,
                                                    static_cast<std::uint32_t>(bytes.size())});
      for (std::size_t i = 0; i < width; ++i)
        bytes[at + i] = static_cast<std::uint8_t>(value >> 8 * i);
      return;
    }
    FlipOrSet(bytes, r);
  });
}

std::string MutateSql(jet::Bytes& text, Random& random) {
  return MutateBy(text, random, 1, [](jet::Bytes& bytes, Random& r) {
    if (r.OneIn(5)) {
      FlipOrSet(bytes, r);
    } else {
      PutWord(bytes, r);
    }
  });
}

std::string MutateUnits(jet::Bytes& units, Random& random) {
  units.resize(units.size() / 2 * 2);
  return MutateBy(units, random, 2, PutUnit);
}

}  // namespace fuzz
