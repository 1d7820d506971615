// Files for tests: copies of real databases, and the verdicts of all that can
// judge a file.
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "jet/base/error.h"
#include "tests/support/files.h"

namespace test_support {

// The folder of real files, from the environment or the build; empty: none.
std::string SamplesFolder();
std::string SamplePath(std::string_view name);
// Names relative to the folder, sorted; the file of the older format left out.
std::vector<std::string> SampleNames();
// A writable copy of a real file ("ja/schedule.mdb") in `folder`; its path.
std::string CopySample(const TempFolder& folder, std::string_view name);

// Every `from` in `text` becomes `to`.
std::string Replace(std::string text, std::string_view from, std::string_view to);

// What the independent verifier says about each file: empty if it is content;
// nothing at all if there is no verifier. `strict`: what is untidy counts, too.
std::optional<std::vector<std::string>> VerifierFinds(const std::vector<std::string>& paths,
                                                      bool strict);
// The integrity checker finds no problem, and neither does the independent
// verifier where there is one. `strict`: nothing untidy either, for files that
// are all our own.
void ExpectSound(const std::string& path, bool strict = false);
// The same without the independent verifier, which takes a second a file.
void ExpectSoundByOurs(const std::string& path, bool strict = false);

// The code of the engine's error that `action` ends with; nothing if it ends
// well.
template <typename Action>
std::optional<jet::ErrorCode> CodeOf(Action&& action) {
  try {
    action();
  } catch (const jet::Error& error) {
    return error.code();
  }
  return std::nullopt;
}

}  // namespace test_support

#define SKIP_WITHOUT_SAMPLES()                                         \
  if (::test_support::SamplesFolder().empty()) {                       \
    GTEST_SKIP() << "no folder of real files is named by MDB_SAMPLES"; \
  }                                                                    \
  static_assert(true, "")
