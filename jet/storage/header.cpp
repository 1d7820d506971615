#include "jet/storage/header.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "jet/base/bytes.h"
#include "jet/base/system_ids.h"
#include "jet/base/text.h"
#include "jet/storage/header_layout.h"

namespace jet {
namespace {

constexpr std::size_t kPasswordBytes = 2 * kMaxPasswordChars;
constexpr std::size_t kSidRegion = 0x42;  // 80 bytes that the mask of security ids is made of
constexpr std::size_t kSidRegionBytes = 80;

constexpr std::string_view kJetSignature{"Standard Jet DB\0", 16};
constexpr std::string_view kAceSignature{"Standard ACE DB\0", 16};
constexpr std::uint32_t kNewEngineBuild = 0x21AA;

Bytes MaskHeader(ByteView bytes) {
  Bytes out(bytes.begin(), bytes.end());
  Rc4(kHeaderKey).Apply(out);
  return out;
}

// The password field is also masked with the creation date as a whole number.
std::uint32_t DateMask(double days) {
  if (!(days > -2147483648.0 && days < 2147483648.0)) return 0x80000000;
  return static_cast<std::uint32_t>(static_cast<std::int32_t>(days));
}

void ApplyDateMask(std::span<std::uint8_t> field, double days) {
  const std::uint32_t mask = DateMask(days);
  for (std::size_t i = 0; i < field.size(); ++i) {
    field[i] = static_cast<std::uint8_t>(field[i] ^ (mask >> (8 * (i % 4)) & 0xFF));
  }
}

std::string WhatElse(ByteView page) {
  const auto starts = [&](std::size_t at, std::string_view text) {
    return page.size() >= at + text.size() &&
           std::equal(
               text.begin(), text.end(), page.begin() + static_cast<std::ptrdiff_t>(at),
               [](char c, std::uint8_t byte) { return static_cast<std::uint8_t>(c) == byte; });
  };
  if (page.empty()) return "the file is empty";
  if (starts(kSignature, kAceSignature)) return "a file of the successor format (.accdb)";
  if (starts(kSignature, kJetSignature)) {
    if (page.size() >= kVersion + 4 && GetU32(page, kVersion) == 0) return "a Jet 3 file";
    if (page.size() < kPageSize) return "the file is cut short";
    return "version " + std::to_string(GetU32(page, kVersion)) + " of the format";
  }
  if (starts(0, "PK")) return "a ZIP archive";
  return "no database";
}

}  // namespace

Rc4::Rc4(ByteView key) {
  std::iota(std::begin(state_), std::end(state_), std::uint8_t{0});
  std::uint8_t j = 0;
  for (std::size_t i = 0; i < 256; ++i) {
    j = static_cast<std::uint8_t>(j + state_[i] + key[i % key.size()]);
    std::swap(state_[i], state_[j]);
  }
}

std::uint8_t Rc4::Next() {
  i_ = static_cast<std::uint8_t>(i_ + 1);
  j_ = static_cast<std::uint8_t>(j_ + state_[i_]);
  std::swap(state_[i_], state_[j_]);
  return state_[static_cast<std::uint8_t>(state_[i_] + state_[j_])];
}

void Rc4::Apply(std::span<std::uint8_t> bytes) {
  for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(byte ^ Next());
}

Header Header::Parse(ByteView page) {
  const bool jet =
      page.size() >= kPageSize &&
      std::equal(kJetSignature.begin(), kJetSignature.end(), page.begin() + kSignature,
                 [](char c, std::uint8_t byte) { return static_cast<std::uint8_t>(c) == byte; });
  if (!jet || GetU32(page, 0) != 0x100 || GetU32(page, kVersion) != 1) {
    throw Error(ErrorCode::kNotJet4, WhatElse(page));
  }
  Header header;
  header.unmasked_ = MaskHeader(page.subspan(kMasked, kMaskedEnd - kMasked));
  const ByteView clear(header.unmasked_);
  const auto at = [](std::size_t offset) { return offset - kMasked; };
  header.code_page_ = GetU16(clear, at(kCodePage));
  header.page_key_ = GetU32(clear, at(kPageKey));
  header.engine_build_ = GetU32(clear, at(kEngineBuild));
  header.order_ = {GetU16(clear, at(kDefaultOrder)), GetU8(clear, at(kDefaultOrder) + 2),
                   GetU8(clear, at(kDefaultOrder) + 3)};
  header.created_ = {GetDouble(clear, at(kCreated))};

  Bytes password(clear.begin() + at(kPassword), clear.begin() + at(kPassword) + kPasswordBytes);
  ApplyDateMask(password, header.created_.days);
  for (std::size_t i = 0; i < kPasswordBytes; i += 2) {
    const auto unit = static_cast<char16_t>(GetU16(password, i));
    if (unit == 0) break;
    header.password_.push_back(unit);
  }

  for (std::size_t i = kCommitSlots; i < kPageSize; i += 2) {
    const std::uint16_t slot = GetU16(page, i);
    if (slot == kSlotWriting) header.mark_ = CommitMark::kWriting;
    if (slot == kSlotSuspect && header.mark_ == CommitMark::kIdle)
      header.mark_ = CommitMark::kSuspect;
  }
  return header;
}

bool Header::Accepts(std::string_view password) const {
  return password_.empty() || ToUtf16(password) == password_;
}

Bytes Header::MaskSid(ByteView sid) const {
  Bytes region(unmasked_.begin() + (kSidRegion - kMasked),
               unmasked_.begin() + (kSidRegion - kMasked + kSidRegionBytes));
  ApplyDateMask(std::span(region).first(kPasswordBytes), created_.days);
  auto key = static_cast<std::uint32_t>(std::bit_cast<std::uint64_t>(created_.days));
  for (std::size_t i = 0; i < kSidRegionBytes / 2; ++i) {
    key ^= static_cast<std::uint32_t>(region[2 * i]) << (i % 24);
  }
  Bytes key_bytes;
  AddU32(key_bytes, key);
  Bytes out(sid.begin(), sid.end());
  Rc4(key_bytes).Apply(out);
  return out;
}

void Header::PutPassword(PageSpan page, std::string_view password) {
  const std::u16string units = ToUtf16(password);
  if (units.size() > kMaxPasswordChars || units.find(u'\0') != std::u16string::npos) {
    throw Error(ErrorCode::kOutOfRange, "a password has at most 20 characters");
  }
  Bytes clear = MaskHeader(page.subspan(kMasked, kMaskedEnd - kMasked));
  Bytes field = EncodePlain(units);
  field.resize(kPasswordBytes);
  ApplyDateMask(field, GetDouble(clear, kCreated - kMasked));
  PutBytes(clear, kPassword - kMasked, field);
  PutBytes(page, kMasked, MaskHeader(clear));
}

void Header::Init(PageSpan page, const NewFile& file) {
  std::fill(page.begin(), page.end(), std::uint8_t{0});
  PutU32(page, 0, 0x100);
  std::copy(kJetSignature.begin(), kJetSignature.end(), page.begin() + kSignature);
  PutU32(page, kVersion, 1);
  PutU32(page, kHeaderWords, 0x100);
  PutU32(page, kHeaderWords + 4, 0x101);
  std::size_t at = kSystemPages;
  for (const PageNumber table : {kObjectsPage, kAccessPage, kQueriesPage, kRelationshipsPage}) {
    PutU32(page, at, table.value);
    at += 4;
  }
  PutU16(page, kCodePage, file.code_page);
  PutU32(page, kEngineBuild, file.engine_build != 0 ? file.engine_build : kNewEngineBuild);
  PutU16(page, kDefaultOrder, file.order.language);
  PutU8(page, kDefaultOrder + 2, file.order.sort_id);
  PutU8(page, kDefaultOrder + 3, file.order.version);
  PutDouble(page, kCreated, file.created.days);
  PutBytes(page, kMasked, MaskHeader(page.subspan(kMasked, kMaskedEnd - kMasked)));
  PutPassword(page, file.password);
  PutU32(page, kFormatTag, 0x654);
  PutBytes(page, kFormatTag + 4, ByteView(reinterpret_cast<const std::uint8_t*>("4.0"), 4));
  for (std::size_t i = kCommitSlots; i < kPageSize; i += 2) PutU16(page, i, kSlotIdle);
  PutU16(page, kCommitSlots, kSlotNewFile);
}

}  // namespace jet
