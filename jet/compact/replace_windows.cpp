#include "jet/compact/replace.h"

namespace jet::compact {

// A file that is open cannot be replaced. Whoever opens it in between makes Rename fail,
// and keeps the old file.
void Replace(FileSystem& files, const std::string& from, const std::string& to,
             std::unique_ptr<File> held) {
  held.reset();
  files.Rename(from, to);
}

}  // namespace jet::compact
