#include "jet/base/error.h"

#include <fmt/format.h>

namespace jet {

std::string_view ErrorText(ErrorCode code) {
  switch (code) {
    case ErrorCode::kFileNotFound:
      return "file not found";
    case ErrorCode::kNoPermission:
      return "no permission";
    case ErrorCode::kInUse:
      return "in use by another program";
    case ErrorCode::kNotJet4:
      return "not a Jet 4.0 file";
    case ErrorCode::kWrongPassword:
      return "wrong password";
    case ErrorCode::kNeedsRepair:
      return "needs repair";
    case ErrorCode::kIo:
      return "the system could not read or write";
    case ErrorCode::kUnfinished:
      return "saving was interrupted; the next opening will finish it";
    case ErrorCode::kUncertain:
      return "saving failed and could not be taken back; the next opening finishes or drops it";
    case ErrorCode::kDiskFull:
      return "disk full";
    case ErrorCode::kFileTooLarge:
      return "too large";
    case ErrorCode::kReadOnly:
      return "opened to read only";
    case ErrorCode::kDamaged:
      return "damaged";
    case ErrorCode::kTableMissing:
      return "no such table or query";
    case ErrorCode::kNameTaken:
      return "a table or query of this name exists";
    case ErrorCode::kColumnMissing:
      return "no such column";
    case ErrorCode::kColumnExists:
      return "a column of this name exists";
    case ErrorCode::kIndexExists:
      return "an index of this name exists";
    case ErrorCode::kBadName:
      return "not a valid name";
    case ErrorCode::kTooManyColumns:
      return "too many columns";
    case ErrorCode::kTooManyIndexes:
      return "too many indexes";
    case ErrorCode::kRowTooLong:
      return "row too long";
    case ErrorCode::kTextTooLong:
      return "too long for the column";
    case ErrorCode::kOutOfRange:
      return "out of range";
    case ErrorCode::kWrongType:
      return "wrong type of value";
    case ErrorCode::kBadText:
      return "not valid UTF-8";
    case ErrorCode::kRequired:
      return "a value is required";
    case ErrorCode::kZeroLength:
      return "an empty text is not allowed";
    case ErrorCode::kDuplicateKey:
      return "duplicate value in a unique index";
    case ErrorCode::kNullKey:
      return "Null in a primary key";
    case ErrorCode::kKeyTooLong:
      return "index entry too long";
    case ErrorCode::kUnsortable:
      return "no proven sort key";
    case ErrorCode::kNotSupported:
      return "not supported";
  }
  return "unknown error";
}

Error::Error(ErrorCode code, std::string detail) : code_(code), detail_(std::move(detail)) {
  Compose();
}

Error Error::Damaged(PageNumber page, std::string detail) {
  Error error(ErrorCode::kDamaged, std::move(detail));
  error.page_ = page;
  error.Compose();
  return error;
}

Error& Error::In(std::string_view file) {
  if (file_.empty()) file_ = file;
  Compose();
  return *this;
}

Error& Error::OfTable(std::string_view table) {
  if (table_.empty()) table_ = table;
  Compose();
  return *this;
}

Error& Error::OfColumn(std::string_view column) {
  if (column_.empty()) column_ = column;
  Compose();
  return *this;
}

void Error::Compose() {
  text_.clear();
  if (!file_.empty()) text_ += file_ + ": ";
  if (!table_.empty()) text_ += fmt::format("table {}: ", table_);
  if (!column_.empty()) text_ += fmt::format("column {}: ", column_);
  text_ += ErrorText(code_);
  if (page_) text_ += fmt::format(" (page {})", page_->value);
  if (!detail_.empty()) text_ += ": " + detail_;
  text_ = WithoutZeros(std::move(text_));
}

std::string WithoutZeros(std::string text) {
  constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
  for (std::size_t at = 0; (at = text.find('\0', at)) != text.npos; at += kReplacement.size()) {
    text.replace(at, 1, kReplacement);
  }
  return text;
}

}  // namespace jet
