#include "sql/functions/arguments.h"

#include "jet/base/number.h"
#include "sql/error.h"
#include "sql/functions/date_text.h"

namespace sql {

void InvalidCall() { throw Error(ErrorCode::kBadValue, "invalid procedure call"); }
void Overflow() { throw Error(ErrorCode::kBadValue, "overflow"); }
void TypeMismatch() { throw Error(ErrorCode::kBadValue, "type mismatch"); }
void NullRefused() { throw Error(ErrorCode::kBadValue, "invalid use of Null"); }

double NumberArgument(const Datum& datum) {
  const auto number = NumberOf(datum, false);
  if (!number) TypeMismatch();
  return *number;
}

std::int32_t WholeArgument(const Datum& datum) {
  const auto whole = jet::RoundHalfEven<std::int32_t>(NumberArgument(datum));
  if (!whole) Overflow();
  return *whole;
}

std::int32_t WholeOr(Arguments arguments, std::size_t at, std::int32_t otherwise) {
  return at < arguments.size() ? WholeArgument(*arguments[at]) : otherwise;
}

std::string TextArgument(const FunctionContext& context, const Datum& datum) {
  return datum.is_text() ? datum.text : TextOf(datum, LanguageOf(context.order));
}

double DateArgument(const FunctionContext&, const Datum& datum) {
  double days = 0;
  if (datum.is_text()) {
    if (const auto date = ReadDateText(datum.text)) {
      days = date->days;
    } else if (const auto number = ReadNumber(datum.text)) {
      days = *number;
    } else {
      TypeMismatch();
    }
  } else {
    days = NumberArgument(datum);
  }
  if (!jet::IsInCalendar({days})) Overflow();
  return days;
}

}  // namespace sql
