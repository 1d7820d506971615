// The key of a row in an index: its parts one after the other, made so that
// comparing bytes compares rows.
#pragma once

#include <functional>
#include <optional>
#include <type_traits>
#include <vector>

#include "jet/base/value.h"
#include "jet/row/row_texts.h"
#include "jet/row/table_def.h"

namespace jet {

inline constexpr std::size_t kMaxIndexEntryBytes = 510;

struct IndexKey {
  Bytes bytes;
  bool all_null = true;    // every part Null
  bool some_null = false;  // at least one part Null
};

// kNotSupported for a column whose keys we do not make, in this direction.
void RequireIndexable(const ColumnDef& column, bool ascending);

// One part. kUnsortable for texts without a proven key; RequireIndexable.
void AddKeyPart(const ColumnDef& column, const Value& value, bool ascending, Bytes& out);

// The same of a Long that is stored so; nearly all keys are of them.
void AddLongKeyPart(ByteView stored, bool ascending, Bytes& out);

// `value_of(ordinal)` gives a reference to each of the row's values, needed until
// the next call; `texts` keeps their UTF-16 where it is needed again. Memo parts count
// their first 255 characters. kKeyTooLong over kMaxIndexEntryBytes.
using ValueOf = std::function<const Value&(std::size_t ordinal)>;
IndexKey BuildKeyFrom(const TableDef& def, const RealIndex& index, const ValueOf& value_of,
                      RowTexts* texts);
template <class Function>
IndexKey BuildKey(const TableDef& def, const RealIndex& index, Function&& value_of,
                  RowTexts* texts = nullptr) {
  static_assert(std::is_lvalue_reference_v<std::invoke_result_t<Function, std::size_t>>,
                "a temporary would be gone when it is looked at");
  return BuildKeyFrom(def, index, ValueOf(std::ref(value_of)), texts);
}

// The keys of an index over columns of type Long alone, straight from the stored bytes.
class LongKeys {
 public:
  // Nothing for any other index.
  static std::optional<LongKeys> For(const TableDef& def, const RealIndex& index);
  // `stored_of(ordinal)` gives the bytes of a field, null data for Null.
  template <class StoredOf>
  void Build(const StoredOf& stored_of, IndexKey& key) const {
    key.bytes.clear();
    key.all_null = true;
    key.some_null = false;
    for (const Part& part : parts_) {
      const ByteView stored = stored_of(part.ordinal);
      if (stored.data() != nullptr) {
        key.all_null = false;
        AddLongKeyPart(stored, part.ascending, key.bytes);
      } else {
        key.some_null = true;
        AddNullKeyPart(part.ascending, key.bytes);
      }
    }
  }

 private:
  struct Part {
    std::size_t ordinal = 0;
    bool ascending = true;
  };
  static void AddNullKeyPart(bool ascending, Bytes& out);
  std::vector<Part> parts_;
};

}  // namespace jet
