#include "jet/table_keys.h"

#include <algorithm>
#include <utility>

#include "jet/error.h"
#include "jet/index_key.h"

namespace jet {
namespace {

// The stored value is there, but nobody can tell its key.
bool HasNoKey(const Error& error) {
  return error.code() == ErrorCode::kUnsortable || error.code() == ErrorCode::kKeyTooLong;
}

}  // namespace

Index Table::OpenIndex(std::size_t real) const { return Index(pager(), def(), real); }

void Table::CheckKey(std::size_t real, const IndexKey& key, RowId except) const {
  const RealIndex& index = def_.real_indexes[real];
  const auto name = [&]() -> std::string_view {
    for (const LogicalIndex& logical : def_.logical_indexes) {
      if (logical.real == real) return logical.name;
    }
    return {};
  };
  if (key.some_null && index.required()) throw Error(ErrorCode::kNullKey).OfColumn(name());
  if (!index.unique() || key.some_null) return;
  if (OpenIndex(real).HasKey(key.bytes, except)) {
    throw Error(ErrorCode::kDuplicateKey).OfColumn(name());
  }
}

// Tables that other programs copied may count from below what is in them.
void Table::PassNumbersInUse(std::size_t ordinal) {
  if (numbers_epoch_ == pager().epoch()) return;
  def_.last_autonumber = static_cast<std::uint32_t>(GreatestNumber(ordinal));
  numbers_epoch_ = pager().epoch();
}

// Of the last number given and those in use.
std::int32_t Table::GreatestNumber(std::size_t ordinal) const {
  const ColumnDef& column = def_.columns[ordinal];
  auto greatest = static_cast<std::int32_t>(def_.last_autonumber);
  const auto meet = [&](const Row& row) {
    const Value value = row.Get(ordinal);
    if (const auto* number = std::get_if<std::int32_t>(&value)) {
      greatest = std::max(greatest, *number);
    }
  };
  for (std::size_t real = 0; real < def_.real_indexes.size(); ++real) {
    const std::vector<IndexColumn>& parts = def_.real_indexes[real].columns;
    if (parts.empty() || parts[0].column != column.id || !parts[0].ascending) continue;
    Bytes last;
    AddKeyPart(column, greatest, true, last);
    Row row;
    for (Index::Cursor at = OpenIndex(real).LowerBound(last); at.valid(); at.Next()) {
      if (Read(at.row(), row)) meet(row);
    }
    return greatest;
  }
  for (TableScan scan(*this); scan.Next();) meet(scan.row());
  return greatest;
}

std::vector<Table::KeyChange> Table::KeysOfNewRow(std::span<const Value> values) {
  std::vector<KeyChange> changes;
  for (std::size_t real = 0; real < def_.real_indexes.size(); ++real) {
    const RealIndex& index = def_.real_indexes[real];
    const auto value_of = [&](std::size_t ordinal) -> const Value& { return values[ordinal]; };
    IndexKey key = BuildKey(def_, index, value_of, &encoder_.texts());
    CheckKey(real, key, {});
    if (index.ignore_nulls() && key.all_null) continue;
    changes.push_back({real, std::nullopt, false, std::move(key.bytes)});
  }
  return changes;
}

std::vector<Table::KeyChange> Table::KeyChanges(RowId id, const Row& row,
                                                std::span<const FieldChange> changes) {
  const auto changed_value = [&](std::size_t ordinal) -> const Value* {
    for (const FieldChange& change : changes) {
      if (change.ordinal == ordinal) return &change.value;
    }
    return nullptr;
  };
  std::vector<KeyChange> out;
  for (std::size_t real = 0; real < def_.real_indexes.size(); ++real) {
    const RealIndex& index = def_.real_indexes[real];
    const bool touched =
        std::any_of(index.columns.begin(), index.columns.end(), [&](const IndexColumn& part) {
          const auto ordinal = def_.FindColumn(part.column);
          return ordinal && changed_value(*ordinal) != nullptr;
        });
    if (!touched) continue;
    Value stored;
    const auto new_value = [&](std::size_t ordinal) -> const Value& {
      const Value* changed = changed_value(ordinal);
      return changed != nullptr ? *changed : stored = row.Get(ordinal);
    };
    IndexKey key = BuildKey(def_, index, new_value, &encoder_.texts());
    KeyChange change{real, std::nullopt, false, std::nullopt};
    try {
      IndexKey old = BuildKey(def_, index, [&](std::size_t ordinal) -> const Value& {
        return stored = row.Get(ordinal);
      });
      if (old.bytes == key.bytes) continue;
      if (!index.ignore_nulls() || !old.all_null) change.erase = std::move(old.bytes);
    } catch (const Error& error) {
      if (!HasNoKey(error)) throw;
      change.erase_by_row = true;
    }
    for (const LogicalIndex& logical : def_.logical_indexes) {
      if (logical.real == real && logical.kind == LogicalIndex::kRelation) {
        throw Error(ErrorCode::kNotSupported, "the key of a relationship cannot be changed")
            .OfColumn(logical.name);
      }
    }
    CheckKey(real, key, id);
    if (!index.ignore_nulls() || !key.all_null) change.insert = std::move(key.bytes);
    out.push_back(std::move(change));
  }
  return out;
}

void Table::ApplyKeyChanges(RowId id, const std::vector<KeyChange>& changes) {
  for (const KeyChange& change : changes) {
    Index index = OpenIndex(change.real);
    const bool erased = change.erase_by_row ? index.EraseByRow(*allocator_, id)
                        : change.erase      ? index.Erase(*allocator_, *change.erase, id)
                                            : true;
    if (!erased) {
      throw Error::Damaged(def_.real_indexes[change.real].root, "an index lacks a row");
    }
    if (change.insert && index.Insert(*allocator_, *change.insert, id)) {
      ++def_.real_indexes[change.real].distinct_keys;
    }
  }
}

void Table::EraseKeys(const Row& row) {
  for (std::size_t real = 0; real < def_.real_indexes.size(); ++real) {
    const RealIndex& index = def_.real_indexes[real];
    KeyChange change{real, std::nullopt, false, std::nullopt};
    try {
      Value stored;
      IndexKey key = BuildKey(def_, index, [&](std::size_t ordinal) -> const Value& {
        return stored = row.Get(ordinal);
      });
      if (index.ignore_nulls() && key.all_null) continue;
      change.erase = std::move(key.bytes);
    } catch (const Error& error) {
      if (!HasNoKey(error)) throw;
      change.erase_by_row = true;
    }
    ApplyKeyChanges(row.id(), {change});
  }
}

}  // namespace jet
