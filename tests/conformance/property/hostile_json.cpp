#include "conformance/property/hostile_json.h"

#include <array>
#include <cstdint>
#include <json/writer.h>
#include <limits>
#include <string_view>

namespace OrvaTest {

namespace {

using namespace std::string_view_literals;

constexpr std::uint32_t MAX_LEVELS = 4;

constexpr std::array TEXTS{""sv,
                           "a"sv,
                           "["sv,
                           "]"sv,
                           "[]"sv,
                           "[alpha"sv,
                           "[alpha][beta]"sv,
                           "alpha]["sv,
                           "%"sv,
                           "_"sv,
                           "'"sv,
                           "''; --"sv,
                           "\""sv,
                           "\\"sv,
                           "/"sv,
                           "//"sv,
                           "../.."sv,
                           "logs"sv,
                           "logs/"sv,
                           "logs/../etc"sv,
                           "%s%s%n%n"sv,
                           "%1$*2$d"sv,
                           "\n"sv,
                           "alpha\0beta"sv,
                           "\0"sv,
                           "\xff\xfe"sv,
                           "\xc3\x28"sv,
                           "\xed\xa0\x80"sv,
                           "\xf4\x90\x80\x80"sv,
                           "\xc0\xaf"sv,
                           "caf\xc3\xa9"sv,
                           "0"sv,
                           "-1"sv,
                           "4294967296"sv,
                           "99999999999999999999"sv,
                           "1e999"sv,
                           "true"sv,
                           "null"sv,
                           "{}"sv,
                           "normal"sv,
                           "by_signal"sv,
                           "stop"sv,
                           "continue"sv,
                           "script"sv,
                           "bootup"sv,
                           "eorvascheduler"sv,
                           "alpha"sv,
                           "beta"sv,
                           "gamma"sv,
                           "delta"sv,
                           "a@example.com,,b@example.com"sv,
                           "orvaSqlWhereFilter"sv,
                           "1=1"sv,
                           "task_name"sv,
                           "$(id)"sv};

constexpr std::array<std::int64_t, 18> INTEGERS{0,
                                                1,
                                                -1,
                                                -5,
                                                2,
                                                3,
                                                127,
                                                255,
                                                0xffff,
                                                0x137f,
                                                1'000,
                                                1'700'000'000,
                                                std::numeric_limits<std::int32_t>::max(),
                                                std::numeric_limits<std::int32_t>::min(),
                                                std::int64_t{1} << 31,
                                                std::int64_t{1} << 32,
                                                std::numeric_limits<std::int64_t>::max(),
                                                std::numeric_limits<std::int64_t>::min()};

constexpr std::array REALS{0.0,
                           -0.0,
                           0.7,
                           -0.5,
                           1.0,
                           2147483648.0,
                           -2147483649.0,
                           9223372036854775808.0,
                           1e19,
                           1e308,
                           -1e308,
                           std::numeric_limits<double>::denorm_min(),
                           std::numeric_limits<double>::infinity(),
                           -std::numeric_limits<double>::infinity(),
                           std::numeric_limits<double>::quiet_NaN()};

template <class Table>
auto pick(Choices& choices, const Table& table) {
  return table[choices.below(static_cast<std::uint32_t>(table.size()))];
}

Json::Value textValue(const std::string& strText) {
  return Json::Value(strText.data(), strText.data() + strText.size());
}

Json::Value hostileScalar(Choices& choices) {
  switch (choices.below(8)) {
    case 0:
      return Json::Value();
    case 1:
      return Json::Value(choices.oneIn(2));
    case 2:
      return Json::Value(static_cast<Json::Int64>(pick(choices, INTEGERS)));
    case 3:
      return Json::Value(std::numeric_limits<Json::UInt64>::max() - choices.below(3));
    case 4:
      return Json::Value(pick(choices, REALS));
    default:
      return textValue(hostileText(choices));
  }
}

Json::Value nested(Choices& choices) {
  const std::uint32_t cLevels = choices.oneIn(2) ? 990 + choices.below(200) : 5 + choices.below(60);
  const bool blObjects = choices.oneIn(2);
  Json::Value jInner = hostileScalar(choices);
  for (std::uint32_t i = 0; i < cLevels; ++i) {
    Json::Value jOuter;
    (blObjects ? jOuter["x"] : jOuter[0U]).swap(jInner);
    jInner.swap(jOuter);
  }
  return jInner;
}

Json::Value hostileTree(Choices& choices, std::uint32_t cLevels) {
  const std::uint32_t uKind = choices.below(8);
  if (cLevels == 0 || uKind > 2) {
    return hostileScalar(choices);
  }
  if (uKind == 2 && choices.oneIn(16)) {
    return nested(choices);
  }
  Json::Value jTree(uKind == 0 ? Json::arrayValue : Json::objectValue);
  for (std::uint32_t cMembers = choices.below(5); cMembers > 0; --cMembers) {
    if (uKind == 0) {
      jTree.append(hostileTree(choices, cLevels - 1));
    } else {
      jTree[hostileText(choices)] = hostileTree(choices, cLevels - 1);
    }
  }
  return jTree;
}

void spoilPlace(Choices& choices, Json::Value& jWhole);

// Replaces the value, or changes a place inside it.
void spoilAt(Choices& choices, Json::Value& jPlace) {
  const bool blGoesDown = jPlace.isObject() || jPlace.isArray();
  if (blGoesDown && !choices.oneIn(3)) {
    spoilPlace(choices, jPlace);
  } else {
    jPlace = hostileTree(choices, MAX_LEVELS);
  }
}

// Adds, drops or spoils one member of an object or one element of an array.
void spoilPlace(Choices& choices, Json::Value& jWhole) {
  if (jWhole.empty() || choices.oneIn(6)) {
    (jWhole.isArray() ? jWhole.append(Json::Value()) : jWhole[hostileText(choices)]) = hostileTree(choices, MAX_LEVELS);
  } else if (jWhole.isArray()) {
    spoilAt(choices, jWhole[choices.below(jWhole.size())]);
  } else {
    const auto names = jWhole.getMemberNames();
    const std::string strName = names[choices.below(static_cast<std::uint32_t>(names.size()))];
    if (choices.oneIn(4)) {
      jWhole.removeMember(strName);
    } else {
      spoilAt(choices, jWhole[strName]);
    }
  }
}

}  // namespace

std::string hostileText(Choices& choices) {
  if (choices.oneIn(64)) {
    constexpr std::array<std::size_t, 6> LENGTHS{64, 255, 256, 4095, 4096, 70'000};
    return std::string(pick(choices, LENGTHS), choices.oneIn(2) ? 'x' : '/');
  }
  std::string strText(pick(choices, TEXTS));
  while (choices.oneIn(8)) {
    strText += pick(choices, TEXTS);
  }
  return strText;
}

Json::Value hostileValue(Choices& choices) {
  return hostileTree(choices, MAX_LEVELS);
}

Json::Value spoiled(Choices& choices, const Json::Value& jValid) {
  if (choices.oneIn(16)) {
    return hostileTree(choices, MAX_LEVELS);
  }
  Json::Value jSpoiled(jValid);
  for (std::uint32_t cPlaces = 3 - choices.below(4); cPlaces > 0; --cPlaces) {
    spoilPlace(choices, jSpoiled);
  }
  return jSpoiled;
}

std::string hostileFileText(Choices& choices, const Json::Value& jValid) {
  if (choices.oneIn(16)) {
    return hostileText(choices);
  }
  static const Json::StreamWriterBuilder builder;
  std::string strText = Json::writeString(builder, spoiled(choices, jValid));
  switch (choices.below(16)) {
    case 0:
      strText.resize(choices.below(static_cast<std::uint32_t>(strText.size()) + 1));
      break;
    case 1:
      strText += hostileText(choices);
      break;
    case 2:
      strText.insert(strText.find('{') + 1, R"("type": 1, "type": "eorvascheduler",)");
      break;
    case 3:
      strText[choices.below(static_cast<std::uint32_t>(strText.size()))] = static_cast<char>(choices.below(256));
      break;
    default:
      break;
  }
  return strText;
}

}  // namespace OrvaTest
