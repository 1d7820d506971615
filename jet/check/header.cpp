#include "jet/check/header.h"

#include <fmt/format.h>

#include <algorithm>

#include "jet/base/bytes.h"
#include "jet/sort/collation.h"
#include "jet/storage/header.h"
#include "jet/storage/header_layout.h"

namespace jet::check {

namespace {

constexpr std::size_t kPasswordEnd = kPassword + 2 * kMaxPasswordChars;

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
      case kSlotWriting:
        report.Problem(here, Code::kCommitSlot,
                       fmt::format("commit slot {} says that a write was not finished", slot));
        break;
      case kSlotSuspect:
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
  Rc4(kHeaderKey).Apply(std::span(page).subspan(kMasked, kMaskedEnd - kMasked));

  static constexpr Field kWords[] = {Field::kWord18, Field::kWord1C,    Field::kObjectsAt,
                                     Field::kAcesAt, Field::kQueriesAt, Field::kRelationshipsAt};
  for (std::size_t i = 0; i < std::size(kWords); ++i) {
    report.See(here, kWords[i], GetU32(page, kHeaderWords + 4 * i));
  }
  report.See(here, Field::kCodePage, GetU16(page, kCodePage));
  report.See(here, Field::kBuild, GetU32(page, kEngineBuild));
  const double created = GetDouble(page, kCreated);
  if (IsCreationDate({created})) {
    CheckPassword(page, created, here, report);
  } else {
    report.Problem(here, Code::kCreationDate,
                   fmt::format("the creation date {} is not a date", created));
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
  report.See(here, Field::kFormatWord, GetU32(bytes, kFormatTag));
  report.See(here, Field::kFormatText, GetU32(bytes, kFormatTag + 4));
  report.See(here, Field::kHeaderZeros,
             CountNonZero(bytes.subspan(kHeaderZeros, kCodePage - kHeaderZeros)) +
                 CountNonZero(bytes.subspan(kCreatedEnd, kMaskedEnd - kCreatedEnd)) +
                 CountNonZero(bytes.subspan(kUnusedHeader, kCommitSlots - kUnusedHeader)));
  CheckCommitSlots(bytes, here, report);
}

}  // namespace jet::check
