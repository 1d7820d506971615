#include "jet/storage/flush.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

#include "jet/base/bytes.h"
#include "jet/base/error.h"
#include "jet/storage/header_layout.h"

namespace jet {
namespace {

using Image = std::array<std::uint8_t, kPageSize>;

constexpr std::array<std::uint8_t, 16> kHeadMagic{'D', 'B', 'U', ' ', 'F', 'L', 'U', 'S',
                                                  'H', ' ', 'H', 'E', 'A', 'D', '1', '\n'};
constexpr std::array<std::uint8_t, 16> kTrailerMagic{'D', 'B', 'U', ' ', 'F', 'L', 'U', 'S',
                                                     'H', ' ', 'T', 'A', 'I', 'L', '1', '\n'};
constexpr std::size_t kHeadBefore = 16;
constexpr std::size_t kHeadAfter = 20;
constexpr std::size_t kHeadImages = 24;
constexpr std::size_t kHeadBytes = 28;

constexpr std::size_t kEntryBytes = 4 + 8 * kSectorsPerPage;
constexpr std::size_t kFooterBytes = 40;  // at the very end of the trailer
constexpr std::size_t kFooterSlot = 0;
constexpr std::size_t kFooterHead = 4;
constexpr std::size_t kFooterImages = 8;
constexpr std::size_t kFooterBefore = 12;
constexpr std::size_t kFooterChecksum = 16;
constexpr std::size_t kFooterMagic = 24;

std::uint64_t Position(std::uint32_t page) { return std::uint64_t{page} * kPageSize; }

std::size_t TrailerBytes(std::size_t images) {
  const std::size_t bytes = images * kEntryBytes + kFooterBytes;
  return (bytes + kPageSize - 1) / kPageSize * kPageSize;
}

class Checksum {
 public:
  Checksum() : state_(XXH3_createState(), &XXH3_freeState) {
    if (!state_) throw std::bad_alloc();
    XXH3_64bits_reset(state_.get());
  }
  void Add(ByteView bytes) { XXH3_64bits_update(state_.get(), bytes.data(), bytes.size()); }
  std::uint64_t value() const { return XXH3_64bits_digest(state_.get()); }

 private:
  std::unique_ptr<XXH3_state_t, XXH_errorcode (*)(XXH3_state_t*)> state_;
};

// The checksums of a page's sectors. Page 0 counts without its commit slots, its last
// sector: other programs count them up, so that a flush neither writes nor compares
// them, but for slot 0, the mark.
std::array<std::uint64_t, kSectorsPerPage> SectorSums(PageNumber page, PageView bytes) {
  std::array<std::uint64_t, kSectorsPerPage> sums{};
  for (std::size_t i = 0; i < kSectorsPerPage; ++i) {
    const bool slots = page.value == 0 && i * kSectorSize >= kCommitSlots;
    if (!slots) sums[i] = XXH3_64bits(bytes.data() + i * kSectorSize, kSectorSize);
  }
  return sums;
}

// A page as it stands in the file; zeros behind its end.
void ReadInPlace(File& file, std::uint64_t size, PageNumber page, Image& out) {
  out.fill(0);
  const std::uint64_t at = Position(page.value);
  if (at >= size) return;
  const std::uint64_t length = std::min<std::uint64_t>(kPageSize, size - at);
  file.Read(at, std::span(out).first(static_cast<std::size_t>(length)));
}

void WriteSlot(File& file, std::uint16_t value) {
  std::array<std::uint8_t, 2> bytes{};
  PutU16(bytes, 0, value);
  file.Write(kCommitSlots, bytes);
}

std::uint16_t ReadSlot(File& file) {
  std::array<std::uint8_t, 2> bytes{};
  file.Read(kCommitSlots, bytes);
  return GetU16(bytes, 0);
}

// Puts pages that stand side by side in the file into one write.
class PageRun {
 public:
  explicit PageRun(File& file) : file_(file) {}

  // Room for the page that belongs there, to be filled before the next call.
  PageSpan Next(std::uint64_t at) {
    if (count_ == kMost || at != at_ + count_ * kPageSize) Write();
    if (count_ == 0) at_ = at;
    return std::span(bytes_).subspan(count_++ * kPageSize).first<kPageSize>();
  }

  void Write() {
    if (count_ != 0) file_.Write(at_, std::span(bytes_).first(count_ * kPageSize));
    count_ = 0;
  }

 private:
  static constexpr std::size_t kMost = 8;

  File& file_;
  std::uint64_t at_ = 0;
  std::size_t count_ = 0;
  std::array<std::uint8_t, kMost * kPageSize> bytes_;
};

// Steps from the mark on, for a flush and for its repetition alike.
void PutInPlace(File& file, const std::vector<PageNumber>& pages, std::uint32_t pages_after,
                std::uint16_t slot_before,
                const std::function<void(std::size_t, PageSpan)>& image) {
  WriteSlot(file, kSlotWriting);
  file.Sync();
  PageRun run(file);
  for (std::size_t i = 0; i < pages.size(); ++i) {
    if (pages[i].value == 0) {
      Image header;
      image(i, header);
      file.Write(0, std::span(header).first(kCommitSlots));
    } else {
      image(i, run.Next(Position(pages[i].value)));
    }
  }
  run.Write();
  file.Sync();
  WriteSlot(file, slot_before);
  file.Sync();
  file.Truncate(Position(pages_after));
  file.Sync();
}

void WriteTail(File& file, const FlushJob& job, std::uint64_t old_size, std::uint16_t slot) {
  Checksum checksum;
  std::uint64_t at = Position(job.pages_after);
  Image bytes;
  bytes.fill(0);
  PutBytes(bytes, 0, kHeadMagic);
  PutU32(bytes, kHeadBefore, job.pages_before);
  PutU32(bytes, kHeadAfter, job.pages_after);
  PutU32(bytes, kHeadImages, static_cast<std::uint32_t>(job.pages.size()));
  PageRun run(file);
  const auto next = [&] { return run.Next(std::exchange(at, at + kPageSize)); };
  checksum.Add(bytes);
  std::ranges::copy(bytes, next().begin());
  Bytes trailer;
  for (std::size_t i = 0; i < job.pages.size(); ++i) {
    ReadInPlace(file, old_size, job.pages[i], bytes);
    AddU32(trailer, job.pages[i].value);
    for (const std::uint64_t sum : SectorSums(job.pages[i], bytes)) AddU64(trailer, sum);
    const PageSpan image = next();
    job.image(i, image);
    checksum.Add(image);
  }
  run.Write();
  trailer.resize(TrailerBytes(job.pages.size()));
  const std::size_t footer = trailer.size() - kFooterBytes;
  PutU16(trailer, footer + kFooterSlot, slot);
  PutU32(trailer, footer + kFooterHead, job.pages_after);
  PutU32(trailer, footer + kFooterImages, static_cast<std::uint32_t>(job.pages.size()));
  PutU32(trailer, footer + kFooterBefore, job.pages_before);
  checksum.Add(ByteView(trailer).first(footer + kFooterChecksum));
  PutU64(trailer, footer + kFooterChecksum, checksum.value());
  PutBytes(trailer, footer + kFooterMagic, kTrailerMagic);
  file.Write(at, trailer);
}

// Takes back a tail that will not be used: what is left must not look complete.
// False where the file is out of reach: whether a complete tail stands there, which
// will be finished, or a torn one, which will be ignored, shows at the next open.
bool DropTail(File& file, const FlushJob& job, std::uint64_t old_size) noexcept {
  const auto done = [](const auto& action) {
    try {
      action();
      return true;
    } catch (...) {
      return false;
    }
  };
  const Image zeros{};
  if (!done([&] { file.Truncate(old_size); }) &&
      !done([&] { file.Write(Position(job.pages_after), zeros); })) {
    return false;
  }
  done([&] { file.Sync(); });
  return true;
}

}  // namespace

void FlushAtomically(File& file, const FlushJob& job, bool& began) {
  began = false;
  const std::uint64_t old_size = file.Size();
  const std::uint64_t new_size = Position(job.pages_after) + kPageSize +
                                 Position(static_cast<std::uint32_t>(job.pages.size())) +
                                 TrailerBytes(job.pages.size());
  if (new_size > kMaxFileSize) {
    throw Error(ErrorCode::kFileTooLarge,
                "a database holds at most 2 GB, the room to save safely included")
        .In(file.path());
  }
  const std::uint16_t slot = ReadSlot(file);
  bool written = false;
  try {
    file.Reserve(new_size);
    // Recovery looks for the trailer at the very end: what an earlier attempt left
    // behind there must go.
    if (old_size > new_size) file.Truncate(new_size);
    written = true;
    WriteTail(file, job, old_size, slot);
    file.Sync();
  } catch (const Error& error) {
    if (DropTail(file, job, old_size) || !written) throw;
    throw Error(ErrorCode::kUncertain, error.detail()).In(file.path());
  } catch (...) {
    DropTail(file, job, old_size);
    throw;
  }
  began = true;
  PutInPlace(file, job.pages, job.pages_after, slot, job.image);
}

std::optional<FlushTail> FindTail(File& file) {
  const std::uint64_t size = file.Size();
  if (size % kPageSize != 0 || size < 4 * kPageSize) return std::nullopt;
  std::array<std::uint8_t, kFooterBytes> footer{};
  file.Read(size - kFooterBytes, footer);
  if (!std::ranges::equal(std::span(footer).subspan(kFooterMagic), kTrailerMagic)) {
    return std::nullopt;
  }
  FlushTail tail;
  tail.head = {GetU32(footer, kFooterHead)};
  tail.slot_before = GetU16(footer, kFooterSlot);
  const std::uint32_t images = GetU32(footer, kFooterImages);
  if (images > kMaxPages || tail.head.value > kMaxPages || !tail.head) return std::nullopt;
  const std::size_t trailer_bytes = TrailerBytes(images);
  if (Position(tail.head.value) + kPageSize + Position(images) + trailer_bytes != size) {
    return std::nullopt;
  }

  Checksum checksum;
  Image bytes;
  for (std::uint32_t i = 0; i <= images; ++i) {
    file.Read(Position(tail.head.value + i), bytes);
    checksum.Add(bytes);
    if (i != 0) continue;
    if (!std::equal(kHeadMagic.begin(), kHeadMagic.end(), bytes.begin())) return std::nullopt;
    tail.pages_before = GetU32(bytes, kHeadBefore);
    tail.pages_after = GetU32(bytes, kHeadAfter);
  }
  Bytes trailer(trailer_bytes);  // bounded by the file's own size
  file.Read(size - trailer_bytes, trailer);
  checksum.Add(ByteView(trailer).first(trailer_bytes - kFooterBytes + kFooterChecksum));
  if (checksum.value() != GetU64(footer, kFooterChecksum)) return std::nullopt;
  tail.entries.resize(images);
  for (std::size_t i = 0; i < images; ++i) {
    FlushTail::Entry& entry = tail.entries[i];
    entry.page = {GetU32(trailer, i * kEntryBytes)};
    if (entry.page.value >= tail.pages_after) return std::nullopt;
    for (std::size_t k = 0; k < kSectorsPerPage; ++k) {
      entry.sectors_before[k] = GetU64(trailer, i * kEntryBytes + 4 + 8 * k);
    }
  }
  if (tail.pages_after != tail.head.value || tail.pages_before > tail.pages_after) {
    return std::nullopt;
  }
  return tail;
}

bool TailFits(File& file, const FlushTail& tail) {
  const std::uint64_t size = file.Size();
  Image in_place, image;
  for (std::size_t i = 0; i < tail.entries.size(); ++i) {
    const FlushTail::Entry& entry = tail.entries[i];
    ReadInPlace(file, size, entry.page, in_place);
    file.Read(tail.ImageAt(i), image);
    const auto now = SectorSums(entry.page, in_place);
    const auto after = SectorSums(entry.page, image);
    for (std::size_t k = 0; k < kSectorsPerPage; ++k) {
      if (now[k] != entry.sectors_before[k] && now[k] != after[k]) return false;
    }
  }
  return true;
}

void FinishFlush(File& file, const FlushTail& tail) {
  std::vector<PageNumber> pages;
  for (const FlushTail::Entry& entry : tail.entries) pages.push_back(entry.page);
  // A process killed before its first sync leaves a tail that can be read but may
  // not have reached the disk yet.
  file.Sync();
  // Before the mark was set, another program may have counted up the slot.
  const std::uint16_t in_place = ReadSlot(file);
  const std::uint16_t slot = in_place == kSlotWriting ? tail.slot_before : in_place;
  PutInPlace(file, pages, tail.pages_after, slot,
             [&](std::size_t i, PageSpan out) { file.Read(tail.ImageAt(i), out); });
}

namespace {

// Of a tail whose head page never reached the disk, or was taken by another
// program since.
std::optional<TailHead> HeadByTrailer(File& file, std::uint64_t size) {
  if (size % kPageSize != 0 || size < 4 * kPageSize) return std::nullopt;
  std::array<std::uint8_t, kFooterBytes> footer{};
  file.Read(size - kFooterBytes, footer);
  const bool trailer = std::ranges::equal(std::span(footer).subspan(kFooterMagic), kTrailerMagic);
  const PageNumber head{GetU32(footer, kFooterHead)};
  const std::uint32_t images = GetU32(footer, kFooterImages);
  if (!trailer || images > kMaxPages ||
      Position(head.value) + kPageSize + Position(images) + TrailerBytes(images) != size) {
    return std::nullopt;
  }
  return TailHead{head, GetU32(footer, kFooterBefore)};
}

}  // namespace

std::optional<TailHead> FindTailHead(File& file, PageNumber from, std::uint32_t max_pages) {
  const std::uint64_t size = file.Size();
  std::array<std::uint8_t, kHeadBytes> bytes{};
  for (std::uint32_t i = 0; i < max_pages; ++i) {
    const PageNumber page{from.value + i};
    if (Position(page.value) + kHeadBytes > size) break;
    file.Read(Position(page.value), bytes);
    if (!std::equal(kHeadMagic.begin(), kHeadMagic.end(), bytes.begin())) continue;
    if (GetU32(bytes, kHeadAfter) != page.value) continue;
    return TailHead{page, GetU32(bytes, kHeadBefore)};
  }
  return HeadByTrailer(file, size);
}

}  // namespace jet
