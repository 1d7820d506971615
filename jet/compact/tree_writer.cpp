#include "jet/compact/tree_writer.h"

#include <algorithm>
#include <cstring>

#include "jet/base/error.h"
#include "jet/index/index_page.h"

namespace jet::compact {
namespace {

Bytes NodeEntry(ByteView key, PageNumber child) {
  Bytes entry(key.begin(), key.end());
  for (int shift = 24; shift >= 0; shift -= 8) {
    entry.push_back(static_cast<std::uint8_t>(child.value >> shift));
  }
  return entry;
}

// The child behind a node's entry, which is taken off.
PageNumber TakeChild(Bytes& entry) {
  PageNumber child;
  for (std::size_t i = entry.size() - kIndexChildBytes; i < entry.size(); ++i) {
    child.value = child.value << 8 | entry[i];
  }
  entry.resize(entry.size() - kIndexChildBytes);
  return child;
}

bool IsBefore(ByteView a, ByteView b) {
  const int order = std::memcmp(a.data(), b.data(), std::min(a.size(), b.size()));
  return order < 0 || (order == 0 && a.size() < b.size());
}

bool HaveSameKey(ByteView a, ByteView b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() - kIndexRowBytes) == 0;
}

[[noreturn]] void ThrowTooLong() {
  throw Error(ErrorCode::kNotSupported, "an index entry that no page has room for");
}

}  // namespace

TreeWriter::TreeWriter(PageWriter& out, PageNumber owner, PageNumber root, PageRuns& pages)
    : out_(&out), owner_(owner), root_(root), pages_(&pages) {
  pages_->Add(root);
  leaf_.Begin(0);
}

PageNumber TreeWriter::TakePage() {
  const PageNumber page = out_->Take();
  pages_->Add(page);
  return page;
}

void TreeWriter::Add(ByteView entry) {
  if (entries_ != 0 && !IsBefore(last_, entry)) {
    throw Error(ErrorCode::kNotSupported, "index entries whose order depends on the row");
  }
  if (entries_ == 0 || !HaveSameKey(last_, entry)) ++distinct_keys_;
  if (!leaf_.Add(entry)) {
    EndLeaf();
    if (!leaf_.Add(entry)) ThrowTooLong();
  }
  last_.assign(entry.begin(), entry.end());
  ++entries_;
}

// The root becomes the node above the leaves: the first of them moves off it.
void TreeWriter::EndLeaf() {
  if (leaf_.size() == 0) ThrowTooLong();
  if (!leaf_.number) leaf_.number = TakePage();
  leaf_.next = TakePage();
  Put(leaf_);
  const PageNumber ended = leaf_.number, next = leaf_.next;
  AddChild(0, last_, ended);
  leaf_.Begin(0);
  leaf_.number = next;
  leaf_.previous = ended;
}

void TreeWriter::AddChild(std::size_t level, ByteView key, PageNumber child) {
  if (level == levels_.size()) {
    levels_.emplace_back();
    levels_.back().node.Begin(static_cast<std::uint8_t>(level + 1));
  }
  Level& at = levels_[level];
  if (at.child) {
    const Bytes entry = NodeEntry(at.key, at.child);
    if (!at.node.Add(entry)) HoldNode(level);
  }
  at.key.assign(key.begin(), key.end());
  at.child = child;
}

// A full node: its last child becomes the tail, the next node begins without entries.
void TreeWriter::HoldNode(std::size_t level) {
  Level& at = levels_[level];
  if (at.node.size() < 2) ThrowTooLong();
  if (!at.node.number) at.node.number = TakePage();
  const PageNumber next = TakePage();
  at.node.tail = at.child;
  at.node.next = next;
  ReleaseHeld(level);
  const PageNumber ended = at.node.number;
  at.held.emplace(Level::Held{at.node, at.key});
  at.node.Begin(static_cast<std::uint8_t>(level + 1));
  at.node.number = next;
  at.node.previous = ended;
}

void TreeWriter::ReleaseHeld(std::size_t level) {
  Level& at = levels_[level];
  if (!at.held) return;
  Put(at.held->node);
  const Bytes key = std::move(at.held->key);
  const PageNumber node = at.held->node.number;
  at.held.reset();
  AddChild(level + 1, key, node);
}

// A node of a tail alone takes over the tail of the one before.
void TreeWriter::ShareWithLast(Level& level) {
  Level::Held& held = *level.held;
  level.node.Add(NodeEntry(held.key, held.node.tail));
  held.key = held.node.TakeLast();
  held.node.tail = TakeChild(held.key);
}

void TreeWriter::Finish() {
  if (!leaf_.number) leaf_.number = root_;
  Put(leaf_);
  if (levels_.empty()) return;
  AddChild(0, last_, leaf_.number);
  FinishNodes();
}

void TreeWriter::FinishNodes() {
  for (std::size_t level = 0; level < levels_.size(); ++level) {
    Level& at = levels_[level];
    at.node.tail = at.child;
    if (!at.node.number) {  // the only one of its level
      at.node.number = root_;
      Put(at.node);
      return;
    }
    if (at.node.size() == 0) ShareWithLast(at);
    ReleaseHeld(level);
    Put(at.node);
    AddChild(level + 1, at.key, at.node.number);
  }
}

}  // namespace jet::compact
