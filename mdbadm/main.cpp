// mdbadm: samples, inspection, checking and upgrades of the two databases,
// without a window.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <stdexcept>

#include "mdbadm/arguments.h"
#include "mdbadm/console.h"
#include "mdbadm/failure.h"
#include "mdbadm/output.h"

namespace mdbadm {

namespace {

// Where there is no memory for an exception either, nothing can be caught.
[[noreturn]] void Terminate() {
  if (std::current_exception()) std::abort();
  std::fputs("mdbadm: not enough memory\n", stderr);
  std::_Exit(static_cast<int>(ExitCode::kFailed));
}
// Before all other constants of the program are made.
[[gnu::constructor(101)]] void SetTerminate() { std::set_terminate(Terminate); }

ExitCode Run(int argc, char** argv) {
  const std::unique_ptr<jet::FileSystem> files = jet::MakeSystemFiles();
  Program program{*files};
  try {
    const ExitCode code = RunVerb(program, argc, argv);
    if (!Flush()) throw std::runtime_error("standard output cannot be written");
    return code;
  } catch (const std::exception& error) {
    try {
      const Failure failure = FailureOf(error);
      Complain(program, failure);
      return failure.code;
    } catch (const std::bad_alloc&) {
      std::fputs("mdbadm: not enough memory\n", stderr);
      return ExitCode::kFailed;
    }
  }
}

}  // namespace
}  // namespace mdbadm

int main(int argc, char** argv) {
  mdbadm::Console console(argc, argv);
  return static_cast<int>(mdbadm::Run(console.argc(), console.argv()));
}
