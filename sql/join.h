// Joining two inputs by hashing: one side is held as handles and keys, the other
// streams past it.
#pragma once

#include <string>
#include <vector>

#include "sql/step.h"

namespace sql {

// Two expressions that must be equal, one of each side.
struct JoinKey {
  NodePtr left, right;
  bool as_text = false;  // else as numbers
  bool words = false;    // the texts "True" and "False" are numbers, too
};

// Entries 0, 1, 2 ... by key; those of one key keep their order.
class HashIndex {
 public:
  static constexpr std::uint32_t kNone = 0xFFFFFFFF;

  // Keys of one number compare as 64 bits, others as bytes.
  explicit HashIndex(bool wide) : wide_(wide) {}
  void Add(const std::string& key);
  // No Add after it.
  void Finish();
  std::uint32_t First(const std::string& key) const;
  std::uint32_t Next(std::uint32_t entry) const { return next_[entry]; }

 private:
  std::uint64_t Digest(const std::string& key) const;
  bool Matches(std::uint32_t entry, std::uint64_t digest, std::string_view key) const;
  std::string_view WideKey(std::uint32_t entry) const;
  std::size_t SlotOf(std::uint64_t digest) const;

  bool wide_;
  std::vector<std::uint64_t> digests_;
  std::vector<std::uint64_t> ends_;  // of wide keys in `arena_`
  std::string arena_;
  std::vector<std::uint32_t> next_;
  std::vector<std::uint32_t> slots_;  // the first entry of a key
  std::size_t mask_ = 0;
};

struct JoinInput {
  StepPtr step;
  std::vector<std::size_t> sources;
  double estimate = 0;
};

class JoinStep : public Step {
 public:
  // `outer` keeps every row of the left side. `conditions` are what the keys
  // leave to check. An inner join holds the side that turns out smaller.
  JoinStep(Context& context, JoinInput left, JoinInput right, std::vector<JoinKey> keys,
           std::vector<NodePtr> conditions, bool outer);
  bool Next() override;

 private:
  void Prepare();
  bool HoldLeft();
  void HoldRight();
  bool NextOfStream();
  bool Lookup();
  bool MakeKey(bool left);

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
  std::string key_;
};

}  // namespace sql
