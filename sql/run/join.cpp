#include "sql/run/join.h"

#include <algorithm>
#include <bit>
#include <functional>

namespace sql {
namespace {

// Left rows held before the right side is looked at: a quarter of what the
// right side is expected to have.
std::size_t HoldLimit(double right_estimate) {
  return static_cast<std::size_t>(std::clamp(right_estimate / 4, 16.0, 16e6));
}

std::uint64_t Mix(std::uint64_t bits) {
  bits ^= bits >> 32;
  bits *= 0x9E3779B97F4A7C15u;
  return bits ^ bits >> 29;
}

}  // namespace

bool IsWide(const std::vector<JoinKey>& keys) { return keys.size() != 1 || keys[0].as_text; }

bool FilterStep::Next() {
  while (input_->Next()) {
    if (HoldAll(conditions_, context_)) return true;
  }
  return false;
}

void HashIndex::Add(const HashKey& key) {
  digests_.push_back(key.digest);
  if (!wide_) return;
  arena_ += key.bytes;
  ends_.push_back(arena_.size());
}

std::string_view HashIndex::BytesOf(std::uint32_t entry) const {
  const std::uint64_t begin = entry == 0 ? 0 : ends_[entry - 1];
  return std::string_view(arena_).substr(begin, ends_[entry] - begin);
}

bool HashIndex::Matches(const Slot& slot, std::uint32_t tag, std::uint64_t digest,
                        std::string_view bytes) const {
  return slot.tag == tag && digests_[slot.entry] == digest &&
         (!wide_ || BytesOf(slot.entry) == bytes);
}

// Whole numbers that follow each other stand side by side, in groups of eight:
// rows that come in the order of their numbers find their partners in memory
// that is at hand.
HashIndex::Place HashIndex::PlaceOf(std::uint64_t digest) const {
  constexpr double kMaxWhole = 9e15;
  constexpr std::uint64_t kGroup = 8;
  const auto number = wide_ ? kMaxWhole : std::bit_cast<double>(digest);
  std::uint64_t group = digest, in_group = 0;
  if (number > -kMaxWhole && number < kMaxWhole) {
    const auto whole = static_cast<std::int64_t>(number);
    if (static_cast<double>(whole) == number) {
      group = static_cast<std::uint64_t>(whole) / kGroup;
      in_group = static_cast<std::uint64_t>(whole) % kGroup;
    }
  }
  const std::uint64_t mixed = Mix(group);
  return {static_cast<std::size_t>(mixed * kGroup + in_group) & mask_,
          static_cast<std::uint32_t>((mixed >> 32) * kGroup + in_group)};
}

// From the last entry to the first, so that each chain runs forward.
void HashIndex::Finish() {
  std::size_t slots = 16;
  while (slots < digests_.size() * 2) slots *= 2;
  mask_ = slots - 1;
  slots_.assign(slots, Slot());
  next_.assign(digests_.size(), kNone);
  for (std::size_t i = digests_.size(); i-- > 0;) {
    const auto entry = static_cast<std::uint32_t>(i);
    const std::string_view bytes = wide_ ? BytesOf(entry) : std::string_view();
    const auto [begin, tag] = PlaceOf(digests_[i]);
    std::size_t slot = begin;
    while (slots_[slot].entry != kNone && !Matches(slots_[slot], tag, digests_[i], bytes)) {
      slot = (slot + 1) & mask_;
    }
    next_[i] = slots_[slot].entry;
    slots_[slot] = {entry, tag};
  }
}

std::uint32_t HashIndex::First(const HashKey& key) const {
  const auto [begin, tag] = PlaceOf(key.digest);
  for (std::size_t at = begin;; at = (at + 1) & mask_) {
    const Slot& slot = slots_[at];
    if (slot.entry == kNone || Matches(slot, tag, key.digest, key.bytes)) return slot.entry;
  }
}

JoinStep::JoinStep(Context& context, JoinInput left, JoinInput right, std::vector<JoinKey> keys,
                   std::vector<NodePtr> conditions, bool outer)
    : context_(context),
      left_(std::move(left)),
      right_(std::move(right)),
      keys_(std::move(keys)),
      conditions_(std::move(conditions)),
      outer_(outer),
      held_({}),
      index_(IsWide(keys_)),
      waiting_(left_.sources) {}

bool MakeHashKey(const std::vector<JoinKey>& keys, bool left, Context& context, HashKey& key) {
  const bool wide = IsWide(keys);
  key.bytes.clear();
  for (const JoinKey& each : keys) {
    const Datum& value = (left ? *each.left : *each.right).Evaluate(context);
    if (value.null()) return false;
    if (each.as_text) {
      AppendSortKey(context.order, value, false, key.bytes);
      continue;
    }
    const auto number = NumberOf(value, each.words);
    if (!number) return false;
    key.digest = NumberBits(*number);
    if (wide) key.bytes.append(reinterpret_cast<const char*>(&key.digest), sizeof key.digest);
  }
  if (wide) key.digest = std::hash<std::string>()(key.bytes);
  return true;
}

bool LookupStep::Next() {
  if (!filled_) Hold();
  if (!begun_) {
    entry_ = MakeHashKey(keys_, true, context_, key_) ? index_.First(key_) : HashIndex::kNone;
    begun_ = true;
  }
  if (entry_ == HashIndex::kNone) return false;
  held_.Restore(entry_, context_);
  entry_ = index_.Next(entry_);
  return true;
}

void LookupStep::Hold() {
  filled_ = true;
  while (input_->Next()) {
    if (!MakeHashKey(keys_, false, context_, key_)) continue;
    held_.Save(context_);
    index_.Add(key_);
  }
  index_.Finish();
}

void JoinStep::Rewind() {
  left_.step->Rewind();
  right_.step->Rewind();
  prepared_ = left_held_ = false;
  held_ = SavedRows({});
  index_ = HashIndex(IsWide(keys_));
  waiting_ = SavedRows(left_.sources);
  next_waiting_ = probed_ = 0;
  entry_ = HashIndex::kNone;
  matched_ = true;
  probe_.reset();
}

void JoinStep::Prepare() {
  prepared_ = true;
  left_held_ = !outer_ && HoldLeft();
  if (left_held_) {
    held_ = std::move(waiting_);
    waiting_ = SavedRows({});
    ChooseProbe();
  } else {
    HoldRight();
  }
  index_.Finish();
}

// False if there are too many rows; those read so far wait for their turn.
bool JoinStep::HoldLeft() {
  const std::size_t limit = HoldLimit(right_.estimate);
  while (left_.Next(context_)) {
    if (!MakeKey(true, key_)) continue;
    waiting_.Save(context_);
    index_.Add(key_);
    if (waiting_.size() == limit) {
      index_ = HashIndex(IsWide(keys_));
      return false;
    }
  }
  return true;
}

void JoinStep::HoldRight() {
  held_ = SavedRows(right_.sources);
  while (right_.Next(context_)) {
    if (!MakeKey(false, key_)) continue;
    held_.Save(context_);
    index_.Add(key_);
  }
}

// A seek costs as much as reading so many rows in a walk.
constexpr double kRowsPerSeek = 40;

void JoinStep::ChooseProbe() {
  if (!right_.scan) return;
  auto* table = dynamic_cast<TableSource*>(context_.sources[right_.sources[0]].get());
  if (table == nullptr || static_cast<double>(held_.size()) * kRowsPerSeek > table->row_count()) {
    return;
  }
  for (probe_key_ = 0; probe_key_ < keys_.size(); ++probe_key_) {
    const JoinKey& key = keys_[probe_key_];
    if (key.as_text || !key.right_column) continue;
    probe_ = IndexProbe::For(*table->table(), *key.right_column);
    if (probe_) return;
  }
}

bool JoinStep::NextProbed() {
  Handle& handle = context_.handles[right_.sources[0]];
  for (;;) {
    while (probe_->Next(handle)) {
      // The keys decide, whatever the index says.
      if (MakeKey(false, right_key_) && right_key_.digest == key_.digest &&
          right_key_.bytes == key_.bytes && HoldAll(right_.filters, context_) &&
          HoldAll(conditions_, context_)) {
        return true;
      }
    }
    if (probed_ == held_.size()) return false;
    held_.Restore(probed_++, context_);
    MakeKey(true, key_);
    probe_->Begin(*NumberOf(keys_[probe_key_].left->Evaluate(context_), keys_[probe_key_].words));
  }
}

bool JoinStep::NextOfStream() {
  if (left_held_) return right_.Next(context_);
  if (next_waiting_ < waiting_.size()) {
    waiting_.Restore(next_waiting_++, context_);
    return true;
  }
  return left_.Next(context_);
}

// Sets the held side to the next entry that fits the current row.
bool JoinStep::Lookup() {
  while (entry_ != HashIndex::kNone) {
    held_.Restore(entry_, context_);
    entry_ = index_.Next(entry_);
    if (HoldAll(conditions_, context_)) return true;
  }
  return false;
}

bool JoinStep::Next() {
  if (!prepared_) Prepare();
  if (probe_) return NextProbed();
  for (;;) {
    if (Lookup()) {
      matched_ = true;
      return true;
    }
    if (!matched_) {
      matched_ = true;
      held_.SetNull(context_);
      return true;
    }
    if (!NextOfStream()) return false;
    // The current row is of the side that is not held.
    entry_ = MakeKey(!left_held_, key_) ? index_.First(key_) : HashIndex::kNone;
    matched_ = !outer_;
  }
}

}  // namespace sql
