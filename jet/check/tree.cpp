#include "jet/check/tree.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cstring>

#include "jet/base/bytes.h"

namespace jet::check {

namespace {

constexpr std::size_t kFree = 0x02, kPrevious = 0x0C, kNext = 0x10, kTail = 0x14, kPrefix = 0x18,
                      kLevel = 0x1A, kMask = 0x1B, kEntries = 0x1E0;
constexpr std::uint8_t kNodeType = 3, kLeafType = 4;
constexpr std::size_t kRefBytes = 4, kChildBytes = 4;
// A full node has at least six children, so no tree in 2 GB is this high.
constexpr std::size_t kMaxDepth = 16;

bool Less(ByteView a, ByteView b) {
  const int order = std::memcmp(a.data(), b.data(), std::min(a.size(), b.size()));
  return order != 0 ? order < 0 : a.size() < b.size();
}

// How many bytes at the beginning are the same; `known` of them are.
std::size_t SharedBytes(ByteView a, ByteView b, std::size_t known) {
  const std::size_t most = std::min(a.size(), b.size());
  while (known < most && a[known] == b[known]) ++known;
  return known;
}

// Less where `shared` bytes are the same.
bool LessBehind(ByteView a, ByteView b, std::size_t shared) {
  if (shared == std::min(a.size(), b.size())) return a.size() < b.size();
  return a[shared] < b[shared];
}

PageNumber GetBigEndian32(ByteView bytes) {
  return PageNumber{
      static_cast<std::uint32_t>(bytes[0]) << 24 | static_cast<std::uint32_t>(bytes[1]) << 16 |
      static_cast<std::uint32_t>(bytes[2]) << 8 | static_cast<std::uint32_t>(bytes[3])};
}

}  // namespace

std::string EntryReader::Open(PageView page) {
  entries_ = page.subspan(kEntries);
  count_ = at_ = entry_size_ = 0;
  prefix_ = GetU16(page, kPrefix);
  for (std::size_t byte = 0; byte < kMaskBytes; ++byte) {
    for (unsigned bits = page[kMask + byte]; bits != 0; bits &= bits - 1) {
      ends_[count_++] =
          static_cast<std::uint16_t>(8 * byte + static_cast<std::size_t>(std::countr_zero(bits)));
    }
  }
  if (count_ == 0) return {};
  if (used_bytes() > entries_.size()) return "has entries that end beyond the page";
  if (prefix_ > ends_[0]) return "has a shared beginning longer than its first entry";
  const std::size_t least = 1 + kRefBytes + (page[0] == kNodeType ? kChildBytes : 0);
  std::size_t start = 0;
  for (std::size_t i = 0; i < count_; ++i) {
    const std::size_t size = ends_[i] - start + (i == 0 ? 0 : prefix_);
    if (size < least) return fmt::format("has an entry of {} bytes", size);
    start = ends_[i];
  }
  return {};
}

bool EntryReader::Next() {
  if (at_ == count_) return false;
  const std::size_t start = at_ == 0 ? 0 : ends_[at_ - 1];
  const std::size_t kept = at_ == 0 ? 0 : prefix_;
  const std::size_t length = ends_[at_] - start;
  std::memcpy(entry_.data() + kept, entries_.data() + start, length);
  entry_size_ = kept + length;
  ++at_;
  return true;
}

TreeCheck::TreeCheck(const Context& context, std::string_view table, std::string_view name,
                     PageNumber owner)
    : context_(&context),
      table_(table),
      name_(name),
      owner_(owner),
      ledger_owner_(context.ledger.Register(fmt::format("index {}.{}", table, name), table)),
      pages_(context.ledger.page_count()) {}

void TreeCheck::Problem(const Place& place, Code code, std::string text) {
  context_->report.Problem(place, code, fmt::format("index {}: {}", name_, text));
}

void TreeCheck::Problem(PageNumber page, Code code, std::string text) {
  Problem(At(table_, page), code, std::move(text));
}

void TreeCheck::Warning(PageNumber page, Code code, std::string text) {
  context_->report.Warning(At(table_, page), code, fmt::format("index {}: {}", name_, text));
}

void TreeCheck::Run(const RealIndex& index, const Visitor& visit) {
  visit_ = &visit;
  Visit(index.root, 0, std::nullopt, nullptr);
  EndChains();
  if (index.page_map.packed() != 0) {
    CompareWithMap(index.page_map);
  } else {
    Warning(owner_, Code::kMapMissing, "has no map of its pages");
  }
}

// Whether the page is one that the walk may go through.
bool TreeCheck::Enter(PageNumber page, PageView bytes, std::optional<std::uint8_t> level) {
  if ((bytes[0] != kNodeType && bytes[0] != kLeafType) || bytes[1] != 1) {
    Problem(
        page, Code::kPageKind,
        fmt::format("should be a page of the tree but starts {:02X} {:02X}", bytes[0], bytes[1]));
    return false;
  }
  if (const std::uint32_t owner = GetU32(bytes, kOwner); owner != owner_.value) {
    Problem(page, Code::kPageOwner,
            fmt::format("names page {} as owner instead of {}", owner, owner_.value));
  }
  switch (context_->ledger.Claim(page, ledger_owner_, At(table_, page))) {
    case Ledger::Claimed::kNew:
      break;
    case Ledger::Claimed::kAgain:
      Problem(page, Code::kTreeForm, "is reached twice");
      return false;
    default:
      return false;
  }
  pages_.Add(page);
  context_->report.See(At(table_, page), Field::kTreeWord8, GetU32(bytes, kWord8), name_);
  const std::uint8_t stated = bytes[kLevel];
  const bool is_leaf = bytes[0] == kLeafType;
  if ((stated == 0) != is_leaf || (level && stated != *level)) {
    Problem(page, Code::kTreeLevel,
            fmt::format("is a {} but says it is on level {}{}", is_leaf ? "leaf" : "node", stated,
                        level ? fmt::format(", not {}", *level) : std::string()));
  }
  return true;
}

void TreeCheck::CheckLinks(PageNumber page, PageView bytes, std::size_t depth) {
  Chain& chain = chains_[depth];
  const PageNumber previous{GetU32(bytes, kPrevious)};
  if (chain.known) {
    if (previous != chain.last) {
      Problem(
          page, Code::kTreeLinks,
          fmt::format("says that page {} is before it; {} is", previous.value, chain.last.value));
    }
    if (chain.last && chain.next != page) {
      Problem(chain.last, Code::kTreeLinks,
              fmt::format("says that page {} follows; {} does", chain.next.value, page.value));
    }
  }
  chain = {true, page, PageNumber{GetU32(bytes, kNext)}};
}

void TreeCheck::EndChains() {
  for (const Chain& chain : chains_) {
    if (chain.known && chain.last && chain.next) {
      Problem(chain.last, Code::kTreeLinks,
              fmt::format("says that page {} follows, but it is the last", chain.next.value));
    }
  }
}

void TreeCheck::Visit(PageNumber page, std::size_t depth, std::optional<std::uint8_t> level,
                      const Bytes* bound) {
  if (chains_.size() <= depth) chains_.resize(depth + 1);
  const auto give_up = [&] {
    complete_ = false;
    for (std::size_t i = depth; i < chains_.size(); ++i) chains_[i].known = false;
    // What would be deeper is unknown as well.
    if (chains_.size() == depth + 1) chains_.push_back({false, {}, {}});
  };
  if (depth == kMaxDepth) {
    Problem(page, Code::kTreeForm, "lies too deep in the tree");
    return give_up();
  }
  if (!context_->ledger.Exists(page) || !page) {
    Problem(owner_, Code::kBeyondEnd,
            fmt::format("the tree leads to page {}, which does not exist", page.value));
    return give_up();
  }
  const PageRef ref = context_->pager.Read(page);
  if (!Enter(page, ref.bytes(), level)) return give_up();
  CheckLinks(page, ref.bytes(), depth);
  EntryReader reader;
  if (const std::string fault = reader.Open(ref.bytes()); !fault.empty()) {
    Problem(page, Code::kEntryForm, fault);
    complete_ = false;
    return;
  }
  const std::size_t free = kPageSize - kEntries - reader.used_bytes();
  if (const std::size_t stated = GetU16(ref.bytes(), kFree); stated != free) {
    Problem(page, Code::kFreeBytes,
            fmt::format("says that {} bytes are free; {} are", stated, free));
  }
  SeePage(page, ref.bytes(), reader);
  if (ref.bytes()[0] == kLeafType) {
    VisitLeaf(page, reader, depth, bound);
  } else {
    VisitNode(page, ref.bytes(), reader, depth, bound);
  }
}

void TreeCheck::SeePage(PageNumber page, PageView bytes, const EntryReader& reader) {
  const auto see = [&](Field field, std::size_t value) {
    context_->report.See(At(table_, page), field, static_cast<std::int64_t>(value), name_);
  };
  const std::size_t prefix = GetU16(bytes, kPrefix);
  if (bytes[0] == kLeafType) {
    see(Field::kLeafTail, GetU32(bytes, kTail));
  } else {
    see(Field::kNodePrefix, prefix);
    see(Field::kNodeEntries, reader.size());
  }
  if (reader.size() <= 1) see(Field::kLonePrefix, prefix);
}

void TreeCheck::VisitLeaf(PageNumber page, EntryReader& reader, std::size_t depth,
                          const Bytes* bound) {
  leaves_.push_back(page);
  std::size_t count = 0;
  while (reader.Next()) {
    const ByteView entry = reader.entry();
    const std::size_t shared = SharedBytes(last_entry_, entry, reader.shared());
    if (!last_entry_.empty() && !LessBehind(last_entry_, entry, shared)) {
      Problem(page, Code::kEntryOrder, fmt::format("entry {} is not above the one before", count));
    }
    if (count == 0 && !lower_.empty() && !Less(lower_, entry)) {
      Problem(page, Code::kSeparator, "holds entries that the separator before it leads elsewhere");
    }
    const bool same_key = last_entry_.size() == entry.size() && shared + kRefBytes >= entry.size();
    last_entry_.resize(entry.size());
    std::ranges::copy(entry.subspan(shared), last_entry_.begin() + std::ptrdiff_t(shared));
    ++count;
    (*visit_)(entry, page, same_key);
  }
  if (count == 0) {
    if (depth != 0) Warning(page, Code::kEmptyLeaf, "is an empty leaf");
  } else if (bound != nullptr && Less(*bound, last_entry_)) {
    Problem(page, Code::kSeparator, "holds entries above the separator in its parent");
  } else if (bound != nullptr && Less(last_entry_, *bound)) {
    Warning(page, Code::kSeparator, "ends before the separator in its parent");
  }
}

void TreeCheck::VisitNode(PageNumber page, PageView bytes, EntryReader& reader, std::size_t depth,
                          const Bytes* bound) {
  const std::uint8_t stated = bytes[kLevel];
  const auto child_level = static_cast<std::uint8_t>(stated == 0 ? 0 : stated - 1);
  Bytes separator;
  std::size_t count = 0;
  while (reader.Next()) {
    const ByteView entry = reader.entry();
    const ByteView key = entry.first(entry.size() - kChildBytes);
    if (!separator.empty() && !Less(separator, key)) {
      Problem(page, Code::kSeparator,
              fmt::format("separator {} is not above the one before", count));
    }
    separator.assign(key.begin(), key.end());
    if (bound != nullptr && Less(*bound, separator)) {
      Problem(page, Code::kSeparator,
              fmt::format("separator {} is above the one in its parent", count));
    }
    Visit(GetBigEndian32(entry.last(kChildBytes)), depth + 1, child_level, &separator);
    if (lower_.empty() || Less(lower_, separator)) lower_ = separator;
    ++count;
  }
  const PageNumber tail{GetU32(bytes, kTail)};
  if (tail) {
    Visit(tail, depth + 1, child_level, bound);
  } else {
    Problem(page, Code::kTreeForm, "is a node without a last child");
    complete_ = complete_ && count != 0;
  }
}

void TreeCheck::CompareWithMap(RowId at) {
  const auto map = context_->ledger.ReadMap(at, At(table_, owner_),
                                            fmt::format("map of the pages of index {}", name_));
  if (!map) return;
  context_->ledger.SeeFirstMark(*map, at, At(table_, owner_),
                                fmt::format("map of index {}", name_));
  if (map->outside != 0) {
    context_->report.Problem(At(table_, at), Code::kBeyondEnd,
                             fmt::format("the map of index {} names page {} beyond the end of the "
                                         "file",
                                         name_, map->first_outside));
  }
  if (const auto missing = pages_.FirstMissingIn(map->pages)) {
    Warning(*missing, Code::kMapStray, "is not in the map of the index");
  }
  for (auto page = map->pages.FirstFrom(0); page; page = map->pages.FirstFrom(page->value + 1)) {
    if (pages_.Contains(*page)) continue;
    if (context_->ledger.ClaimSpare(*page, ledger_owner_)) {
      Warning(*page, Code::kMapStray, "is in the map of the index but not in the tree");
    } else {
      Problem({table_, *page, std::nullopt, context_->ledger.TableOf(*page)}, Code::kTwoOwners,
              fmt::format("is in the map of the index but belongs to {}",
                          context_->ledger.OwnerOf(*page)));
    }
  }
}

}  // namespace jet::check
