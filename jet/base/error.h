// The one exception type of the engine. A code for the caller to decide by, the places
// it concerns, and a detail for people, in English and UTF-8; nothing here prints. An
// error owns its texts: it may outlive the database, and go to another thread.
#pragma once

#include <exception>
#include <optional>
#include <string>
#include <string_view>

#include "jet/base/types.h"

namespace jet {

enum class ErrorCode {
  // The file as a whole. Nothing was changed.
  kFileNotFound,
  kNoPermission,
  kInUse,    // another program holds the file or its lock file
  kNotJet4,  // another format or version, empty, or cut short
  kWrongPassword,
  kNeedsRepair,  // the mark of an unfinished write, by a program that is not us
  kIo,           // the system refused to read or write
  kUnfinished,   // a save was interrupted; what is missing is done at the next open
  kUncertain,    // a save failed and could not be taken back: the next open decides
  kDiskFull,
  kFileTooLarge,  // 2 GB, or more changes than one action may hold
  kReadOnly,      // a change through a file opened to read

  // The contents. The operation was undone.
  kDamaged,       // a structure contradicts itself; page() says where
  kTableMissing,  // no table or query of that name
  kNameTaken,     // a table or query of that name exists
  kColumnMissing,
  kColumnExists,
  kIndexExists,
  kBadName,  // empty, too long, or with a character that names must not have
  kTooManyColumns,
  kTooManyIndexes,
  kRowTooLong,   // over the record limit
  kTextTooLong,  // over the column's size
  kOutOfRange,   // a number that the column cannot hold
  kWrongType,    // a value of a type that the column does not take
  kBadText,      // not valid UTF-8
  kRequired,     // Null in a required column
  kZeroLength,   // an empty text where the column forbids it
  kDuplicateKey,
  kNullKey,       // Null in a primary key
  kKeyTooLong,    // an index entry over 510 bytes
  kUnsortable,    // no proven sort key for this text or order
  kNotSupported,  // linked tables, default expressions and the like
};

// `text` as a C string can hold it whole: names in damaged files may hold zeros.
std::string WithoutZeros(std::string text);

class Error : public std::exception {
 public:
  explicit Error(ErrorCode code, std::string detail = {});
  static Error Damaged(PageNumber page, std::string detail);

  ErrorCode code() const { return code_; }
  const std::string& detail() const { return detail_; }
  const std::string& file() const { return file_; }
  const std::string& table() const { return table_; }
  const std::string& column() const { return column_; }  // or index
  std::optional<PageNumber> page() const { return page_; }

  // Name a place that is not named yet. Return *this, to be thrown.
  Error& In(std::string_view file);
  Error& OfTable(std::string_view table);
  Error& OfColumn(std::string_view column);

  // One English line with everything above.
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  void Compose();
  ErrorCode code_;
  std::string detail_, file_, table_, column_;
  std::optional<PageNumber> page_;
  std::string text_;
};

// What an error concerns, as far as it is known.
struct Places {
  std::string_view file{}, table{}, column{};
};

// Runs `action`; an error that leaves it names `places`, those that it does not name yet.
template <class Action>
auto Named(const Places& places, Action&& action) -> decltype(action()) {
  try {
    return action();
  } catch (Error& error) {
    error.In(places.file).OfTable(places.table).OfColumn(places.column);
    throw;
  }
}

// The text that stands for a code when nothing else is known ("wrong password").
std::string_view ErrorText(ErrorCode code);

}  // namespace jet
