// Page 0, by offsets. Between kMasked and kMaskedEnd its bytes are masked with the
// stream of kHeaderKey, and the password field with the creation date on top of that.
#pragma once

#include <cstddef>
#include <cstdint>

namespace jet {

inline constexpr std::size_t kSignature = 0x04;  // "Standard Jet DB", 0
inline constexpr std::size_t kVersion = 0x14;    // u32, 1 in this format
inline constexpr std::size_t kMasked = 0x18;
inline constexpr std::size_t kHeaderWords = 0x18;  // u32 100h, u32 101h
inline constexpr std::size_t kSystemPages = 0x20;  // u32 each: definitions of the system tables
inline constexpr std::size_t kHeaderZeros = 0x30;
inline constexpr std::size_t kCodePage = 0x3C;      // u16
inline constexpr std::size_t kPageKey = 0x3E;       // u32, 0: pages are in clear
inline constexpr std::size_t kPassword = 0x42;      // UTF-16, filled up with zeros
inline constexpr std::size_t kEngineBuild = 0x6A;   // u32
inline constexpr std::size_t kDefaultOrder = 0x6E;  // of the file: u16 language, u8 id, u8 version
inline constexpr std::size_t kCreated = 0x72;       // double, days
inline constexpr std::size_t kCreatedEnd = 0x7A;
inline constexpr std::size_t kMaskedEnd = 0x98;
inline constexpr std::size_t kFormatTag = 0x98;  // u32 654h, "4.0", 0
inline constexpr std::size_t kUnusedHeader = 0xA0;
inline constexpr std::size_t kCommitSlots = 0xE00;  // u16 each, to the end of the page

inline constexpr std::uint8_t kHeaderKey[] = {0xC7, 0xDA, 0x39, 0x6B};

// What a commit slot says. Programs count theirs up with every write.
inline constexpr std::uint16_t kSlotWriting = 0x0000;  // a write is under way
inline constexpr std::uint16_t kSlotSuspect = 0x0001;  // a damaged page was met
inline constexpr std::uint16_t kSlotIdle = 0x0100;
inline constexpr std::uint16_t kSlotNewFile = 0x0101;

}  // namespace jet
