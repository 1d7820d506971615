// A folder for the files of one run.
#pragma once

#include <string>
#include <string_view>

namespace bench {

// Empty at first, removed with everything in it at the end.
class Folder {
 public:
  Folder();
  ~Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  // The path of a file in it; makes none.
  std::string File(std::string_view name) const;

 private:
  std::string path_;
};

}  // namespace bench
