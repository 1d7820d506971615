#include "jet/database/property.h"

#include <gtest/gtest.h>

#include "jet/base/bytes.h"
#include "tests/support/jet_fixture.h"

namespace jet {
namespace {

using namespace test_support;

// The smallest blob of a real file: one binary value of the object itself.
const Bytes kSmallest = {0x4D, 0x52, 0x32, 0x00, 0x0E, 0x00, 0x00, 0x00, 0x80, 0x00, 0x06,
                         0x00, 0x44, 0x00, 0x4F, 0x00, 0x4C, 0x00, 0x18, 0x00, 0x00, 0x00,
                         0x00, 0x00, 0x06, 0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x00, 0x00,
                         0x0B, 0x00, 0x00, 0x04, 0x00, 0x0A, 0xCC, 0x0E, 0x55};

std::optional<ErrorCode> CodeOfParsing(ByteView blob) {
  return CodeOf([&] { Properties::Parse(blob); });
}

TEST(Properties, ReadsWritesAndEditsABlob) {
  Properties properties = Properties::Parse(kSmallest);
  EXPECT_EQ(properties.Serialize(), kSmallest);
  ASSERT_NE(properties.Find(kGeneral, {}, "DOL"), nullptr);
  EXPECT_EQ(properties.Find(kGeneral, {}, "DOL")->value, (Bytes{0x0A, 0xCC, 0x0E, 0x55}));
  EXPECT_EQ(properties.Find(kGeneral, "DOL", "DOL"), nullptr);

  properties.SetBoolean(kJapanese, "ﾊｾﾞ", kRequiredProperty, true);
  // Found whatever its width; the default goes before the required mark.
  properties.SetText(kJapanese, "ハゼ", kDefaultValueProperty, ColumnType::kMemo, 1, "\"共板\"");
  const Properties again = Properties::Parse(properties.Serialize());
  EXPECT_EQ(again.Serialize(), properties.Serialize());
  ASSERT_EQ(again.groups().size(), 2u);
  const Properties::Group& column = again.groups()[1];
  EXPECT_EQ(column.column, "ﾊｾﾞ");
  ASSERT_EQ(column.values.size(), 2u);
  EXPECT_EQ(column.values[0].name, kDefaultValueProperty);
  EXPECT_EQ(column.values[0].Text(), "\"共板\"");
  EXPECT_TRUE(column.values[1].Boolean());

  properties.Remove(kJapanese, "ハゼ", kRequiredProperty);
  EXPECT_EQ(properties.Find(kJapanese, "ﾊｾﾞ", kRequiredProperty), nullptr);
  Properties bare = properties;
  bare.Remove(kJapanese, "ハゼ", kDefaultValueProperty);
  EXPECT_EQ(bare.groups().size(), 1u) << "a column without values has no chunk";
  EXPECT_TRUE(properties.RemoveColumn(kJapanese, "ハゼ"));
  EXPECT_FALSE(properties.RemoveColumn(kJapanese, "ハゼ"));
  properties.Remove(kJapanese, {}, "DOL");
  EXPECT_TRUE(properties.empty());
}

TEST(Properties, KeepChunksAndHeadersThatWeDoNotKnow) {
  Bytes blob = kSmallest;
  AddBytes(blob, Bytes{0x08, 0, 0, 0, 0x33, 0, 0xAB, 0xCD});  // a chunk of kind 33
  AddBytes(blob, Bytes{0x10, 0, 0, 0, 0x01, 0, 0x0A, 0, 0, 0, 0x02, 0, 0x41, 0, 0xEE, 0xFF});
  const Properties properties = Properties::Parse(blob);
  ASSERT_EQ(properties.groups().size(), 2u);
  EXPECT_EQ(properties.groups()[1].header_tail, (Bytes{0xEE, 0xFF}));
  const Bytes written = properties.Serialize();
  EXPECT_EQ(written.size(), blob.size());
  EXPECT_EQ(Properties::Parse(written).Serialize(), written);
  EXPECT_EQ(Bytes(written.end() - 8, written.end()), (Bytes{0x08, 0, 0, 0, 0x33, 0, 0xAB, 0xCD}));
}

TEST(Properties, CallEveryCutOrBentBlobDamaged) {
  EXPECT_EQ(CodeOfParsing({}), ErrorCode::kDamaged);
  for (std::size_t size = 5; size < kSmallest.size(); ++size) {
    if (size == 18) continue;  // the names alone are a whole blob
    EXPECT_EQ(CodeOfParsing(ByteView(kSmallest).first(size)), ErrorCode::kDamaged) << size;
  }
  // Magic, chunk length, name length, owner length, entry length, name number,
  // value length.
  for (std::size_t at : {0u, 4u, 10u, 24u, 30u, 34u, 36u}) {
    Bytes bent = kSmallest;
    bent[at] ^= 0x41;
    EXPECT_EQ(CodeOfParsing(bent), ErrorCode::kDamaged) << at;
  }
  Bytes bent = kSmallest;
  bent[34] = 1;  // there is one name, number 0
  EXPECT_EQ(CodeOfParsing(bent), ErrorCode::kDamaged);
  Properties properties;
  EXPECT_THROW(
      properties.SetText(kGeneral, {}, "x", ColumnType::kMemo, 0, std::string(32'764, 'x')), Error);
}

TEST(Properties, OfRealFilesComeBackByteForByte) {
  SKIP_WITHOUT_SAMPLES();
  std::size_t blobs = 0;
  ForEachSample([&](const std::string&, Database& database) {
    for (const Value& blob : FieldsOf(*database.OpenTable("MSysObjects"), "LvProp")) {
      if (IsNull(blob)) continue;
      ++blobs;
      EXPECT_EQ(Properties::Parse(std::get<Bytes>(blob)).Serialize(), std::get<Bytes>(blob));
    }
  });
  EXPECT_GT(blobs, 100u);
}

}  // namespace
}  // namespace jet
