#include "jet/database/property.h"

#include <algorithm>

#include "jet/base/bytes.h"
#include "jet/base/text.h"
#include "jet/sort/name.h"

namespace jet {

namespace {

constexpr std::uint8_t kMagic[] = {0x4D, 0x52, 0x32, 0x00};  // "MR2"

constexpr std::uint16_t kObjectChunk = 0x00;
constexpr std::uint16_t kColumnChunk = 0x01;
constexpr std::uint16_t kNamesChunk = 0x80;

constexpr std::size_t kChunkHeader = 6;  // u32 length, u16 kind
constexpr std::size_t kOwnerHeader = 6;  // u32 length, u16 bytes of the column's name
constexpr std::size_t kEntryHeader = 8;  // u16 length, ddl, type, u16 name, u16 value bytes
constexpr std::size_t kMaxValue = 0xFFFF - kEntryHeader;

[[noreturn]] void ThrowBadBlob(const char* why) {
  throw Error(ErrorCode::kDamaged, std::string("property blob: ") + why);
}

std::vector<std::string> ParseNames(ByteView body) {
  std::vector<std::string> names;
  for (std::size_t at = 0; at < body.size();) {
    const std::size_t length = GetU16(body, at);
    names.push_back(DecodePlain(Slice(body, at + 2, length)));
    at += 2 + length;
  }
  return names;
}

Properties::Group ParseGroup(std::uint16_t kind, ByteView body,
                             const std::vector<std::string>& names) {
  Properties::Group group;
  group.kind = kind;
  const std::size_t owner = GetU32(body, 0);
  const std::size_t name_bytes = GetU16(body, 4);
  if (owner < kOwnerHeader + name_bytes) ThrowBadBlob("the owner's name does not fit");
  group.column = DecodePlain(Slice(body, kOwnerHeader, name_bytes));
  const ByteView tail = Slice(body, kOwnerHeader + name_bytes, owner - kOwnerHeader - name_bytes);
  group.header_tail.assign(tail.begin(), tail.end());

  for (std::size_t at = owner; at < body.size();) {
    const std::size_t length = GetU16(body, at);
    if (length < kEntryHeader) ThrowBadBlob("an entry is shorter than its header");
    const ByteView entry = Slice(body, at, length);
    const std::size_t name = GetU16(entry, 4);
    const std::size_t value_bytes = GetU16(entry, 6);
    if (name >= names.size()) ThrowBadBlob("an entry names no name");
    if (length != kEntryHeader + value_bytes) ThrowBadBlob("an entry's lengths disagree");
    Property property;
    property.name = names[name];
    property.ddl = entry[2];
    property.type = static_cast<ColumnType>(entry[3]);
    property.value.assign(entry.begin() + kEntryHeader, entry.end());
    group.values.push_back(std::move(property));
    at += length;
  }
  return group;
}

void AddChunk(Bytes& out, std::uint16_t kind, ByteView body) {
  AddU32(out, static_cast<std::uint32_t>(kChunkHeader + body.size()));
  AddU16(out, kind);
  AddBytes(out, body);
}

void AddName(Bytes& out, const std::string& name) {
  const Bytes plain = EncodePlain(ToUtf16(name));
  AddU16(out, plain.size());
  AddBytes(out, plain);
}

}  // namespace

std::string Property::Text() const { return DecodePlain(value); }

bool Property::Boolean() const { return !value.empty() && value[0] != 0; }

Properties Properties::Parse(ByteView blob) {
  if (blob.size() < sizeof kMagic || !std::equal(kMagic, kMagic + sizeof kMagic, blob.begin())) {
    ThrowBadBlob("it does not start with MR2");
  }
  Properties properties;
  for (std::size_t at = sizeof kMagic; at < blob.size();) {
    const std::size_t length = GetU32(blob, at);
    if (length < kChunkHeader) ThrowBadBlob("a chunk is shorter than its header");
    const ByteView chunk = Slice(blob, at, length);
    const std::uint16_t kind = GetU16(chunk, 4);
    const ByteView body = chunk.subspan(kChunkHeader);
    if (kind == kNamesChunk) {
      for (std::string& name : ParseNames(body)) properties.names_.push_back(std::move(name));
    } else if (kind == kObjectChunk || kind == kColumnChunk) {
      properties.groups_.push_back(ParseGroup(kind, body, properties.names_));
    } else {
      properties.unknown_chunks_.emplace_back(kind, Bytes(body.begin(), body.end()));
    }
    at += length;
  }
  return properties;
}

Bytes Properties::Serialize() const {
  Bytes out(std::begin(kMagic), std::end(kMagic));
  Bytes body;
  for (const std::string& name : names_) AddName(body, name);
  AddChunk(out, kNamesChunk, body);
  for (const Group& group : groups_) {
    body.clear();
    const Bytes owner = EncodePlain(ToUtf16(group.column));
    AddU32(body,
           static_cast<std::uint32_t>(kOwnerHeader + owner.size() + group.header_tail.size()));
    AddU16(body, owner.size());
    AddBytes(body, owner);
    AddBytes(body, group.header_tail);
    for (const Property& property : group.values) {
      const auto name = std::find(names_.begin(), names_.end(), property.name);
      AddU16(body, kEntryHeader + property.value.size());
      AddU8(body, property.ddl);
      AddU8(body, static_cast<std::uint8_t>(property.type));
      AddU16(body, static_cast<std::size_t>(name - names_.begin()));
      AddU16(body, property.value.size());
      AddBytes(body, property.value);
    }
    AddChunk(out, group.kind, body);
  }
  for (const auto& [kind, bytes] : unknown_chunks_) AddChunk(out, kind, bytes);
  return out;
}

bool Properties::empty() const {
  return unknown_chunks_.empty() &&
         std::all_of(groups_.begin(), groups_.end(),
                     [](const Group& group) { return group.values.empty(); });
}

namespace {

// The group of a column (or of the object itself); groups.end() if there is none.
template <typename Groups>
auto FindGroup(Groups& groups, SortOrder order, std::string_view column) {
  const auto of_kind = [&](const Properties::Group& group) {
    return (group.kind == kColumnChunk) == !column.empty();
  };
  const auto exact = std::find_if(groups.begin(), groups.end(), [&](const auto& group) {
    return of_kind(group) && (column.empty() || group.column == column);
  });
  if (exact != groups.end() || column.empty()) return exact;
  return std::find_if(groups.begin(), groups.end(), [&](const auto& group) {
    return of_kind(group) && SameName(order, group.column, column);
  });
}

template <typename Values>
auto FindProperty(Values& values, std::string_view name) {
  return std::find_if(values.begin(), values.end(),
                      [&](const Property& property) { return property.name == name; });
}

}  // namespace

const Property* Properties::Find(SortOrder order, std::string_view column,
                                 std::string_view name) const {
  const auto group = FindGroup(groups_, order, column);
  if (group == groups_.end()) return nullptr;
  const auto property = FindProperty(group->values, name);
  return property == group->values.end() ? nullptr : &*property;
}

Property& Properties::Put(SortOrder order, std::string_view column, std::string_view name) {
  auto group = FindGroup(groups_, order, column);
  if (group == groups_.end()) {
    Group fresh;
    fresh.column = column;
    fresh.kind = column.empty() ? kObjectChunk : kColumnChunk;
    group = groups_.insert(column.empty() ? groups_.begin() : groups_.end(), std::move(fresh));
  }
  if (std::find(names_.begin(), names_.end(), name) == names_.end()) names_.emplace_back(name);
  auto& values = group->values;
  if (auto there = FindProperty(values, name); there != values.end()) return *there;
  // Designers write the default before the required mark; so do we.
  const auto place =
      name == kDefaultValueProperty ? FindProperty(values, kRequiredProperty) : values.end();
  Property property;
  property.name = name;
  return *values.insert(place, std::move(property));
}

void Properties::SetBoolean(SortOrder order, std::string_view column, std::string_view name,
                            bool value) {
  Property& property = Put(order, column, name);
  property.type = ColumnType::kBoolean;
  property.value = {static_cast<std::uint8_t>(value ? 1 : 0)};
}

void Properties::SetText(SortOrder order, std::string_view column, std::string_view name,
                         ColumnType type, std::uint8_t ddl, std::string_view value) {
  Bytes plain = EncodePlain(ToUtf16(value));
  if (plain.size() > kMaxValue) {
    throw Error(ErrorCode::kTextTooLong, "property " + std::string(name)).OfColumn(column);
  }
  Property& property = Put(order, column, name);
  property.type = type;
  property.ddl = ddl;
  property.value = std::move(plain);
}

void Properties::Remove(SortOrder order, std::string_view column, std::string_view name) {
  const auto group = FindGroup(groups_, order, column);
  if (group == groups_.end()) return;
  const auto property = FindProperty(group->values, name);
  if (property == group->values.end()) return;
  group->values.erase(property);
  if (group->values.empty()) groups_.erase(group);
}

bool Properties::RemoveColumn(SortOrder order, std::string_view column) {
  const auto group = FindGroup(groups_, order, column);
  if (column.empty() || group == groups_.end()) return false;
  groups_.erase(group);
  return true;
}

}  // namespace jet
