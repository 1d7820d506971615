#include "db/action.h"

#include "ado/value.h"
#include "jet/file.h"

namespace db {

std::int16_t RoundVersion(double version) { return ado::ToInt16(version); }

std::string VersionText(double version) { return ado::ToText(version); }

std::string FolderOf(const std::string& path, std::size_t characters) {
  std::string folder = ado::WithoutLast(path, characters);
  // The backslash that the connection string adds must not be taken for one with
  // that of a folder whose name ends in it.
  const std::string_view separators = jet::PathSeparators();
  const bool part_of_name = separators.find('\\') == std::string_view::npos;
  if (part_of_name && folder.ends_with('\\') && folder.find_first_of(separators) == 0) {
    folder += "/.";
  }
  return folder;
}

}  // namespace db
