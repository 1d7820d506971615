// Joining two inputs by hashing: one side is held as handles and keys, the other
// streams past it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sql/run/step.h"

namespace sql {

// Two expressions that must be equal, one of each side.
struct JoinKey {
  NodePtr left, right;
  bool as_text = false;                     // else as numbers
  bool words = false;                       // the texts "True" and "False" are numbers, too
  std::optional<std::size_t> right_column;  // if that is all that the right one is
};

// The key of one row: one number as its bits, anything else as bytes.
struct HashKey {
  std::uint64_t digest = 0;
  std::string bytes;
};

// Entries 0, 1, 2 ... by key; those of one key keep their order.
class HashIndex {
 public:
  static constexpr std::uint32_t kNone = 0xFFFFFFFF;

  // `wide`: keys have bytes.
  explicit HashIndex(bool wide) : wide_(wide) {}
  void Add(const HashKey& key);
  // No Add after it.
  void Finish();
  std::uint32_t First(const HashKey& key) const;
  std::uint32_t Next(std::uint32_t entry) const { return next_[entry]; }

 private:
  // Where the search for a key begins, and what stands there if it is found.
  struct Place {
    std::size_t slot = 0;
    std::uint32_t tag = 0;
  };
  struct Slot {
    std::uint32_t entry = kNone, tag = 0;
  };
  Place PlaceOf(std::uint64_t digest) const;
  bool Matches(const Slot& slot, std::uint32_t tag, std::uint64_t digest,
               std::string_view bytes) const;
  std::string_view BytesOf(std::uint32_t entry) const;

  bool wide_;
  std::vector<std::uint64_t> digests_;
  std::vector<std::uint64_t> ends_;  // of the bytes in `arena_`
  std::string arena_;
  std::vector<std::uint32_t> next_;
  std::vector<Slot> slots_;  // the first entry of each key
  std::size_t mask_ = 0;
};

// Whether keys need bytes.
bool IsWide(const std::vector<JoinKey>& keys);
// The key of the current row of one side. False: it is equal to nothing.
bool MakeHashKey(const std::vector<JoinKey>& keys, bool left, Context& context, HashKey& key);

struct JoinInput {
  StepPtr step;
  std::vector<std::size_t> sources;
  double estimate = 0;
  std::vector<NodePtr> filters = {};  // what the step's rows must fulfil
  bool scan = false;                  // the step reads one source from end to end

  bool Next(Context& context) {
    while (step->Next()) {
      if (HoldAll(filters, context)) return true;
    }
    return false;
  }
};

// Of the rows of its input those whose keys, the right ones, are what the left ones are
// for the rows of an outer query. REQUIRES: the input does not depend on that query.
class LookupStep : public Step {
 public:
  LookupStep(Context& context, StepPtr input, std::vector<std::size_t> sources,
             std::vector<JoinKey> keys)
      : context_(context),
        input_(std::move(input)),
        keys_(std::move(keys)),
        held_(std::move(sources)),
        index_(IsWide(keys_)) {}
  bool Next() override;
  void Rewind() override { begun_ = false; }

 private:
  void Hold();

  Context& context_;
  StepPtr input_;
  std::vector<JoinKey> keys_;
  SavedRows held_;
  HashIndex index_;
  HashKey key_;
  std::uint32_t entry_ = HashIndex::kNone;
  bool filled_ = false, begun_ = false;
};

class JoinStep : public Step {
 public:
  // `outer` keeps every row of the left side. `conditions` are what the keys
  // leave to check. An inner join holds the side that turns out smaller; where
  // the left one is very small, an index finds the rows of the right one.
  JoinStep(Context& context, JoinInput left, JoinInput right, std::vector<JoinKey> keys,
           std::vector<NodePtr> conditions, bool outer);
  bool Next() override;
  void Rewind() override;

 private:
  void Prepare();
  bool HoldLeft();
  void HoldRight();
  void ChooseProbe();
  bool NextProbed();
  bool NextOfStream();
  bool Lookup();
  bool MakeKey(bool left, HashKey& key) const { return MakeHashKey(keys_, left, context_, key); }

  Context& context_;
  JoinInput left_, right_;
  std::vector<JoinKey> keys_;
  std::vector<NodePtr> conditions_;
  bool outer_;

  bool prepared_ = false;
  bool left_held_ = false;
  SavedRows held_;
  HashIndex index_;
  SavedRows waiting_;  // left rows that were read before the sides were chosen
  std::size_t next_waiting_ = 0;
  std::uint32_t entry_ = HashIndex::kNone;
  bool matched_ = true;
  HashKey key_;

  std::optional<IndexProbe> probe_;
  std::size_t probe_key_ = 0;  // of keys_
  std::size_t probed_ = 0;     // left rows that had their turn
  HashKey right_key_;
};

}  // namespace sql
