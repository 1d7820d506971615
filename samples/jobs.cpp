#include "samples/jobs.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <string>

namespace samples {
namespace {

using Int = std::int32_t;
constexpr jet::Null kNull;
constexpr Int kRowsPerReport = 20'000;

Int JobOfPiece(Int n) { return (n - 1) / kPiecesPerJob + 1; }

jet::Value DrawnOn(Int job) {
  static const double kFirstDay = jet::ToDateTime({2010, 1, 4, 0, 0, 0}).days;
  return jet::DateTime{kFirstDay + job % 3000};
}

std::string FullWidthDigits(const std::string& digits) {
  std::string wide;
  for (char digit : digits) {
    wide += "\xEF\xBC";
    wide += static_cast<char>('\x90' + (digit - '0'));
  }
  return wide;
}

// Every seventh site has the name of the one before, in full-width digits: the
// same to the sort order, another text.
std::string SiteName(Int site) {
  const bool twin = site % 7 == 0;
  const std::string digits = fmt::format("{:05}", twin ? site - 1 : site);
  return "ﾃｸﾉタワー新築" + (twin ? FullWidthDigits(digits) : digits);
}

// `chars` characters of remark; Null for most jobs.
jet::Value Remark(Int job) {
  const int chars = job % 100 == 0 ? 6000 : job % 10 == 0 ? 300 : 0;
  if (chars == 0) return kNull;
  const std::string number = fmt::format("{:010}", job);
  std::string text;
  for (int i = 0; i < chars / 30; ++i) text += "搬入口は北側ﾀﾞｸﾄは現場合せとする。#" + number;
  return text;
}

void Job(Int j, Row& row) {
  row = {j,
         1 + (j - 1) / kJobsPerSite,
         1 + (j - 1) % 6,
         fmt::format("{}F", 1 + (j - 1) % 9),
         j % 3,
         j % 4,
         j % 2,
         Remark(j)};
}

// Every shape but "none" and the blank slot.
Int ShapeOf(Int n) {
  const Int k = (n - 1) % 117;
  return k < 44 ? k + 1 : k + 2;
}

void Piece(Int n, Row& row) {
  const Int job = JobOfPiece(n);
  row = {n,
         ShapeOf(n),
         n % 4,
         1 + n % 5,
         1 + n % 8,
         1 + n % 10,
         job,
         n % 3,
         n % 3,
         1 + n % 2,
         n % 10 == 0 ? 1 : 0,
         DrawnOn(job),
         fmt::format("A{}", 1 + (n - 1) % kPiecesPerJob),
         kNull};
  if (n % 2 == 0) row.back() = fmt::format("B{}", n % 100);
}

void Area(Int n, Row& row) {
  const double area = (1 + n % 40) / 4.0;
  row = {n, area, area / 2};
}

void Size(Int n, Row& row) {
  row = {n, 100 * (2 + n % 10), 50 * (3 + n % 9), 900, kNull, kNull, kNull, kNull, kNull};
  if (n % 3 == 0) {
    const Int more[] = {150, 50, 75, 200 + n % 100, 100 + n % 100};
    for (std::size_t i = 0; i < std::size(more); ++i) row[4 + i] = more[i];
  }
}

void Ports(Int n, Row& row) { row = {n, 1 + n % 14, 1 + (n + 1) % 14, n % 5 == 0 ? 1 : 0, 0}; }

void Unfolding(Int n, Row& row) {
  row = {n, (n % 30) / 2.0, (n % 40) / 2.0, (n % 50) / 2.0, (n % 60) / 2.0};
}

void Opening(Int i, Row& row) {
  const Int n = 10 * i;
  row = {n, 1, 1 + i % 2, 50 + i % 20, 60 + i % 20, 200, 150};
}

void Accessory(Int m, Row& row) {
  const Int job = (m - 1) / kAccessoriesPerJob + 1;
  row = {m,
         job,
         1 + (m - 1) % 58,
         1 + m % 3,
         1 + m % 10,
         1 + m % 4,
         m % 3,
         DrawnOn(job),
         fmt::format("C{}", 1 + (m - 1) % kAccessoriesPerJob),
         fmt::format("D{}", m % 100)};
}

void AccessorySize(Int m, Row& row) {
  const auto size = [m](Int range) { return 25 * (2 + m % range); };
  row = {m, size(9), size(7), size(11), size(8), size(6), size(5), kNull, size(4)};
  if (m % 2 == 0) row[7] = size(3);
}

void Site(Int s, Row& row) { row = {s, SiteName(s)}; }

}  // namespace

std::vector<JobTable> JobTables(int jobs) {
  const std::int64_t pieces = std::int64_t{jobs} * kPiecesPerJob;
  const std::int64_t accessories = std::int64_t{jobs} * kAccessoriesPerJob;
  return {
      {"Data_ﾒｲﾝ_設定", jobs, Job},
      {"Data_角_単体設定", pieces, Piece},
      {"Data_角_㎡数", pieces, Area},
      {"Data_角_ｻｲｽﾞ", pieces, Size},
      {"Data_角_接続口", pieces, Ports},
      {"Data_角_展開設定", pieces, Unfolding},
      {"Data_角_開口", pieces / 10, Opening},
      {"Data_丸副_単体設定", accessories, Accessory},
      {"Data_丸副_ｻｲｽﾞ", accessories, AccessorySize},
      {"Spec_現場名", (jobs + kJobsPerSite - 1) / kJobsPerSite, Site},
  };
}

void WriteJobs(jet::Database& database, const std::vector<BaseTable>& base, int jobs,
               const std::function<void(std::int64_t rows)>& progress) {
  Row row;
  for (const JobTable& table : JobTables(jobs)) {
    const auto declared = std::find_if(base.begin(), base.end(), [&](const BaseTable& candidate) {
      return candidate.name == table.name;
    });
    if (declared == base.end()) continue;
    const std::shared_ptr<jet::Table> stored = database.OpenTable(table.name);
    std::int64_t unreported = 0;
    for (Int number = 1; number <= table.count; ++number) {
      table.fill(number, row);
      Conform(*declared, row);
      stored->Insert(row);
      if (++unreported == kRowsPerReport && progress) {
        progress(unreported);
        unreported = 0;
      }
    }
    if (progress && unreported != 0) progress(unreported);
  }
}

}  // namespace samples
