#include "jet/check/keys.h"

#include <algorithm>

#include "jet/base/bytes.h"
#include "jet/index/index_key.h"
#include "jet/row/row.h"
#include "jet/sort/collation.h"

namespace jet::check {

namespace {
constexpr std::uint8_t kAscending = 0x7F, kDescending = 0x80;

}  // namespace

KeyMaker::KeyMaker(const TableDef& def, const RealIndex& index) {
  for (const IndexColumn& part : index.columns) {
    const auto ordinal = def.FindColumn(part.column);
    if (!ordinal) continue;  // reported with the definition
    const ColumnDef& column = def.columns[*ordinal];
    const bool provable =
        InfoOf(column.type).indexable && (!IsText(column.type) || IsSupportedOrder(column.order));
    parts_.push_back({&column, *ordinal, part.ascending, provable});
  }
}

std::vector<std::size_t> KeyMaker::ordinals() const {
  std::vector<std::size_t> ordinals;
  for (const Part& part : parts_) ordinals.push_back(part.ordinal);
  return ordinals;
}

std::vector<std::size_t> KeyMaker::memos() const {
  std::vector<std::size_t> ordinals;
  for (const Part& part : parts_) {
    if (part.column->type == ColumnType::kMemo) ordinals.push_back(part.ordinal);
  }
  return ordinals;
}

// Straight from the stored bytes: texts are most of the work of a check.
void KeyMaker::AppendText(const Part& part, ByteView stored, Bytes& key) {
  units_.clear();
  const bool compressed = stored.size() >= 2 && stored[0] == 0xFF && stored[1] == 0xFE;
  bool narrow = compressed;
  for (std::size_t at = compressed ? 2 : 0; at < stored.size() && units_.size() < kMaxTextChars;) {
    if (compressed && stored[at] == 0) {
      narrow = !narrow;
      ++at;
    } else if (narrow) {
      units_.push_back(stored[at++]);
    } else {
      units_.push_back(static_cast<char16_t>(GetU16(stored, at)));
      at += 2;
    }
  }
  AddTextKey(part.column->order, units_, part.ascending, key);
}

bool KeyMaker::Append(const Part& part, const RowFields& row, Bytes& key) {
  const std::optional<ByteView>& stored = row.stored[part.ordinal];
  if (!stored) {
    AddU8(key, part.ascending ? 0x00 : 0xFF);
    return true;
  }
  if (!part.provable) return false;
  const std::size_t before = key.size();
  try {
    if (part.column->type == ColumnType::kMemo) {
      AppendText(part, row.contents[part.ordinal], key);
    } else if (part.column->type == ColumnType::kText) {
      AppendText(part, *stored, key);
    } else if (part.column->type == ColumnType::kLong) {
      AddLongKeyPart(*stored, part.ascending, key);
    } else {
      AddKeyPart(*part.column, DecodeField(*part.column, *stored), part.ascending, key);
    }
    return true;
  } catch (const Error&) {
    key.resize(before);
    return false;
  }
}

bool KeyMaker::Build(const RowFields& row, Bytes& key) {
  key.clear();
  nulls_ = 0;
  bool known = true;
  for (const Part& part : parts_) {
    if (!row.stored[part.ordinal]) ++nulls_;
    if (known && !Append(part, row, key)) known = false;
  }
  return known && key.size() <= kMaxIndexEntryBytes;
}

bool KeyMaker::MayBe(const RowFields& row, ByteView key) {
  // Lengths of the beginnings of `key` that the parts so far can make.
  std::vector<std::size_t> ends{0};
  Bytes bytes;
  for (const Part& part : parts_) {
    std::vector<std::size_t> next;
    bytes.clear();
    const bool known = Append(part, row, bytes);
    for (const std::size_t at : ends) {
      if (known) {
        // Of a key that is too long the end is a checksum or missing.
        const std::size_t compared = std::min(bytes.size(), key.size() - at);
        const bool cut = compared < bytes.size() && key.size() >= kMaxIndexEntryBytes;
        if ((compared == bytes.size() || cut) &&
            (cut || std::equal(bytes.begin(), bytes.end(),
                               key.begin() + static_cast<std::ptrdiff_t>(at)))) {
          next.push_back(at + compared);
        }
      } else if (part.column->type == ColumnType::kBoolean) {
        for (const std::size_t length : {std::size_t{1}, std::size_t{2}}) {
          if (at + length <= key.size()) next.push_back(at + length);
        }
      } else if (at < key.size() && key[at] == (part.ascending ? kAscending : kDescending)) {
        for (std::size_t end = at + 1; end <= key.size(); ++end) {
          if (key[end - 1] == (part.ascending ? 0x00 : 0xFF) || key.size() >= kMaxIndexEntryBytes) {
            next.push_back(end);
          }
        }
      }
    }
    std::sort(next.begin(), next.end());
    next.erase(std::unique(next.begin(), next.end()), next.end());
    ends = std::move(next);
  }
  return !ends.empty() && ends.back() == key.size();
}

}  // namespace jet::check
