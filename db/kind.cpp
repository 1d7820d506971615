#include "db/kind.h"

#include "jet/storage/file.h"

namespace db {

std::string_view NameInPath(std::string_view path) {
  return path.substr(path.find_last_of(jet::PathSeparators()) + 1);
}

std::optional<Kind> KindOfFile(std::string_view path) {
  for (const Kind kind : kKinds) {
    if (NameInPath(path) == FileNameOf(kind)) return kind;
  }
  return std::nullopt;
}

}  // namespace db
