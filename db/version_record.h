// The version record: the number in field Ver_No of the first row of table
// ﾊﾞｰｼﾞｮﾝ番号. It may be of any type; what counts is the number at the start of
// its text, 0 if there is none.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "ado/connection.h"

namespace db {

inline constexpr std::string_view kVersionTable = "ﾊﾞｰｼﾞｮﾝ番号";
inline constexpr std::string_view kVersionField = "Ver_No";

// Through a session. Throws ado::Error, among them 3021 for an empty table and 94
// for Null. The record is read twice: for `show`, and for the result.
double ReadVersion(ado::Connection& connection, const std::function<void(double)>& show = {});
void WriteVersion(ado::Connection& connection, double version);

// Of a database that is open without a session. Nothing where there is none to read.
std::optional<double> FindVersion(jet::Database& database);
// Adds the row where the table is empty. Throws jet::Error, ado::Error.
void StoreVersion(jet::Database& database, double version);

// A version as captions show it: " Ver 13.5".
std::string VersionCaption(double version);

}  // namespace db
