// mdbadm: samples, inspection, checking and upgrades of the two databases,
// without a window.
#include <cstdio>
#include <new>
#include <stdexcept>

#include "mdbadm/arguments.h"
#include "mdbadm/console.h"
#include "mdbadm/failure.h"
#include "mdbadm/output.h"

namespace mdbadm {

namespace {

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
