#include "mdbadm/console.h"

#include <cstdio>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include "jet/base/wide_text.h"
#else
#include <unistd.h>
#endif

namespace mdbadm {
namespace {

#ifdef _WIN32

std::vector<std::string> Arguments(int, char**) {
  std::vector<std::string> arguments;
  int count = 0;
  wchar_t** const wide = ::CommandLineToArgvW(::GetCommandLineW(), &count);
  for (int i = 0; i < count; ++i) arguments.push_back(jet::FromWide(wide[i]));
  ::LocalFree(wide);
  return arguments;
}

// Lets the console obey the sequences that ShowProgress writes.
void AllowSequences() {
  const HANDLE errors = ::GetStdHandle(STD_ERROR_HANDLE);
  DWORD mode = 0;
  if (::GetConsoleMode(errors, &mode) == 0) return;
  ::SetConsoleMode(errors, mode | ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

#else

std::vector<std::string> Arguments(int argc, char** argv) { return {argv, argv + argc}; }

#endif

}  // namespace

Console::Console(int argc, char** argv) : arguments_(Arguments(argc, argv)) {
  for (std::string& argument : arguments_) argv_.push_back(argument.data());
  argv_.push_back(nullptr);
#ifdef _WIN32
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
  output_code_page_ = ::GetConsoleOutputCP();
  if (output_code_page_ != 0) ::SetConsoleOutputCP(CP_UTF8);
  AllowSequences();
#endif
}

Console::~Console() {
#ifdef _WIN32
  // The console belongs to the shell, too.
  std::fflush(stdout);
  if (output_code_page_ != 0) ::SetConsoleOutputCP(output_code_page_);
#endif
}

bool ErrorsGoToTerminal() {
#ifdef _WIN32
  return _isatty(_fileno(stderr)) != 0;
#else
  return isatty(STDERR_FILENO) != 0;
#endif
}

bool CanAsk() {
#ifdef _WIN32
  return ErrorsGoToTerminal() && _isatty(_fileno(stdin)) != 0;
#else
  return ErrorsGoToTerminal() && isatty(STDIN_FILENO) != 0;
#endif
}

}  // namespace mdbadm
