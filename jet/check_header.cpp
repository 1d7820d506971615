#include "jet/check_header.h"

#include <fmt/format.h>

#include <algorithm>

#include "jet/bytes.h"
#include "jet/collation.h"
#include "jet/header.h"

namespace jet::check {

namespace {

constexpr std::size_t kMasked = 0x18, kMaskedEnd = 0x98;
constexpr std::size_t kMarks = 0x18;  // 0x100, 0x101, then the first four definition pages
constexpr std::size_t kZeros = 0x30, kZerosEnd = 0x3C;
constexpr std::size_t kPassword = 0x42, kPasswordEnd = 0x6A;
constexpr std::size_t kCreated = 0x72, kCreatedEnd = 0x7A;
constexpr std::size_t kVersionText = 0x98;
constexpr std::size_t kUnused = 0xA0, kUnusedEnd = 0xE00;
constexpr std::size_t kCommitSlots = 0xE00;

bool AllZero(ByteView bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0; });
}

void CheckPassword(ByteView page, double created, const Place& here, Report& report) {
  Bytes date;
  AddU32(date, static_cast<std::uint32_t>(static_cast<std::int32_t>(created)));
  bool ended = false;
  for (std::size_t at = kPassword; at < kPasswordEnd; at += 2) {
    const std::size_t i = at - kPassword;
    const int unit = GetU16(page, at) ^ (date[i % 4] | date[i % 4 + 1] << 8);
    if (ended && unit != 0) {
      report.Warning(here, Code::kHeaderField, "the password field goes on behind its end");
      return;
    }
    if (unit == 0) ended = true;
  }
}

void CheckCommitSlots(ByteView page, const Place& here, Report& report) {
  for (std::size_t at = kCommitSlots; at < kPageSize; at += 2) {
    const std::size_t slot = (at - kCommitSlots) / 2;
    switch (GetU16(page, at)) {
      case 0x0000:
        report.Problem(here, Code::kCommitSlot,
                       fmt::format("commit slot {} says that a write was not finished", slot));
        break;
      case 0x0001:
        report.Problem(here, Code::kCommitSlot,
                       fmt::format("commit slot {} says that a damaged page was met", slot));
        break;
      default:
        break;
    }
  }
}

}  // namespace

bool IsCreationDate(DateTime created) { return created.days > 0 && created.days < 110'000; }

void CheckHeader(PageView stored, Report& report) {
  const Place here{{}, PageNumber{0}};
  Bytes page(stored.begin(), stored.end());
  static constexpr std::uint8_t kKey[] = {0xC7, 0xDA, 0x39, 0x6B};
  Rc4(kKey).Apply(std::span(page).subspan(kMasked, kMaskedEnd - kMasked));

  static constexpr std::uint32_t kMarkValues[] = {0x100, 0x101, 2, 3, 4, 5};
  for (std::size_t i = 0; i < std::size(kMarkValues); ++i) {
    if (const std::uint32_t value = GetU32(page, kMarks + 4 * i); value != kMarkValues[i]) {
      report.Warning(here, Code::kHeaderField,
                     fmt::format("the word at 0x{:X} is 0x{:X}, not 0x{:X}", kMarks + 4 * i, value,
                                 kMarkValues[i]));
    }
  }
  const double created = GetDouble(page, kCreated);
  if (IsCreationDate({created})) {
    CheckPassword(page, created, here, report);
  } else {
    report.Problem(here, Code::kCreationDate,
                   fmt::format("the creation date {} is no date", created));
    report.NotChecked(here, "the password and what is masked with it");
  }
  const SortOrder order = Header::Parse(stored).order();
  if (!IsSupportedOrder(order)) {
    report.Warning(here, Code::kSortOrder,
                   fmt::format("text keys of the sort order {} version {} cannot be verified",
                               order.language, order.version));
  }
  static constexpr std::uint8_t kVersion[] = {0x54, 0x06, 0, 0, '4', '.', '0', 0};
  if (!std::equal(std::begin(kVersion), std::end(kVersion), page.begin() + kVersionText)) {
    report.Warning(here, Code::kHeaderField, "the version text is not 4.0");
  }
  const ByteView bytes = page;
  if (!AllZero(bytes.subspan(kZeros, kZerosEnd - kZeros)) ||
      !AllZero(bytes.subspan(kCreatedEnd, kMaskedEnd - kCreatedEnd)) ||
      !AllZero(bytes.subspan(kUnused, kUnusedEnd - kUnused))) {
    report.Warning(here, Code::kHeaderField, "unused bytes are not zero");
  }
  CheckCommitSlots(bytes, here, report);
}

}  // namespace jet::check
