#include <windows.h>

#include <stdexcept>

#include "jet/base/wide_text.h"
#include "jet/storage/file.h"
#include "tests/support/files.h"
#include "tests/support/process.h"

namespace test_support {
namespace {

constexpr UINT kKilled = 0xDEAD;

// An argument as programs take it apart again: backslashes count only before
// quotes.
std::string Quoted(const std::string& argument) {
  std::string quoted = "\"";
  std::size_t backslashes = 0;
  for (const char c : argument) {
    if (c == '"') quoted.append(backslashes + 1, '\\');
    backslashes = c == '\\' ? backslashes + 1 : 0;
    quoted += c;
  }
  return quoted.append(backslashes, '\\') + '"';
}

HANDLE OutputFile(const std::string& path) {
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  return ::CreateFileW(jet::ToWide(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited,
                       CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

}  // namespace

Ending RunProcess(const std::string& program, const std::vector<std::string>& arguments,
                  std::chrono::microseconds limit) {
  const TempFolder folder;
  const std::string out = folder.File("out"), err = folder.File("err");
  std::string line = Quoted(program + ".exe");
  for (const std::string& argument : arguments) line += ' ' + Quoted(argument);
  std::wstring command = jet::ToWide(line);

  STARTUPINFOW start{};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdOutput = OutputFile(out);
  start.hStdError = OutputFile(err);
  PROCESS_INFORMATION process{};
  if (::CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start,
                       &process) == 0) {
    throw std::runtime_error("cannot run " + line + ": error " + std::to_string(::GetLastError()));
  }
  const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(limit).count();
  if (::WaitForSingleObject(process.hProcess, static_cast<DWORD>(milliseconds)) == WAIT_TIMEOUT) {
    ::TerminateProcess(process.hProcess, kKilled);
    ::WaitForSingleObject(process.hProcess, INFINITE);
  }
  DWORD status = 0;
  ::GetExitCodeProcess(process.hProcess, &status);
  for (const HANDLE handle :
       {start.hStdOutput, start.hStdError, process.hThread, process.hProcess}) {
    ::CloseHandle(handle);
  }
  std::optional<int> exit_status;
  if (status != kKilled) exit_status = static_cast<int>(status);
  return {exit_status, ReadFileBytes(out), ReadFileBytes(err)};
}

bool HasProgram(const std::string&) { return false; }

}  // namespace test_support
