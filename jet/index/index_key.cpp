// Every part begins with a flag: ascending 7F, descending 80; Null is one byte
// alone, 00 or FF. Descending inverts the value's bytes. By type:
//
//   Byte                      as it is
//   Integer, Long, Currency   most significant byte first, top bit flipped
//   Single, Double, DateTime  the same; negative numbers with all bits inverted
//   Numeric                   FF and 16 bytes of magnitude; negative: all inverted
//   Binary, GUID (as printed) chunks of 8, zero filled, each followed by 09 or, the
//                             last, by the number of its bytes
//   Text, Memo                see collation.cpp
#include "jet/index/index_key.h"

#include <fmt/core.h>

#include <algorithm>
#include <bit>

#include "jet/base/bytes.h"
#include "jet/base/error.h"
#include "jet/sort/collation.h"

namespace jet {
namespace {

constexpr std::uint8_t kNullAscending = 0x00, kNullDescending = 0xFF;
constexpr std::uint8_t kAscending = 0x7F, kDescending = 0x80;
constexpr std::size_t kChunk = 8;
constexpr std::uint8_t kMoreChunks = 0x09;

// The bytes of `value`, most significant first.
template <typename Unsigned>
void AddBigEndian(Unsigned value, Bytes& out) {
  for (int shift = static_cast<int>(sizeof(Unsigned)) * 8 - 8; shift >= 0; shift -= 8) {
    out.push_back(static_cast<std::uint8_t>(value >> shift));
  }
}

template <typename Unsigned>
void AddInteger(Unsigned value, Bytes& out) {
  AddBigEndian<Unsigned>(static_cast<Unsigned>(value ^ Unsigned{1} << (sizeof(Unsigned) * 8 - 1)),
                         out);
}

template <typename Unsigned>
void AddReal(Unsigned bits, Bytes& out) {
  constexpr Unsigned kSign = Unsigned{1} << (sizeof(Unsigned) * 8 - 1);
  AddBigEndian<Unsigned>((bits & kSign) != 0 ? ~bits : bits ^ kSign, out);
}

void AddNumeric(const Numeric& number, Bytes& out) {
  bool zero = std::all_of(number.magnitude.begin(), number.magnitude.end(),
                          [](std::uint32_t word) { return word == 0; });
  std::size_t start = out.size();
  out.push_back(0xFF);
  for (std::uint32_t word : number.magnitude) AddBigEndian(word, out);
  if (!number.negative || zero) return;
  for (std::size_t i = start; i < out.size(); ++i) out[i] = static_cast<std::uint8_t>(~out[i]);
}

// Inverts for itself: the byte that announces another chunk stays.
void AddChunks(ByteView value, bool ascending, Bytes& out) {
  std::uint8_t flip = ascending ? 0x00 : 0xFF;
  for (std::size_t at = 0; at < value.size(); at += kChunk) {
    std::size_t length = std::min(kChunk, value.size() - at);
    for (std::size_t i = 0; i < kChunk; ++i) {
      out.push_back(static_cast<std::uint8_t>((i < length ? value[at + i] : 0) ^ flip));
    }
    bool last = at + kChunk >= value.size();
    out.push_back(last ? static_cast<std::uint8_t>(length ^ flip) : kMoreChunks);
  }
}

[[noreturn]] void ThrowNotSupported(const ColumnDef& column, std::string_view what) {
  throw Error(ErrorCode::kNotSupported, std::string(what)).OfColumn(column.name);
}

template <typename T>
const T& Expect(const ColumnDef& column, const Value& value) {
  if (const T* held = std::get_if<T>(&value)) return *held;
  throw Error(ErrorCode::kWrongType, "not a value of type " + TypeName(column.type))
      .OfColumn(column.name);
}

// Types whose bytes are the same in both directions, apart from the inversion.
void AddNumber(const ColumnDef& column, const Value& value, Bytes& out) {
  switch (column.type) {
    case ColumnType::kByte:
      return out.push_back(Expect<std::uint8_t>(column, value));
    case ColumnType::kInteger:
      return AddInteger(static_cast<std::uint16_t>(Expect<std::int16_t>(column, value)), out);
    case ColumnType::kLong:
      return AddInteger(static_cast<std::uint32_t>(Expect<std::int32_t>(column, value)), out);
    case ColumnType::kCurrency:
      return AddInteger(static_cast<std::uint64_t>(Expect<Currency>(column, value).ten_thousandths),
                        out);
    case ColumnType::kSingle:
      return AddReal(std::bit_cast<std::uint32_t>(Expect<float>(column, value)), out);
    case ColumnType::kDouble:
      return AddReal(std::bit_cast<std::uint64_t>(Expect<double>(column, value)), out);
    case ColumnType::kDateTime:
      return AddReal(std::bit_cast<std::uint64_t>(Expect<DateTime>(column, value).days), out);
    default:
      return AddNumeric(Expect<Numeric>(column, value), out);
  }
}

}  // namespace

void RequireIndexable(const ColumnDef& column, bool ascending) {
  if (!InfoOf(column.type).indexable) {
    ThrowNotSupported(column, "columns of type " + TypeName(column.type) + " are not indexed");
  }
  if (column.type == ColumnType::kNumeric && !ascending) {
    ThrowNotSupported(column, "descending keys of decimals are not proven");
  }
}

void AddLongKeyPart(ByteView stored, bool ascending, Bytes& out) {
  const std::uint32_t value = GetU32(stored, 0) ^ 0x8000'0000;
  const std::uint32_t bits = ascending ? value : ~value;
  const std::uint8_t part[] = {
      ascending ? kAscending : kDescending, static_cast<std::uint8_t>(bits >> 24),
      static_cast<std::uint8_t>(bits >> 16), static_cast<std::uint8_t>(bits >> 8),
      static_cast<std::uint8_t>(bits)};
  AddBytes(out, part);
}

std::optional<LongKeys> LongKeys::For(const TableDef& def, const RealIndex& index) {
  LongKeys keys;
  for (const IndexColumn& part : index.columns) {
    const std::optional<std::size_t> ordinal = def.FindColumn(part.column);
    if (!ordinal || def.columns[*ordinal].type != ColumnType::kLong) return std::nullopt;
    keys.parts_.push_back({*ordinal, part.ascending});
  }
  return keys.parts_.empty() ? std::nullopt : std::optional(std::move(keys));
}

void LongKeys::AddNullKeyPart(bool ascending, Bytes& out) {
  AddU8(out, ascending ? kNullAscending : kNullDescending);
}

void AddKeyPart(const ColumnDef& column, const Value& value, bool ascending, Bytes& out) {
  RequireIndexable(column, ascending);  // whatever the value is, Null included
  if (IsNull(value)) return out.push_back(ascending ? kNullAscending : kNullDescending);
  if (IsText(column.type)) {
    return AddTextKey(column.order, Expect<std::string>(column, value), ascending, out);
  }
  out.push_back(ascending ? kAscending : kDescending);
  std::size_t start = out.size();
  if (column.type == ColumnType::kGuid) {
    return AddChunks(PrintedOrder(Expect<Guid>(column, value).bytes), ascending, out);
  }
  if (column.type == ColumnType::kBinary) {
    const Bytes& bytes = Expect<Bytes>(column, value);
    if (bytes.empty()) ThrowNotSupported(column, "the key of an empty binary value is not proven");
    return AddChunks(bytes, ascending, out);
  }
  AddNumber(column, value, out);
  if (ascending) return;
  for (std::size_t i = start; i < out.size(); ++i) out[i] = static_cast<std::uint8_t>(~out[i]);
}

IndexKey BuildKeyFrom(const TableDef& def, const RealIndex& index, const ValueOf& value_of,
                      RowTexts* texts) {
  constexpr std::size_t kUsualBytes = 64;
  if (index.columns.empty()) throw Error::Damaged(def.page, "an index has no columns");
  IndexKey key;
  key.bytes.reserve(kUsualBytes);
  for (const IndexColumn& part : index.columns) {
    std::optional<std::size_t> ordinal = def.FindColumn(part.column);
    if (!ordinal) {
      throw Error::Damaged(def.page, fmt::format("an index uses column number {}, which is missing",
                                                 part.column.value));
    }
    const ColumnDef& column = def.columns[*ordinal];
    const Value& value = value_of(*ordinal);
    if (IsNull(value)) {
      key.some_null = true;
    } else {
      key.all_null = false;
    }
    Named({.column = column.name}, [&] {
      const auto* text = texts != nullptr ? std::get_if<std::string>(&value) : nullptr;
      if (text != nullptr && IsText(column.type)) {
        AddTextKey(column.order, texts->Of(*ordinal, *text), part.ascending, key.bytes);
      } else {
        AddKeyPart(column, value, part.ascending, key.bytes);
      }
    });
  }
  if (key.bytes.size() > kMaxIndexEntryBytes) {
    throw Error(ErrorCode::kKeyTooLong, fmt::format("an index key of {} bytes; {} are allowed",
                                                    key.bytes.size(), kMaxIndexEntryBytes));
  }
  return key;
}

}  // namespace jet
