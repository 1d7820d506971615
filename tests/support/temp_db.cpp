#include "tests/support/temp_db.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "jet/base/error.h"
#include "jet/check/check.h"
#include "tests/support/process.h"

namespace test_support {
namespace fs = std::filesystem;

namespace {

// The environment wins over the settings of the build.
std::string Setting(const char* variable, const char* built_in) {
  const char* value = std::getenv(variable);
  return value != nullptr ? value : built_in;
}

std::string ShellQuoted(const std::string& text) { return "'" + Replace(text, "'", "'\\''") + "'"; }

}  // namespace

std::string CopySample(const TempFolder& folder, std::string_view name) {
  std::string copy = folder.File(std::string(name.substr(name.find_last_of('/') + 1)));
  WriteFileBytes(copy, ReadFileBytes(SamplePath(name)));
  return copy;
}

std::string SamplesFolder() {
  const std::string folder = Setting("MDB_SAMPLES", MDB_SAMPLES);
  return !folder.empty() && fs::is_directory(folder) ? folder : std::string();
}

std::string SamplePath(std::string_view name) {
  return (fs::path(SamplesFolder()) / name).string();
}

std::vector<std::string> SampleNames() {
  std::vector<std::string> names;
  const std::string folder = SamplesFolder();
  if (folder.empty()) return names;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.path().extension() == ".mdb" && entry.path().filename() != "jet3.mdb") {
      names.push_back(fs::relative(entry.path(), folder).generic_string());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string Replace(std::string text, std::string_view from, std::string_view to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != text.npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

namespace {

// Without asking for a password; of a copy, so that the test
// may keep its file open.
std::string OurVerdict(const std::string& path, bool strict) {
  std::string text;
  try {
    const TempFolder folder;
    const std::string copy = folder.File("copy.mdb");
    WriteFileBytes(copy, ReadFileBytes(path));
    const auto files = jet::MakeSystemFiles();
    for (const jet::Finding& finding : jet::CheckFile(*files, copy, {}).findings) {
      const bool problem = finding.severity == jet::Finding::Severity::kProblem;
      if (strict || problem) text += jet::FormatFinding(finding) + "\n";
    }
  } catch (const jet::Error& error) {
    text += std::string(error.what()) + "\n";
  }
  return text;
}

std::string OutputOf(const std::string& command) {
  std::FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("cannot run " + command);
  std::string output;
  std::array<char, 4096> part;
  while (std::size_t n = std::fread(part.data(), 1, part.size(), pipe)) {
    output.append(part.data(), n);
  }
  pclose(pipe);
  return output;
}

// The verifier takes one file; starting it anew for each costs most of its time.
constexpr char kVerifyAll[] = R"(
import contextlib, io, runpy, sys
verifier, mode, files = sys.argv[1], sys.argv[2:3], sys.argv[3:]
for name in files:
    sys.argv = [verifier, 'check', name] + [m for m in mode if m.startswith('--')]
    said, code = io.StringIO(), 0
    try:
        with contextlib.redirect_stdout(said):
            runpy.run_path(verifier, run_name='__main__')
    except SystemExit as end:
        code = end.code
    print((said.getvalue() or 'no word') if code else '', end='\0')
)";

}  // namespace

std::optional<std::vector<std::string>> VerifierFinds(const std::vector<std::string>& paths,
                                                      bool strict) {
  const std::string verifier = Setting("MDB_VERIFIER", MDB_VERIFIER);
  if (verifier.empty() || !HasProgram("python3")) return std::nullopt;
  std::string command = "python3 -c " + ShellQuoted(kVerifyAll) + ' ' + ShellQuoted(verifier) +
                        (strict ? " --strict" : " lenient");
  for (const std::string& path : paths) command += ' ' + ShellQuoted(path);
  const std::string output = OutputOf(command + " 2>&1");
  std::vector<std::string> verdicts;
  for (std::size_t at = 0, end; (end = output.find('\0', at)) != std::string::npos; at = end + 1) {
    verdicts.push_back(output.substr(at, end - at));
  }
  if (verdicts.size() != paths.size()) throw std::runtime_error("the verifier failed: " + output);
  return verdicts;
}

void ExpectSoundByOurs(const std::string& path, bool strict) {
  EXPECT_EQ(OurVerdict(path, strict), "") << path;
}

void ExpectSound(const std::string& path, bool strict) {
  ExpectSoundByOurs(path, strict);
  const auto verdicts = VerifierFinds({path}, strict);
  if (verdicts) {
    EXPECT_EQ(verdicts->front(), "") << path;
  }
}

}  // namespace test_support
