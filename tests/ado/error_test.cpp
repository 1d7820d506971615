#include "ado/error.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ado::Error;
using jet::ErrorCode;
using ::testing::AnyOf;
using ::testing::HasSubstr;
using ::testing::Not;

TEST(ProviderErrors, EveryErrorOfTheEngineHasANumberAndNamesItsPlace) {
  for (int code = 0; code <= static_cast<int>(ErrorCode::kNotSupported); ++code) {
    SCOPED_TRACE(code);
    jet::Error engine(static_cast<ErrorCode>(code), "the detail");
    const std::string bare = Error::From(engine).text();
    EXPECT_THAT(bare, Not(AnyOf(HasSubstr("{"), HasSubstr("''"), HasSubstr("（）"))));
    engine.In("C:\\W\\Data.mdb").OfTable("Spec_補強名称").OfColumn("転送名称");
    const Error named = Error::From(engine);
    EXPECT_NE(named.number(), 0);
    EXPECT_EQ(named.cause(), static_cast<ErrorCode>(code));
    EXPECT_STREQ(named.what(), named.text().c_str());
    EXPECT_THAT(named.text(), AnyOf(HasSubstr("'C:\\W\\Data.mdb'"), HasSubstr("'Spec_補強名称'"),
                                    HasSubstr("'転送名称'")));
    EXPECT_THAT(named.text(), Not(HasSubstr("{")));
  }
}

TEST(ProviderErrors, NumbersAreThoseThatTheProviderGives) {
  const std::pair<ErrorCode, ado::ErrorNumber> cases[] = {
      {ErrorCode::kFileNotFound, -2147467259}, {ErrorCode::kInUse, -2147467259},
      {ErrorCode::kDamaged, -2147467259},      {ErrorCode::kWrongPassword, -2147217843},
      {ErrorCode::kTableMissing, -2147217865}, {ErrorCode::kNameTaken, -2147217857},
      {ErrorCode::kColumnExists, -2147217858}, {ErrorCode::kDuplicateKey, -2147217887},
      {ErrorCode::kRequired, -2147217887},     {ErrorCode::kTextTooLong, -2147217887},
      {ErrorCode::kColumnMissing, 3265},
  };
  for (const auto& [code, number] : cases) {
    EXPECT_EQ(Error::From(jet::Error(code)).number(), number) << static_cast<int>(code);
  }
  EXPECT_THAT(Error::From(jet::Error::Damaged(jet::PageNumber{12}, "why")).text(),
              AllOf(HasSubstr("ページ 12 "), HasSubstr("why")));
}

TEST(ProviderErrors, FixedTextsAreLetterByLetter) {
  const std::pair<ado::ErrorNumber, const char*> cases[] = {
      {3265, "要求された名前、または序数に対応する項目がコレクションで見つかりません。"},
      {3021,
       "BOF と EOF のいずれかが True "
       "になっているか、または現在のレコードが削除されています。要求された操作には、現在のレコード"
       "が必要です。"},
      {6, "オーバーフローしました。"},
      {5, "プロシージャの呼び出し、または引数が不正です。"},
      {94, "Null の使い方が不正です。"},
  };
  for (const auto& [number, text] : cases) EXPECT_EQ(Error::Standard(number).text(), text);
  EXPECT_THAT(Error::Standard(ado::kErrItemNotFound, "工法").text(), HasSubstr("'工法'"));
  EXPECT_EQ(Error::Standard(ado::kErrItemNotFound).cause(), std::nullopt);
}

}  // namespace
