#include "tests/support/fault_file.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <random>
#include <stdexcept>

#include "jet/base/error.h"

namespace test_support {
namespace {

constexpr std::size_t kSector = 512;
using Kind = FileOperation::Kind;

void Put(std::string& image, std::uint64_t at, std::string_view bytes) {
  if (bytes.empty()) return;
  if (at + bytes.size() > image.size()) image.resize(at + bytes.size());
  std::memcpy(image.data() + at, bytes.data(), bytes.size());
}

void Apply(std::string& image, const FileOperation& operation) {
  switch (operation.kind) {
    case Kind::kWrite:
      return Put(image, operation.at, operation.bytes);
    case Kind::kTruncate:
      return image.resize(operation.at);
    case Kind::kReserve:
      return image.resize(std::max<std::uint64_t>(image.size(), operation.at));
    case Kind::kSync:
      return;
  }
}

}  // namespace

std::string AfterKill(std::string image, const OperationLog& log, std::size_t done,
                      std::size_t sectors) {
  return AfterTear(std::move(image), log, done, 0, sectors);
}

std::string AfterTear(std::string image, const OperationLog& log, std::size_t done,
                      std::size_t first, std::size_t count) {
  for (std::size_t i = 0; i < done; ++i) Apply(image, log[i]);
  if (count != 0 && done < log.size() && log[done].kind == Kind::kWrite) {
    const FileOperation& torn = log[done];
    const std::size_t from = std::min(first * kSector, torn.bytes.size());
    Put(image, torn.at + from, std::string_view(torn.bytes).substr(from, count * kSector));
  }
  return image;
}

std::string AfterPowerCut(std::string image, const OperationLog& log, std::size_t done,
                          std::uint64_t seed) {
  std::size_t synced = 0;
  for (std::size_t i = 0; i < done; ++i) {
    if (log[i].kind == Kind::kSync) synced = i;
  }
  for (std::size_t i = 0; i < synced; ++i) Apply(image, log[i]);
  std::mt19937_64 random(seed * 1'000'003 + done);
  // Sizes change in order, up to some moment; sectors arrive in any.
  const std::size_t sizes = synced + random() % (done - synced + 1);
  const unsigned arriving = static_cast<unsigned>(random() % 5);  // of 4: none ... all
  std::uint64_t size = image.size();
  for (std::size_t i = synced; i < done; ++i) {
    const FileOperation& operation = log[i];
    if (operation.kind != Kind::kWrite) {
      if (i >= sizes) continue;
      Apply(image, operation);
      size = image.size();
      continue;
    }
    const std::uint64_t end = operation.at + operation.bytes.size();
    if (i < sizes) size = std::max(size, end);
    for (std::size_t k = 0; k < operation.bytes.size(); k += kSector) {
      if (random() % 4 >= arriving) continue;
      Put(image, operation.at + k, std::string_view(operation.bytes).substr(k, kSector));
    }
  }
  image.resize(size);
  return image;
}

struct FaultFiles::State {
  struct Stored {
    std::string bytes;
    int readers = 0;
    bool exclusive = false;
    std::uint64_t number = 0;  // given when first asked for
  };
  std::map<std::string, Stored> files;
  std::uint64_t last_number = 0;

  jet::FileId IdOf(Stored& file) {
    if (file.number == 0) file.number = ++last_number;
    return {1, file.number};
  }
  std::mutex mutex;  // of what files that are open do
  Fault fault;
  std::uint64_t operations = 0;
  OperationLog log;

  bool Refused(std::uint64_t number) const {
    switch (fault.kind) {
      case Fault::Kind::kNone:
        return false;
      case Fault::Kind::kFail:
        return number >= fault.at && number < fault.at + fault.times;
      default:
        return number >= fault.at;
    }
  }
  [[noreturn]] void Refuse(const std::string& path) const {
    if (fault.kind == Fault::Kind::kStop) throw Stopped{};
    throw jet::Error(
        fault.kind == Fault::Kind::kFull ? jet::ErrorCode::kDiskFull : jet::ErrorCode::kIo,
        "the test refuses")
        .In(path);
  }
};

class FaultFiles::MemoryFile : public jet::File {
 public:
  MemoryFile(std::shared_ptr<State> state, std::string path, bool exclusive)
      : state_(std::move(state)), path_(std::move(path)), exclusive_(exclusive) {
    State::Stored& file = state_->files.at(path_);
    if (file.exclusive || (exclusive && file.readers > 0)) {
      throw jet::Error(jet::ErrorCode::kInUse).In(path_);
    }
    if (exclusive_)
      file.exclusive = true;
    else
      ++file.readers;
  }
  ~MemoryFile() override {
    State::Stored& file = state_->files.at(path_);
    if (exclusive_)
      file.exclusive = false;
    else
      --file.readers;
  }

  std::uint64_t Size() override {
    const std::lock_guard lock(state_->mutex);
    return bytes().size();
  }

  void Read(std::uint64_t at, std::span<std::uint8_t> into) override {
    const std::lock_guard lock(state_->mutex);
    const bool lasting =
        state_->fault.kind == Fault::Kind::kFailForEver || state_->fault.kind == Fault::Kind::kStop;
    if (lasting && state_->operations >= state_->fault.at) state_->Refuse(path_);
    if (at + into.size() > bytes().size()) {
      throw jet::Error(jet::ErrorCode::kIo, "read beyond the end").In(path_);
    }
    std::copy_n(bytes().data() + at, into.size(), into.begin());
  }

  void Write(std::uint64_t at, jet::ByteView data) override {
    Do({Kind::kWrite, at, std::string(data.begin(), data.end())});
  }
  void Reserve(std::uint64_t size) override { Do({Kind::kReserve, size, {}}); }
  void Truncate(std::uint64_t size) override { Do({Kind::kTruncate, size, {}}); }
  void Sync() override { Do({Kind::kSync, 0, {}}); }
  const std::string& path() const override { return path_; }
  std::optional<jet::FileId> Id() override {
    const std::lock_guard lock(state_->mutex);
    return state_->IdOf(state_->files.at(path_));
  }

 private:
  std::string& bytes() { return state_->files.at(path_).bytes; }

  // A full disk still lets go of room and rewrites what has some.
  bool NeedsRoom(const FileOperation& operation) {
    const std::uint64_t end = operation.at + operation.bytes.size();
    const bool grows = operation.kind == Kind::kWrite || operation.kind == Kind::kReserve;
    return grows && end > bytes().size();
  }

  void Do(FileOperation operation) {
    if (!exclusive_) throw std::logic_error("a write to a file that is open to read");
    const std::lock_guard lock(state_->mutex);
    const std::uint64_t number = ++state_->operations;
    if (state_->Refused(number) &&
        (state_->fault.kind != Fault::Kind::kFull || NeedsRoom(operation))) {
      if (number == state_->fault.at && operation.kind == Kind::kWrite) {
        Put(bytes(), operation.at,
            std::string_view(operation.bytes).substr(0, state_->fault.sectors * kSector));
      }
      state_->Refuse(path_);
    }
    Apply(bytes(), operation);
    if (state_->fault.kind == Fault::Kind::kNone) state_->log.push_back(std::move(operation));
  }

  std::shared_ptr<State> state_;
  std::string path_;
  bool exclusive_;
};

FaultFiles::FaultFiles() : state_(std::make_shared<State>()) {}
FaultFiles::~FaultFiles() = default;

std::unique_ptr<jet::File> FaultFiles::Open(const std::string& path, jet::OpenMode mode) {
  const std::string key = jet::NormalisePath(path);
  if (!state_->files.contains(key)) throw jet::Error(jet::ErrorCode::kFileNotFound).In(key);
  return std::make_unique<MemoryFile>(state_, key, mode == jet::OpenMode::kExclusive);
}

std::unique_ptr<jet::File> FaultFiles::Create(const std::string& path) {
  const std::string key = jet::NormalisePath(path);
  state_->files[key].bytes.clear();
  return std::make_unique<MemoryFile>(state_, key, true);
}

void FaultFiles::Rename(const std::string& from, const std::string& to) {
  auto file = state_->files.extract(jet::NormalisePath(from));
  if (file.empty()) throw jet::Error(jet::ErrorCode::kFileNotFound).In(from);
  state_->files[jet::NormalisePath(to)] = std::move(file.mapped());
}

void FaultFiles::Remove(const std::string& path) { state_->files.erase(jet::NormalisePath(path)); }

bool FaultFiles::Exists(const std::string& path) {
  return state_->files.contains(jet::NormalisePath(path));
}

std::optional<jet::FileId> FaultFiles::Identify(const std::string& path) {
  const auto file = state_->files.find(jet::NormalisePath(path));
  if (file == state_->files.end()) return std::nullopt;
  return state_->IdOf(file->second);
}

std::string& FaultFiles::bytes(const std::string& path) {
  return state_->files[jet::NormalisePath(path)].bytes;
}

void FaultFiles::SetFault(const Fault& fault) {
  state_->fault = fault;
  state_->operations = 0;
  state_->log.clear();
}

std::uint64_t FaultFiles::operations() const { return state_->operations; }
const OperationLog& FaultFiles::log() const { return state_->log; }

}  // namespace test_support
