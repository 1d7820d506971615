// Little-endian numbers in byte ranges, every access checked.
#pragma once

#include <bit>
#include <cstring>

#include "jet/base/error.h"
#include "jet/base/types.h"

namespace jet {

// Thrown by the accessors below; whoever knows the page turns it into
// Error::Damaged. It is an Error already, so that nothing slips through.
[[noreturn]] inline void ThrowOutside(std::size_t at) {
  throw Error(ErrorCode::kDamaged, "offset " + std::to_string(at) + " lies outside its structure");
}

inline void CheckRange(std::size_t size, std::size_t at, std::size_t length) {
  if (at > size || length > size - at) ThrowOutside(at);
}

inline std::uint8_t GetU8(ByteView bytes, std::size_t at) {
  CheckRange(bytes.size(), at, 1);
  return bytes[at];
}
inline std::uint16_t GetU16(ByteView bytes, std::size_t at) {
  CheckRange(bytes.size(), at, 2);
  return static_cast<std::uint16_t>(bytes[at] | bytes[at + 1] << 8);
}
inline std::uint32_t GetU32(ByteView bytes, std::size_t at) {
  CheckRange(bytes.size(), at, 4);
  return static_cast<std::uint32_t>(bytes[at]) | static_cast<std::uint32_t>(bytes[at + 1]) << 8 |
         static_cast<std::uint32_t>(bytes[at + 2]) << 16 |
         static_cast<std::uint32_t>(bytes[at + 3]) << 24;
}
inline std::uint64_t GetU64(ByteView bytes, std::size_t at) {
  return GetU32(bytes, at) | static_cast<std::uint64_t>(GetU32(bytes, at + 4)) << 32;
}
inline double GetDouble(ByteView bytes, std::size_t at) {
  return std::bit_cast<double>(GetU64(bytes, at));
}
inline ByteView Slice(ByteView bytes, std::size_t at, std::size_t length) {
  CheckRange(bytes.size(), at, length);
  return bytes.subspan(at, length);
}

inline void PutU8(std::span<std::uint8_t> bytes, std::size_t at, std::uint8_t value) {
  CheckRange(bytes.size(), at, 1);
  bytes[at] = value;
}
inline void PutU16(std::span<std::uint8_t> bytes, std::size_t at, std::size_t value) {
  CheckRange(bytes.size(), at, 2);
  bytes[at] = static_cast<std::uint8_t>(value);
  bytes[at + 1] = static_cast<std::uint8_t>(value >> 8);
}
inline void PutU32(std::span<std::uint8_t> bytes, std::size_t at, std::uint32_t value) {
  PutU16(bytes, at, value & 0xFFFF);
  PutU16(bytes, at + 2, value >> 16);
}
inline void PutU64(std::span<std::uint8_t> bytes, std::size_t at, std::uint64_t value) {
  PutU32(bytes, at, static_cast<std::uint32_t>(value));
  PutU32(bytes, at + 4, static_cast<std::uint32_t>(value >> 32));
}
inline void PutDouble(std::span<std::uint8_t> bytes, std::size_t at, double value) {
  PutU64(bytes, at, std::bit_cast<std::uint64_t>(value));
}
inline void PutBytes(std::span<std::uint8_t> bytes, std::size_t at, ByteView value) {
  CheckRange(bytes.size(), at, value.size());
  if (!value.empty()) std::memcpy(bytes.data() + at, value.data(), value.size());
}

// Appending to a growing buffer.
inline void AddU8(Bytes& out, std::uint8_t value) { out.push_back(value); }
// The number's low bytes, least significant first.
template <std::size_t kBytes>
void AddNumber(Bytes& out, std::uint64_t value) {
  const std::size_t at = out.size();
  out.resize(at + kBytes);
  for (std::size_t i = 0; i < kBytes; ++i) out[at + i] = static_cast<std::uint8_t>(value >> 8 * i);
}
inline void AddU16(Bytes& out, std::size_t value) { AddNumber<2>(out, value); }
inline void AddU32(Bytes& out, std::uint32_t value) { AddNumber<4>(out, value); }
inline void AddU64(Bytes& out, std::uint64_t value) { AddNumber<8>(out, value); }
inline void AddBytes(Bytes& out, ByteView value) {
  out.insert(out.end(), value.begin(), value.end());
}

}  // namespace jet
