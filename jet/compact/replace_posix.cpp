#include <sys/stat.h>
#include <unistd.h>

#include "jet/compact/replace.h"

namespace jet::compact {

// The owner first: changing it may take rights away.
void Replace(FileSystem& files, const std::string& from, const std::string& to,
             std::unique_ptr<File> held) {
  struct stat status {};
  if (::stat(to.c_str(), &status) == 0) {
    // Who may not give the file away keeps it: its contents count for more.
    [[maybe_unused]] const int given = ::chown(from.c_str(), status.st_uid, status.st_gid);
    [[maybe_unused]] const int allowed = ::chmod(from.c_str(), status.st_mode & 07777U);
  }
  files.Rename(from, to);
  held.reset();
}

}  // namespace jet::compact
