#include "jet/check/rows.h"

#include <fmt/format.h>

#include <algorithm>

#include "jet/base/bytes.h"
#include "jet/row/long_value.h"
#include "jet/row/row.h"

namespace jet::check {

namespace {
constexpr std::uint8_t kBooleanBytes[] = {0, 1};
}

void TextScan::Feed(ByteView piece) {
  const bool compressed = piece.size() >= 2 && piece[0] == 0xFF && piece[1] == 0xFE;
  if (mode_ == Mode::kPlain || (mode_ == Mode::kStart && piece.size() >= 2 && !compressed)) {
    units_ += piece.size() / 2;
    mode_ = piece.size() % 2 != 0 ? Mode::kPlainHalf : Mode::kPlain;
    return;
  }
  for (const std::uint8_t byte : piece) {
    switch (mode_) {
      case Mode::kStart:
        mode_ = byte == 0xFF ? Mode::kStartMark : Mode::kPlainHalf;
        break;
      case Mode::kStartMark:
        mode_ = byte == 0xFE ? Mode::kNarrow : Mode::kPlain;
        if (byte != 0xFE) ++units_;
        break;
      case Mode::kPlain:
        mode_ = Mode::kPlainHalf;
        break;
      case Mode::kPlainHalf:
        mode_ = Mode::kPlain;
        ++units_;
        break;
      case Mode::kNarrow:
        if (byte == 0) {
          mode_ = Mode::kWide;
        } else {
          ++units_;
        }
        break;
      case Mode::kWide:
        mode_ = byte == 0 ? Mode::kNarrow : Mode::kWideHalf;
        break;
      case Mode::kWideHalf:
        mode_ = Mode::kWide;
        ++units_;
        break;
    }
  }
}

std::string TextScan::Fault() const {
  switch (mode_) {
    case Mode::kStartMark:
    case Mode::kPlainHalf:
      return "is a text of an odd number of bytes";
    case Mode::kWideHalf:
      return "is a compressed text that ends inside a character";
    default:
      return {};
  }
}

RowSplitter::RowSplitter(const TableDef& def) : def_(&def) {
  for (const ColumnDef& column : def.columns) {
    const bool known = IsKnownType(column.type) && !(column.fixed() && IsLongValue(column.type));
    columns_.push_back({.id = column.id.value,
                        .slot = column.variable_slot,
                        .at = std::size_t{2} + column.fixed_offset,
                        .size = known && column.fixed() ? *ExactSize(column) : 0,
                        .known = known,
                        .fixed = column.fixed(),
                        .boolean = column.type == ColumnType::kBoolean,
                        .checked = !column.fixed() || IsText(column.type)});
  }
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const Column& column = columns_[i];
    live_ids_ = std::max(live_ids_, column.id + 1);
    if (column.fixed) fixed_end_ = std::max(fixed_end_, column.at + column.size);
    if (!column.fixed && !column.boolean) by_slot_.push_back(i);
    taken_.push_back(i);
  }
  std::ranges::stable_sort(by_slot_, {}, [this](std::size_t i) { return columns_[i].slot; });
  first_variable_ = def.next_column_id;
  for (const std::size_t i : by_slot_) first_variable_ = std::min(first_variable_, columns_[i].id);
}

void RowSplitter::LeaveOutAllBut(const std::vector<bool>& wanted) {
  std::erase_if(taken_, [&](std::size_t i) { return !columns_[i].checked && !wanted[i]; });
}

// Rows written before the table had its first variable column have no offsets. Where that
// one was dropped, which rows those are does not show; nothing is read from the offsets then.
bool RowSplitter::HasVariablePart(std::size_t count) const {
  return def_->has_variable_columns() && (count == def_->next_column_id || count > first_variable_);
}

std::string RowSplitter::Split(ByteView row, Fields& fields, std::string* untidy) const {
  fields.resize(columns_.size());
  if (row.size() < 2) return fmt::format("has only {} bytes", row.size());
  const std::size_t count = GetU16(row, 0);
  if (count > def_->next_column_id) {
    return fmt::format("has {} columns, the table {}", count, def_->next_column_id);
  }
  const std::size_t mask_bytes = (count + 7) / 8;
  if (2 + mask_bytes > row.size()) return fmt::format("of {} bytes is too short", row.size());
  const std::size_t mask_at = row.size() - mask_bytes;
  std::size_t variables = 0, fixed_end = mask_at;
  // Offset j stands backwards from the count of variables.
  const auto offset = [&](std::size_t j) { return std::size_t{GetU16(row, mask_at - 4 - 2 * j)}; };
  if (HasVariablePart(count)) {
    if (mask_at < 2 + 4) return fmt::format("of {} bytes is too short", row.size());
    variables = GetU16(row, mask_at - 2);
    if (variables > def_->next_variable_slot) {
      return fmt::format("has {} variable columns, the table {}", variables,
                         def_->next_variable_slot);
    }
    if (mask_at < 2 + 4 + 2 * variables) {
      return fmt::format("has no room for {} variable offsets", variables);
    }
    const std::size_t table_at = mask_at - 4 - 2 * variables;
    if (offset(variables) > table_at) return "has variable values that overlap their offsets";
    if (offset(0) < 2) return "has variable values that overlap its head";
    if (offset(variables) < table_at && untidy != nullptr) {
      *untidy =
          fmt::format("has a gap of {} bytes before its offsets", table_at - offset(variables));
    }
    fixed_end = offset(0);
    // Slots of dropped columns may hold anything.
    std::size_t last = fixed_end;
    for (const std::size_t i : by_slot_) {
      const std::size_t slot = columns_[i].slot;
      if (slot >= variables) break;
      if (offset(slot) < last || offset(slot + 1) < offset(slot) || offset(slot + 1) > table_at) {
        return fmt::format("has column {} out of order", def_->columns[i].name);
      }
      last = offset(slot + 1);
    }
  }
  // Where all fixed fields have room, those that are left out cannot be at fault.
  const bool all = fixed_end_ > fixed_end;
  const std::size_t taken = all ? columns_.size() : taken_.size();
  for (std::size_t at = 0; at < taken; ++at) {
    const std::size_t i = all ? at : taken_[at];
    const Column& column = columns_[i];
    fields[i].reset();
    if (!column.known) continue;
    const bool present =
        column.id < count && (row[mask_at + column.id / 8] >> column.id % 8 & 1) != 0;
    if (column.boolean) {
      fields[i] = ByteView(&kBooleanBytes[present ? 1 : 0], 1);
    } else if (column.fixed) {
      if (!present) continue;
      if (column.at + column.size > fixed_end) {
        return fmt::format("has no room for column {}", def_->columns[i].name);
      }
      fields[i] = row.subspan(column.at, column.size);
    } else if (present) {
      if (column.slot >= variables) {
        return fmt::format("has column {} but only {} variable values", def_->columns[i].name,
                           variables);
      }
      const std::size_t start = offset(column.slot);
      fields[i] = row.subspan(start, offset(column.slot + 1) - start);
    } else if (untidy != nullptr && column.id < count && column.slot < variables &&
               offset(column.slot) != offset(column.slot + 1)) {
      *untidy = fmt::format("has bytes for column {} although that is Null", def_->columns[i].name);
    }
  }
  return {};
}

std::optional<std::int64_t> RowSplitter::UnusedBeforeVariables(ByteView row) const {
  const std::size_t count = GetU16(row, 0);
  if (count != live_ids_ || !HasVariablePart(count)) return std::nullopt;
  const std::size_t mask_at = row.size() - (count + 7) / 8;
  return std::int64_t{GetU16(row, mask_at - 4)} - static_cast<std::int64_t>(fixed_end_);
}

std::string RowSplitter::FieldFault(std::size_t ordinal, ByteView stored) const {
  const ColumnDef& column = def_->columns[ordinal];
  switch (column.type) {
    case ColumnType::kBoolean:
    case ColumnType::kRaw:
      return {};
    case ColumnType::kText: {
      TextScan scan;
      scan.Feed(stored);
      if (std::string fault = scan.Fault(); !fault.empty()) return fault;
      if (!column.fixed() && 2 * scan.units() > column.length) {
        return fmt::format("holds {} characters, at most {} are allowed", scan.units(),
                           column.max_chars());
      }
      return {};
    }
    case ColumnType::kBinary:
      if (stored.size() <= column.length) return {};
      return fmt::format("holds {} bytes, at most {} are allowed", stored.size(), column.length);
    case ColumnType::kOle:
    case ColumnType::kMemo:
      if (stored.size() >= kLongValueDescriptorBytes) return {};
      return fmt::format("is a long value of {} bytes", stored.size());
    default:
      if (stored.size() == *ExactSize(column)) return {};
      return fmt::format("holds {} bytes, not {}", stored.size(), *ExactSize(column));
  }
}

}  // namespace jet::check
