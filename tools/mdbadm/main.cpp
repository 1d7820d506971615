// mdbadm: samples, inspection, checking and upgrades of the two databases,
// without a window.
#include <cstdio>

#include "ado/error.h"
#include "tools/mdbadm/arguments.h"
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

void Complain(const std::string& text) {
  Flush();
  std::fprintf(stderr, "mdbadm: %s\n", text.c_str());
}

std::string Describe(const std::exception& error) {
  const auto* numbered = dynamic_cast<const ado::Error*>(&error);
  if (numbered == nullptr) return error.what();
  const std::int32_t number = numbered->number();
  if (number >= 0) return fmt::format("{} {}", number, numbered->text());
  return fmt::format("{} ({:08X}) {}", number, static_cast<std::uint32_t>(number),
                     numbered->text());
}

namespace {

int Run(int argc, char** argv) {
  const std::unique_ptr<jet::FileSystem> files = jet::MakeSystemFiles();
  Program program{*files};
  try {
    const int status = RunVerb(program, argc, argv);
    return Flush() ? status : kFailed;
  } catch (const UsageError& error) {
    Complain(error.what());
    return kUsage;
  } catch (const std::exception& error) {
    Complain(Describe(error));
    return kFailed;
  }
}

}  // namespace
}  // namespace mdbadm

int main(int argc, char** argv) { return mdbadm::Run(argc, argv); }
