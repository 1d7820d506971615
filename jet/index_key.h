// The key of a row in an index: its parts one after the other, made so that
// comparing bytes compares rows.
#pragma once

#include <functional>

#include "jet/table_def.h"
#include "jet/value.h"

namespace jet {

inline constexpr std::size_t kMaxIndexEntryBytes = 510;

struct IndexKey {
  Bytes bytes;
  bool all_null = true;    // every part Null
  bool some_null = false;  // at least one part Null
};

// One part. kUnsortable for texts without a proven key, kNotSupported for
// types that are not indexed (Boolean, OLE).
void AddKeyPart(const ColumnDef& column, const Value& value, bool ascending, Bytes& out);

// `value_of(ordinal)` gives the row's values. Memo parts count their first 255
// characters. kKeyTooLong over kMaxIndexEntryBytes.
IndexKey BuildKey(const TableDef& def, const RealIndex& index,
                  const std::function<Value(std::size_t)>& value_of);

}  // namespace jet
