// Files that can be changed without changing them, compared with a text in memory.
#include "mdbadm/overlay_files.h"

#include <gtest/gtest.h>

#include <random>

#include "tests/support/fault_file.h"
#include "tests/support/temp_db.h"

namespace {

using jet::ErrorCode;
using jet::OpenMode;

constexpr char kPath[] = "/f";

TEST(OverlayFilesTest, ReadAsIfTheFileWereWritten) {
  const std::string before(2 * jet::kPageSize + 100, 'x');
  test_support::FaultFiles files;
  files.bytes(kPath) = before;
  mdbadm::OverlayFiles overlay(files);
  std::mt19937 random(7);
  // The edges of blocks, too, and behind the end of the file below.
  const auto place = [&] {
    return random() % 3 == 0 ? random() % 5 * jet::kPageSize : random() % 20'000;
  };
  for (int round = 0; round < 100; ++round) {
    const auto file = overlay.Open(kPath, OpenMode::kExclusive);
    std::string model = before;
    for (int i = 0; i < 30; ++i) {
      SCOPED_TRACE(testing::Message() << round << ", " << i);
      const std::size_t at = place(), count = place();
      switch (random() % 3) {
        case 0: {
          const auto letter = static_cast<std::uint8_t>('a' + i % 26);
          file->Write(at, jet::Bytes(count, letter));
          model.resize(std::max(model.size(), at + count));
          model.replace(at, count, count, static_cast<char>(letter));
          break;
        }
        case 1:
          file->Truncate(std::min(at, model.size()));
          model.resize(std::min(at, model.size()));
          break;
        default:
          file->Reserve(at);
          model.resize(std::max(model.size(), at));
      }
      ASSERT_EQ(file->Size(), model.size());
      const std::size_t from = std::min(count, model.size());
      jet::Bytes rest(model.size() - from);
      file->Read(from, rest);
      ASSERT_TRUE(std::equal(rest.begin(), rest.end(), model.begin() + static_cast<long>(from),
                             [](auto a, char b) { return a == static_cast<std::uint8_t>(b); }));
    }
  }
  EXPECT_EQ(files.bytes(kPath), before);
}

TEST(OverlayFilesTest, RefuseWhatCannotBeKeptApart) {
  test_support::FaultFiles files;
  files.bytes(kPath) = "x";
  mdbadm::OverlayFiles overlay(files);
  const auto file = overlay.Open(kPath, OpenMode::kExclusive);
  jet::Bytes two(2);
  EXPECT_EQ(test_support::CodeOf([&] { file->Read(0, two); }), ErrorCode::kIo);
  EXPECT_EQ(test_support::CodeOf([&] { overlay.Create("/g"); }), ErrorCode::kReadOnly);
  EXPECT_EQ(test_support::CodeOf([&] { overlay.Rename(kPath, "/g"); }), ErrorCode::kReadOnly);
  EXPECT_EQ(test_support::CodeOf([&] { overlay.Remove(kPath); }), ErrorCode::kReadOnly);
}

}  // namespace
