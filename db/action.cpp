#include "db/action.h"

#include "ado/value.h"

namespace db {

std::int16_t RoundVersion(double version) { return ado::ToInt16(version); }

std::string VersionText(double version) { return ado::ToText(version); }

std::string WithoutLast(const std::string& path, std::size_t characters) {
  return ado::WithoutLast(path, characters);
}

}  // namespace db
