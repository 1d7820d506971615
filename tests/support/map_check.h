// The usage maps of a file judged from outside: decoded from the bytes of the file,
// in clear, without the engine's own code.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace test_support {

struct MapState {
  bool list = false;
  std::uint32_t start = 0;             // inline only
  std::size_t length = 0;              // of the row
  std::size_t room = 0;                // free bytes of the page that it lies on
  std::vector<std::uint32_t> pages;    // marked, ascending
  std::vector<std::uint32_t> bitmaps;  // list only
};

struct MapFile {
  std::uint32_t page_count = 0;
  MapState free_pages;                     // page 1, row 0
  std::string second;                      // page 1, row 1: its bytes
  std::map<std::uint32_t, MapState> maps;  // by page * 256 + row
  std::vector<std::string> faults;         // what holds for any file
};

// Every row of every page of maps that is not free.
MapFile ReadMaps(std::string_view file);

// What the four ways to mark a page do not explain between two states of a file, as far
// as they show it, and what is wrong with either: a map that marked nothing is taken to
// have lost no page since.
std::vector<std::string> MapFaults(std::string_view before, std::string_view after);

}  // namespace test_support
