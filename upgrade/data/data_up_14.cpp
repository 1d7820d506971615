// Step 14: the pickup transfer, from its tables over their rows to its queries.
#include <array>
#include <string>

#include "upgrade/data/data_up_m.h"
#include "upgrade/data/reinforcement.h"
#include "upgrade/data/transfer_code_rows.h"
#include "upgrade/data/transfer_queries.h"
#include "upgrade/data/transfer_shape_rows.h"
#include "upgrade/data/transfer_tables.h"
#include "upgrade/rows.h"

namespace upgrade {
namespace {

constexpr const char* kNotTransferred = "-";

constexpr bool Contains(std::span<const IdRange> ranges, std::int16_t id) {
  for (const IdRange& range : ranges) {
    if (range.first <= id && id <= range.last) return true;
  }
  return false;
}

template <class Result>
consteval Result FirstMatch(std::span<const Rule<Result>> rules, std::int16_t id) {
  for (const Rule<Result>& rule : rules) {
    if (rule.first <= id && id <= rule.last) return rule.result;
  }
  throw "a number without a rule";  // so this does not compile
}

// The text of every number up to `kLast`, by number.
template <std::int16_t kFirst, std::int16_t kLast>
consteval auto TextsOf(std::span<const TextRule> rules, std::span<const IdRange> untransferred) {
  std::array<const char*, kLast + 1> texts{};
  for (std::int16_t id = kFirst; id <= kLast; ++id) {
    texts[id] = Contains(untransferred, id) ? kNotTransferred : FirstMatch(rules, id);
  }
  return texts;
}

constexpr std::int16_t kLastShape{std::ssize(kShapeNames) - 1};
consteval auto ShapeTexts(std::span<const TextRule> rules) {
  return TextsOf<0, kLastShape>(rules, kUntransferredShapes);
}

constexpr std::int16_t kLastAccessory{std::ssize(kAccessoryNames)};
consteval auto AccessoryTexts(std::span<const TextRule> rules) {
  return TextsOf<1, kLastAccessory>(rules, kUntransferredAccessories);
}

consteval auto AccessoryCounts() {
  std::array<std::int16_t, kLastAccessory + 1> counts{};
  for (std::int16_t id = 1; id <= kLastAccessory; ++id) {
    counts[id] = FirstMatch<std::int16_t>(kAccessoryCounts, id);
  }
  return counts;
}

}  // namespace

void Data_Up_M::Data_Up_14() {
  db_.ClearError();
  if (!CreateTransferTables()) return;
  AddCodeRows();
  AddShapeConversions();
  AddAccessoryConversions();
  NameReinforcements();
  StoreTransferQueries();
}

bool Data_Up_M::CreateTransferTables() {
  db::Catalog catalog = db_.BindCatalog();
  db::Table base = db_.CreateTable(kTransferBase);
  AppendColumns(db_, base, kTransferBaseColumns);
  db_.EachColumn(base, [&](const ado::Column& column) {
    if (column.type == db::adInteger || column.type == db::adDouble || column.type == db::adWChar) {
      db_.SetColumnAttributes(base, column.name, db::adColNullable);
    }
    return true;
  });
  db_.AppendKey(base, "PrimaryKey", db::adKeyPrimary, kTransferBaseKey);
  if (!TryAppendTable(db_, catalog, base)) return false;

  for (const NewTable& table : kTransferTables) {
    if (!TryAppendTable(db_, catalog, db_.CreateTable(table.name))) return false;
    AppendColumns(db_, db_.GetTable(catalog, table.name), table.columns);
  }

  db_.AppendColumn(db_.GetTable(catalog, "Spec_補強名称"), "転送名称", db::adWChar, kTextChars);
  db_.ReopenDb();
  return true;
}

void Data_Up_M::AddCodeRows() {
  for (const CodeTable& table : kCodeTables) {
    db_.OpenTable(table.name);
    for (const CodeRow& row : table.rows) {
      db_.AddRow();
      db_.SetField(table.id_field, row.id);
      for (std::size_t i = 0; i < table.text_fields.size(); ++i) {
        db_.SetField(table.text_fields[i], row.texts[i]);
      }
      db_.SaveRow();
    }
  }
}

void Data_Up_M::AddShapeConversions() {
  db_.OpenTable("拾い転送_形状名称変換");
  static constexpr auto kNames = ShapeTexts(kShapeChangedNames);
  static constexpr auto kClasses = ShapeTexts(kShapeClasses);
  static constexpr auto kSizes = ShapeTexts(kShapeSizes);
  static constexpr auto kQuantities = ShapeTexts(kShapeQuantities);
  for (std::int16_t id = 0; id <= kLastShape; ++id) {
    if (id == kBlankShape) continue;
    db_.AddRow();
    db_.SetField("形状名ID", id);
    db_.SetField("形状名", kShapeNames[id]);
    db_.SetField("変更形状名", kNames[id]);
    db_.SetField("形状分類名", kClasses[id]);
    db_.SetField("サイズ表示", kSizes[id]);
    db_.SetField("数量表示", kQuantities[id]);
    db_.SaveRow();
  }
}

void Data_Up_M::AddAccessoryConversions() {
  db_.OpenTable("拾い転送_形状名称変換_副資材");
  static constexpr auto kNames = AccessoryTexts(kAccessoryChangedNames);
  static constexpr auto kClasses = AccessoryTexts(kAccessoryClasses);
  static constexpr auto kCounts = AccessoryCounts();
  static constexpr auto kSizes = AccessoryTexts(kAccessorySizes);
  static constexpr auto kQuantities = AccessoryTexts(kAccessoryQuantities);
  for (std::int16_t id = 1; id <= kLastAccessory; ++id) {
    db_.AddRow();
    db_.SetField("形状名ID", id);
    db_.SetField("形状名", kAccessoryNames[id - 1]);
    db_.SetField("変更形状名", kNames[id]);
    db_.SetField("形状分類名", kClasses[id]);
    db_.SetField("複数登録", kCounts[id]);
    db_.SetField("材質分岐", Contains(kBranchingAccessories, id));
    db_.SetField("サイズ表示", kSizes[id]);
    db_.SetField("数量表示", kQuantities[id]);
    db_.SaveRow();
  }
}

void Data_Up_M::NameReinforcements() {
  db_.OpenTable("Spec_補強名称");
  std::int16_t row = 0;
  while (!db_.AtEnd()) {
    db_.SetField("転送名称", ReinforcementTransferName(row));
    AddOne(row);
    db_.SaveRow();
    db_.NextRow();
  }
}

void Data_Up_M::StoreTransferQueries() {
  db_.AddQuery(db_.BindCatalog(), kDuctQuery, kDuctQueryText);
  db_.AddQuery(db_.BindCatalog(), kAccessoryQuery, kAccessoryQueryText);
  db_.AddQuery(db_.BindCatalog(), kTransferQuery, kTransferQueryText);
  db_.AddQuery(db_.BindCatalog(), kSumQuery,
               std::string(kSumQueryHead) + kTransferSums1 + kTransferSums2 + kSumQueryTail);
}

}  // namespace upgrade
