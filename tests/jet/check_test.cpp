#include "jet/check.h"

#include <gtest/gtest.h>

#include "jet/error.h"
#include "tests/support/temp_db.h"

namespace jet {
namespace {

using test_support::SampleNames;
using test_support::SamplePath;

CheckResult CheckPath(const std::string& path) {
  const auto files = MakeSystemFiles();
  OpenOptions options;
  options.password = "ucanaccess";  // of the one sample that has a password
  return CheckFile(*files, path, options);
}

std::string Problems(const CheckResult& result) {
  std::string text;
  for (const Finding& finding : result.findings) {
    if (finding.severity == Finding::Severity::kProblem) text += FormatFinding(finding) + "\n";
  }
  return text;
}

TEST(Check, RealFilesHaveNoProblem) {
  SKIP_WITHOUT_SAMPLES();
  for (const std::string& name : SampleNames()) {
    const CheckResult result = CheckPath(SamplePath(name));
    EXPECT_EQ(Problems(result), "") << name;
    EXPECT_GE(result.tables, 4u) << name;
    EXPECT_GE(result.index_entries, 32u) << name;
  }
}

}  // namespace
}  // namespace jet
