#include "mdbadm/backup.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

namespace mdbadm {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kBlock = std::uint64_t{1} << 20;

fs::path FromUtf8(const std::string& path) {
  return fs::path(std::u8string(path.begin(), path.end()));
}
std::string ToUtf8(const fs::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

// "Data-20240131-235959.mdb", with a number where that is taken.
std::string FreeName(jet::FileSystem& files, const fs::path& file, const fs::path& folder,
                     jet::DateTime now) {
  const jet::CivilTime time = jet::ToCivilTime(now);
  const std::string stem =
      fmt::format("{}-{:04}{:02}{:02}-{:02}{:02}{:02}", ToUtf8(file.stem()), time.year, time.month,
                  time.day, time.hour, time.minute, time.second);
  for (int n = 1;; ++n) {
    const std::string number = n == 1 ? "" : fmt::format("-{}", n);
    std::string path = ToUtf8(folder / FromUtf8(stem + number + ToUtf8(file.extension())));
    if (!files.Exists(path)) return path;
  }
}

}  // namespace

std::string BackUp(jet::FileSystem& files, const std::string& path, const std::string& folder,
                   jet::DateTime now) {
  return BackUp(files, *files.Open(path, jet::OpenMode::kRead), folder, now);
}

std::string BackUp(jet::FileSystem& files, jet::File& from, const std::string& folder,
                   jet::DateTime now) {
  fs::create_directories(FromUtf8(folder));
  std::string copy = FreeName(files, FromUtf8(from.path()), FromUtf8(folder), now);
  const std::string unfinished = copy + ".new";
  try {
    const std::unique_ptr<jet::File> to = files.Create(unfinished);
    const std::uint64_t size = from.Size();
    jet::Bytes block;
    for (std::uint64_t at = 0; at < size; at += block.size()) {
      block.resize(static_cast<std::size_t>(std::min(kBlock, size - at)));
      from.Read(at, block);
      to->Write(at, block);
    }
    to->Sync();
  } catch (...) {
    if (files.Exists(unfinished)) files.Remove(unfinished);
    throw;
  }
  files.Rename(unfinished, copy);
  return copy;
}

}  // namespace mdbadm
