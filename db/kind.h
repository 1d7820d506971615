// The two databases of the product, and what is fixed about each.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace db {

enum class Kind { kData, kTenkai };
inline constexpr Kind kKinds[] = {Kind::kData, Kind::kTenkai};

// The database password of both.
inline constexpr std::string_view kDatabasePassword = "TovaMDB";

// As command lines and reports say it.
constexpr std::string_view NameOf(Kind kind) { return kind == Kind::kData ? "data" : "tenkai"; }

// The exact name of its file.
constexpr std::string_view FileNameOf(Kind kind) {
  return kind == Kind::kData ? "Data.mdb" : "展開Data.mdb";
}

// The element of the window's version labels that shows its stored version.
constexpr int VersionElementOf(Kind kind) { return kind == Kind::kData ? 0 : 1; }

// What the window cuts off the path of its file, in UTF-16 units, to have the
// folder. For Tenkai that is one less than the name and its separator have: the
// folder keeps its separator, and the connection string doubles it.
constexpr std::size_t CutUnitsOf(Kind kind) { return kind == Kind::kData ? 9 : 10; }

// What stands behind the last separator of a path of this system.
std::string_view NameInPath(std::string_view path);
// By the exact file name, nothing for any other.
std::optional<Kind> KindOfFile(std::string_view path);

}  // namespace db
