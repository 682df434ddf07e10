// Reads of JSON values that must not throw, compared with JsonCpp's own conversions.

#include "support/json_read.h"

#include <cmath>
#include <limits>

#include "fakes/eorva_test.h"
#include "store/json_file.h"

using namespace OrvaTest;
using namespace Orva;

namespace {

std::vector<Json::Value> valuesOfEveryKind() {
  std::vector<Json::Value> values = {Json::Value(),
                                     json("{}"),
                                     json("{'k': null}"),
                                     json("{'k': 1}"),
                                     json("[]"),
                                     json("[1, 'k']"),
                                     "",
                                     "k",
                                     "17",
                                     true,
                                     false,
                                     0,
                                     -1,
                                     Json::Value(std::numeric_limits<Json::Int64>::min()),
                                     Json::Value(std::numeric_limits<Json::Int64>::max()),
                                     Json::Value(static_cast<Json::UInt64>(1) << 63U),
                                     Json::Value(std::numeric_limits<Json::UInt64>::max())};
  for (const double dValue : {0.0, 1.9, -1.9, 1e18, 9223372036854774784.0, 9223372036854775808.0,
                              -9223372036854775808.0, -9223372036854777856.0, 1e300, HUGE_VAL, -HUGE_VAL}) {
    values.emplace_back(dValue);
  }
  values.emplace_back(std::numeric_limits<double>::quiet_NaN());
  return values;
}

template <typename Read>
bool works(Read&& read) {
  try {
    read();
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace

TEST(JsonRead, IntegersAreReadableWhenTheConversionDoesNotThrow) {
  for (const Json::Value& jValue : valuesOfEveryKind()) {
    // JsonCpp's conversion accepts 2^63 as a real, with a wrong result.
    if (!jValue.isDouble() || jValue.isInt64() || jValue.asDouble() != 9223372036854775808.0) {
      EXPECT_EQ(isInt64Like(jValue), works([&] { return jValue.asInt64(); })) << toString(jValue);
    }
  }
}

TEST(JsonRead, IntegersOutOf64BitsAndNoNumbersAreNotReadable) {
  for (const double dValue : {9223372036854775808.0, 1e300, HUGE_VAL, -HUGE_VAL, -9223372036854777856.0,
                              std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_FALSE(isInt64Like(Json::Value(dValue))) << dValue;
  }
  EXPECT_FALSE(isInt64Like(Json::Value(static_cast<Json::UInt64>(1) << 63U)));
  EXPECT_FALSE(isInt64Like(Json::Value("17")));
  EXPECT_TRUE(isInt64Like(Json::Value()));
}

TEST(JsonRead, TextsAreReadableWhenTheConversionDoesNotThrow) {
  for (const Json::Value& jValue : valuesOfEveryKind()) {
    EXPECT_EQ(isTextLike(jValue), works([&] { return jValue.asString(); })) << toString(jValue);
  }
}

TEST(JsonRead, BooleansAreReadableWhenTheConversionDoesNotThrow) {
  for (const Json::Value& jValue : valuesOfEveryKind()) {
    EXPECT_EQ(isBoolLike(jValue), works([&] { return jValue.asBool(); })) << toString(jValue);
  }
}

TEST(JsonRead, OnlyObjectsHaveMembers) {
  for (const Json::Value& jValue : valuesOfEveryKind()) {
    const bool blExpected = jValue.isObject() && jValue.size() == 1;
    EXPECT_EQ(hasMember(jValue, "k"), blExpected) << toString(jValue);
    EXPECT_EQ(isObjectOrNull(jValue), jValue.isObject() || jValue.isNull()) << toString(jValue);
  }
}

TEST(JsonRead, MissingMemberIsNullAndIsNotInserted) {
  for (const Json::Value& jValue : valuesOfEveryKind()) {
    Json::Value jRead = jValue;
    EXPECT_TRUE(memberOf(jRead, "missing").isNull());
    EXPECT_EQ(toString(jRead), toString(jValue));
  }
  EXPECT_EQ(memberOf(json("{'k': [1]}"), "k"), json("[1]"));
}

TEST(JsonRead, AnyValueHasATextForALogLine) {
  EXPECT_EQ(textOf(Json::Value("a")), "a");
  EXPECT_EQ(textOf(Json::Value(17)), "17");
  EXPECT_EQ(textOf(Json::Value(true)), "true");
  for (const char* szValue : {"null", "{}", "[]", "{'a': 1}", "['a']", "''"}) {
    EXPECT_EQ(textOf(json(szValue)), "") << szValue;
  }
}
