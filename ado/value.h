// Values as the provider hands them over, and its conversions.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "jet/base/value.h"
#include "jet/table/table.h"

namespace ado {

using Value = jet::Value;
using Null = jet::Null;
using Currency = jet::Currency;
using DateTime = jet::DateTime;

// ADO data types, as far as this system uses them.
enum DataType : int {
  adSmallInt = 2,
  adInteger = 3,
  adSingle = 4,
  adDouble = 5,
  adCurrency = 6,
  adDate = 7,
  adBoolean = 11,
  adUnsignedTinyInt = 17,
  adGUID = 72,
  adWChar = 130,
  adNumeric = 131,
  adVarWChar = 202,
  adLongVarWChar = 203,
  adVarBinary = 204,
  adLongVarBinary = 205,
};

// Number -> text in its shortest form, Boolean -> "True"/"False", dates
// "2010-01-04 00:00:00"; independent of the locale. Null is error 94.
std::string ToText(const Value& value);

// The number at the start of a text: leading blanks skipped; sign, digits, one
// point, exponent. 0 if there is none.
double LeadingNumber(std::string_view text);

// Half to even; error 6 outside the range.
std::int16_t ToInt16(double number);
// A number from any value; error 94 for Null, kErrIntegrity for text that is not one.
double ToDouble(const Value& value);

// Text counts in UTF-16 units, as the provider does.
std::string WithoutLast(std::string_view text, std::size_t units);

// To the type of a column, as the provider converts on assignment. kErrIntegrity
// with the field's name for what cannot be converted or is out of range.
Value ConvertTo(const jet::ColumnInfo& column, const Value& value);

}  // namespace ado
