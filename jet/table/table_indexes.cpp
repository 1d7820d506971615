#include "jet/table/table_indexes.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "jet/base/error.h"

namespace jet {
namespace {

bool HasEntry(const RealIndex& index, const IndexKey& key) {
  return !index.ignore_nulls() || !key.all_null;
}

// The key of a row as it stands; nothing where it cannot be built.
std::optional<IndexKey> StoredKey(const TableDef& def, const RealIndex& index,
                                  const ValueOf& stored) {
  try {
    return BuildKeyFrom(def, index, stored, nullptr);
  } catch (const Error& error) {
    if (error.code() != ErrorCode::kUnsortable && error.code() != ErrorCode::kKeyTooLong) throw;
    return std::nullopt;
  }
}

const ColumnDef& ColumnOf(const TableDef& def, const IndexColumn& part) {
  const auto ordinal = def.FindColumn(part.column);
  if (!ordinal) throw Error::Damaged(def.page, "an index over a column that is not there");
  return def.columns[*ordinal];
}

void RequireNoRelation(const TableDef& def, std::size_t real) {
  for (const LogicalIndex& logical : def.logical_indexes) {
    if (logical.real == real && logical.kind == LogicalIndex::kRelation) {
      throw Error(ErrorCode::kNotSupported, "the key of a relationship cannot be changed")
          .OfColumn(logical.name);
    }
  }
}

}  // namespace

IndexSeek::IndexSeek(Pager& pager, const TableDef& def, std::size_t real, std::size_t columns)
    : def_(&def), real_(real), columns_(columns), index_(pager, def, real) {}

void IndexSeek::Begin(std::span<const Value> values) {
  assert(values.size() == columns_);
  const std::vector<IndexColumn>& parts = def_->real_indexes[real_].columns;
  cursor_.reset();
  key_.clear();
  for (std::size_t i = 0; i < columns_; ++i) {
    AddKeyPart(ColumnOf(*def_, parts[i]), values[i], parts[i].ascending, key_);
  }
  cursor_.emplace(index_.LowerBound(key_));
}

std::optional<RowId> IndexSeek::Next() {
  const bool whole = columns_ == def_->real_indexes[real_].columns.size();
  for (; cursor_ && cursor_->valid(); cursor_->Next()) {
    const ByteView key = cursor_->key();
    if (key.size() < key_.size() || !std::equal(key_.begin(), key_.end(), key.begin())) break;
    // A longer key may stand between the entries of this one.
    if (whole && key.size() != key_.size()) continue;
    const RowId row = cursor_->row();
    cursor_->Next();
    return row;
  }
  return std::nullopt;
}

std::optional<std::size_t> TableIndexes::BeginningWith(
    std::span<const std::size_t> ordinals) const {
  const auto begins = [&](const RealIndex& index) {
    return !ordinals.empty() && index.columns.size() >= ordinals.size() &&
           std::equal(ordinals.begin(), ordinals.end(), index.columns.begin(),
                      [&](std::size_t ordinal, const IndexColumn& part) {
                        return def_->columns[ordinal].id == part.column;
                      });
  };
  const auto found = std::ranges::find_if(def_->real_indexes, begins);
  if (found == def_->real_indexes.end()) return std::nullopt;
  return static_cast<std::size_t>(found - def_->real_indexes.begin());
}

std::optional<Index::Cursor> TableIndexes::From(std::size_t ordinal, const Value& value) const {
  const ColumnDef& column = def_->columns[ordinal];
  for (std::size_t real = 0; real < def_->real_indexes.size(); ++real) {
    const std::vector<IndexColumn>& parts = def_->real_indexes[real].columns;
    if (parts.empty() || parts[0].column != column.id || !parts[0].ascending) continue;
    Bytes key;
    AddKeyPart(column, value, true, key);
    return Open(real).LowerBound(key);
  }
  return std::nullopt;
}

void TableIndexes::Check(std::size_t real, const IndexKey& key, RowId except) {
  const RealIndex& index = def_->real_indexes[real];
  hints_.resize(def_->real_indexes.size());
  hints_[real].leaf = {};
  const auto name = [&]() -> std::string_view {
    for (const LogicalIndex& logical : def_->logical_indexes) {
      if (logical.real == real) return logical.name;
    }
    return {};
  };
  if (key.some_null && index.required()) throw Error(ErrorCode::kNullKey).OfColumn(name());
  if (!index.unique() || key.some_null) return;
  if (Open(real).HasKey(key.bytes, except, hints_[real])) {
    throw Error(ErrorCode::kDuplicateKey).OfColumn(name());
  }
}

std::vector<KeyChange> TableIndexes::OfNewRow(std::span<const Value> values, RowTexts& texts) {
  std::vector<KeyChange> changes;
  for (std::size_t real = 0; real < def_->real_indexes.size(); ++real) {
    const RealIndex& index = def_->real_indexes[real];
    const auto value_of = [&](std::size_t ordinal) -> const Value& { return values[ordinal]; };
    IndexKey key = BuildKey(*def_, index, value_of, &texts);
    Check(real, key, {});
    if (!HasEntry(index, key)) continue;
    changes.push_back({.real = real, .insert = std::move(key.bytes)});
  }
  return changes;
}

std::vector<KeyChange> TableIndexes::OfUpdate(RowId id, const ValueOf& stored,
                                              std::span<const FieldChange> changes,
                                              RowTexts& texts) {
  const auto changed_value = [&](std::size_t ordinal) -> const Value* {
    const auto change = std::ranges::find(changes, ordinal, &FieldChange::ordinal);
    return change == changes.end() ? nullptr : &change->value;
  };
  std::vector<KeyChange> out;
  for (std::size_t real = 0; real < def_->real_indexes.size(); ++real) {
    const RealIndex& index = def_->real_indexes[real];
    const bool touched = std::ranges::any_of(index.columns, [&](const IndexColumn& part) {
      const auto ordinal = def_->FindColumn(part.column);
      return ordinal && changed_value(*ordinal) != nullptr;
    });
    if (!touched) continue;
    const auto new_value = [&](std::size_t ordinal) -> const Value& {
      const Value* changed = changed_value(ordinal);
      return changed != nullptr ? *changed : stored(ordinal);
    };
    IndexKey key = BuildKey(*def_, index, new_value, &texts);
    std::optional<IndexKey> old = StoredKey(*def_, index, stored);
    if (old && old->bytes == key.bytes) continue;
    KeyChange change{.real = real, .erase_by_row = !old};
    if (old && HasEntry(index, *old)) change.erase = std::move(old->bytes);
    RequireNoRelation(*def_, real);
    Check(real, key, id);
    if (HasEntry(index, key)) change.insert = std::move(key.bytes);
    out.push_back(std::move(change));
  }
  return out;
}

std::vector<KeyChange> TableIndexes::OfErasedRow(const ValueOf& stored) const {
  std::vector<KeyChange> changes;
  for (std::size_t real = 0; real < def_->real_indexes.size(); ++real) {
    const RealIndex& index = def_->real_indexes[real];
    std::optional<IndexKey> old = StoredKey(*def_, index, stored);
    if (!old) {
      changes.push_back({.real = real, .erase_by_row = true});
    } else if (HasEntry(index, *old)) {
      changes.push_back({.real = real, .erase = std::move(old->bytes)});
    }
  }
  return changes;
}

void TableIndexes::Apply(RowId id, const std::vector<KeyChange>& changes) {
  hints_.resize(def_->real_indexes.size());
  for (const KeyChange& change : changes) {
    Index index = Open(change.real);
    IndexHint& hint = hints_[change.real];
    if (change.erase_by_row || change.erase) hint.leaf = {};
    const bool erased = change.erase_by_row ? index.EraseByRow(*allocator_, id)
                        : change.erase      ? index.Erase(*allocator_, *change.erase, id)
                                            : true;
    if (!erased) {
      throw Error::Damaged(def_->real_indexes[change.real].root, "an index lacks a row");
    }
    if (change.insert && index.Insert(*allocator_, *change.insert, id, hint)) {
      ++def_->real_indexes[change.real].distinct_keys;
    }
  }
}

}  // namespace jet
