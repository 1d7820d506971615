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
constexpr std::size_t kCodePage = 0x3C, kBuild = 0x6A, kFormatWord = 0x98;
constexpr std::size_t kUnused = 0xA0, kUnusedEnd = 0xE00;
constexpr std::size_t kCommitSlots = 0xE00;

std::int64_t CountNonZero(ByteView bytes) {
  return std::ranges::count_if(bytes, [](std::uint8_t byte) { return byte != 0; });
}

void CheckPassword(ByteView page, double created, const Place& here, Report& report) {
  Bytes date;
  AddU32(date, static_cast<std::uint32_t>(static_cast<std::int32_t>(created)));
  bool ended = false;
  int behind = 0;
  for (std::size_t at = kPassword; at < kPasswordEnd; at += 2) {
    const std::size_t i = at - kPassword;
    const int unit = GetU16(page, at) ^ (date[i % 4] | date[i % 4 + 1] << 8);
    if (ended && unit != 0) ++behind;
    if (unit == 0) ended = true;
  }
  report.See(here, Field::kPasswordTail, behind);
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
        report.See(here, slot == 0 ? Field::kFirstSlot : Field::kSlots, GetU16(page, at));
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

  static constexpr Field kWords[] = {Field::kWord18, Field::kWord1C,    Field::kObjectsAt,
                                     Field::kAcesAt, Field::kQueriesAt, Field::kRelationshipsAt};
  for (std::size_t i = 0; i < std::size(kWords); ++i) {
    report.See(here, kWords[i], GetU32(page, kMarks + 4 * i));
  }
  report.See(here, Field::kCodePage, GetU16(page, kCodePage));
  report.See(here, Field::kBuild, GetU32(page, kBuild));
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
  report.See(here, Field::kLanguage, order.language);
  report.See(here, Field::kSortVersion, order.sort_id << 8 | order.version);
  const ByteView bytes = page;
  report.See(here, Field::kFormatWord, GetU32(bytes, kFormatWord));
  report.See(here, Field::kFormatText, GetU32(bytes, kFormatWord + 4));
  report.See(here, Field::kHeaderZeros,
             CountNonZero(bytes.subspan(kZeros, kZerosEnd - kZeros)) +
                 CountNonZero(bytes.subspan(kCreatedEnd, kMaskedEnd - kCreatedEnd)) +
                 CountNonZero(bytes.subspan(kUnused, kUnusedEnd - kUnused)));
  CheckCommitSlots(bytes, here, report);
}

}  // namespace jet::check
