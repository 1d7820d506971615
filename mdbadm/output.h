// What the program writes on standard output: lists, as tab-separated lines or
// as JSON.
#pragma once

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "jet/base/value.h"
#include "jet/database/property.h"

namespace mdbadm {

using Json = nlohmann::ordered_json;

// Everything goes through here; nothing is printed before it must.
void Print(std::string_view text);
// False if standard output does not take it.
bool Flush();

// One line: a tab-separated cell. Yes/no for Booleans, \N for null.
std::string Cell(const Json& value);
std::string Escaped(std::string_view text);
void AppendEscaped(std::string& line, std::string_view text);

// A field's value, as JSON and as a cell. `scale` is that of a Numeric column.
Json ToJson(const jet::Value& value, int scale = 0);
Json ToJson(const jet::Property& property);
// A stored version: a whole number wherever it is one.
Json VersionNumber(double version);
void AppendCell(std::string& line, const jet::Value& value, int scale = 0);
// The same cell as of the Value, faster.
void AppendNumber(std::string& line, double number);
// The same into a buffer that has room for so many bytes. Returns the end.
inline constexpr std::size_t kMaxNumberBytes = 32;
char* PutNumber(char* at, double number);

// An array that is printed object by object, and closed whatever ends it.
class JsonArray {
 public:
  JsonArray() { Print("["); }
  ~JsonArray() { Print("\n]\n"); }
  JsonArray(const JsonArray&) = delete;
  JsonArray& operator=(const JsonArray&) = delete;
  void Add(const Json& object);

 private:
  bool first_ = true;
};

// A list of rows with named fields, printed row by row: a line of names and one
// a row, or an array of objects.
class Listing {
 public:
  Listing(bool json, std::vector<std::string> names);
  void Add(const std::vector<Json>& row);

 private:
  std::optional<JsonArray> array_;  // with JSON
  std::vector<std::string> names_;
};

// One object: a line "name<tab>value" a field, or a JSON object.
void PrintObject(bool json, const Json& object);

// A line on standard error that the next one overwrites, where that is a
// terminal; empty: wiped out.
void ShowProgress(std::string_view text);

std::string Dump(const Json& value);

}  // namespace mdbadm
