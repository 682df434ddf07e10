// Copying the members of one object into another.

#include "record_store_fixture.h"

using testing::ElementsAre;

namespace {

struct Refused {
  const char* szTarget;
  const char* szSource;
  const char* szWhich;
};

std::string copied(const char* szTarget, const char* szSource, bool blOverwrite) {
  Json::Value jTarget = parse(szTarget);
  const Json::Value jSource = parse(szSource);
  EXPECT_EQ(0, ORVA_JSON_DB::jsonCopyMember(jTarget, jSource, blOverwrite));
  EXPECT_EQ(parse(szSource), jSource);
  return text(jTarget);
}

}  // namespace

TEST(CopyMember, ReplacesMembersOfTheSameName) {
  EXPECT_EQ(R"({"a":2,"b":{"c":[1]},"d":0})", copied(R"({"a":1,"d":0})", R"({"a":2,"b":{"c":[1]}})", true));
}

TEST(CopyMember, KeepsMembersOfTheSameNameWhenAskedTo) {
  EXPECT_EQ(R"({"a":1,"b":3,"n":null})", copied(R"({"a":1,"n":null})", R"({"a":2,"b":3,"n":4})", false));
}

TEST(CopyMember, NullTargetBecomesAnObject) {
  EXPECT_EQ(R"({"a":null})", copied("null", R"({"a":null})", true));
  EXPECT_EQ("{}", copied("null", "{}", true));
  EXPECT_EQ("{}", copied("{}", "{}", false));
}

TEST(CopyMember, NamesOfAnyBytesAreCopied) {
  using namespace std::string_literals;
  Json::Value jSource;
  jSource["a\0b"s] = 1;
  jSource[""] = 2;
  jSource["\xff"] = 3;
  Json::Value jTarget;
  EXPECT_EQ(0, ORVA_JSON_DB::jsonCopyMember(jTarget, jSource, true));
  EXPECT_EQ(jSource, jTarget);
}

TEST(CopyMember, OneValueMayBePartOfTheOther) {
  Json::Value jValue = parse(R"({"a":{"a":{"x":1},"b":2},"c":3})");
  EXPECT_EQ(0, ORVA_JSON_DB::jsonCopyMember(jValue, jValue["a"], true));
  EXPECT_EQ(R"({"a":{"x":1},"b":2,"c":3})", text(jValue));
  jValue = parse(R"({"a":{"x":1},"c":3})");
  EXPECT_EQ(0, ORVA_JSON_DB::jsonCopyMember(jValue["a"], jValue, true));
  EXPECT_EQ(R"({"a":{"a":{"x":1},"c":3,"x":1},"c":3})", text(jValue));
  jValue = parse(R"({"a":1,"b":[2]})");
  EXPECT_EQ(0, ORVA_JSON_DB::jsonCopyMember(jValue, jValue, true));
  EXPECT_EQ(R"({"a":1,"b":[2]})", text(jValue));
}

TEST(CopyMember, OtherTypesAreRefusedAndLeftAsTheyAre) {
  for (const Refused& refused : std::vector<Refused>{{"[]", "{}", "target"},
                                                     {"7", "{}", "target"},
                                                     {"\"x\"", "{}", "target"},
                                                     {"{}", "null", "source"},
                                                     {"{}", "[]", "source"},
                                                     {"{}", "true", "source"},
                                                     {"1", "2", "source"}}) {
    Json::Value jTarget = parse(refused.szTarget);
    EXPECT_EQ(-1, ORVA_JSON_DB::jsonCopyMember(jTarget, parse(refused.szSource), true));
    EXPECT_EQ(parse(refused.szTarget), jTarget);
    EXPECT_EQ(EINVAL, KLIBCErrGet());
    EXPECT_THAT(takeLogLines(), ElementsAre(std::string("3 orvaplatform: copy of members: the ") + refused.szWhich +
                                            " is not an object"));
  }
}
