// mdbadm: samples, inspection, checking and upgrades of the two databases,
// without a window.
#include <stdexcept>

#include "tools/mdbadm/arguments.h"
#include "tools/mdbadm/failure.h"
#include "tools/mdbadm/output.h"

namespace mdbadm {

std::unique_ptr<jet::Database> OpenToRead(Program& program, const std::string& path,
                                          const std::string& password) {
  jet::OpenOptions options;
  options.password = password;
  return jet::Database::Open(program.files, path, options);
}

std::unique_ptr<jet::Database> OpenToChange(Program& program, const std::string& path,
                                            const std::string& password) {
  jet::OpenOptions options;
  options.mode = jet::OpenMode::kExclusive;
  options.password = password;
  return jet::Database::Open(program.files, path, options);
}

namespace {

ExitCode Run(int argc, char** argv) {
  const std::unique_ptr<jet::FileSystem> files = jet::MakeSystemFiles();
  Program program{*files};
  try {
    const ExitCode code = RunVerb(program, argc, argv);
    if (!Flush()) throw std::runtime_error("standard output cannot be written");
    return code;
  } catch (const std::exception& error) {
    const Failure failure = FailureOf(error);
    Complain(program, failure);
    return failure.code;
  }
}

}  // namespace
}  // namespace mdbadm

int main(int argc, char** argv) { return static_cast<int>(mdbadm::Run(argc, argv)); }
