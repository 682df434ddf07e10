// Setup and configuration: the functions that read and write the library's files.

#include <eorvascheduler.h>

#include "conformance/property/exports.h"
#include "conformance/property/hostile_json.h"
#include "fakes/call_text.h"
#include "fakes/fakes.h"

namespace OrvaTest {

namespace {

Json::Value filterByType() {
  Json::Value jFilter;
  jFilter["type"] = "eorvascheduler";
  return jFilter;
}

// The out value before the call: mostly a valid one, else anything.
Json::Value outValue(Choices& choices) {
  if (choices.oneIn(4)) {
    return hostileValue(choices);
  }
  return choices.oneIn(2) ? Json::Value() : Json::Value(Json::objectValue);
}

std::vector<std::string> callConfigGet(World& world, Choices& choices) {
  Watch watch(world, "configGet");
  Json::Value jIn = choices.oneIn(4) ? Json::Value() : spoiled(choices, filterByType());
  Json::Value jOut = outValue(choices);
  const std::string strBefore = compactJson(jOut);
  watch.run([&] { return configGet(jIn, jOut); });
  watch.expectOneOf({1, 0, -1});
  if (watch.failed()) {
    watch.expectUntouched("jOut", strBefore, compactJson(jOut));
  }
  return watch.broken();
}

std::vector<std::string> callConfigSet(World& world, Choices& choices) {
  Watch watch(world, "configSet");
  Json::Value jIn = spoiled(choices, validSection());
  const std::string strBefore = World::configText();
  watch.run([&] { return configSet(jIn); });
  watch.expectOneOf({0, -1});
  if (watch.failed() && fakes().faults() == 0) {
    watch.expectUntouched("the configuration file", strBefore, World::configText());
  }
  return watch.broken();
}

std::vector<std::string> callConfigInit(World& world, Choices& choices) {
  Watch watch(world, "configInit");
  if (choices.oneIn(2)) {
    World::removeConfig();
  }
  const std::string strBefore = World::configText();
  watch.run([] { return configInit(); });
  watch.expectOneOf({0, -1});
  if (!strBefore.empty()) {
    watch.expectUntouched("the configuration file", strBefore, World::configText());
  }
  return watch.broken();
}

std::vector<std::string> callRecConfigGet(World& world, Choices& choices) {
  Watch watch(world, "recConfigGet");
  Json::Value jConfig = outValue(choices);
  watch.run([&] { return recConfigGet(jConfig); });
  watch.expectOneOf({0, -1});
  return watch.broken();
}

std::vector<std::string> callEventList(World& world, Choices& choices) {
  Watch watch(world, "eventList");
  Json::Value jEvents = outValue(choices);
  watch.run([&] { return eventList(jEvents); });
  watch.expectOneOf({0, -1});
  return watch.broken();
}

std::vector<std::string> callLoadTableDef(World& world, Choices& choices) {
  Watch watch(world, "loadTableDef");
  Json::Value jTableDef = outValue(choices);
  watch.run([&] { return loadTableDef(jTableDef); });
  watch.expectOneOf({0, -1});
  if (!watch.failed()) {
    watch.expect(jTableDef.isObject() && jTableDef.isMember("task") && jTableDef.isMember("task_result"),
                 "a definition that was accepted has both tables");
  }
  return watch.broken();
}

std::vector<std::string> callInitConfig(World& world, Choices& choices) {
  Watch watch(world, "initConfig");
  Json::Value jConfig = outValue(choices);
  sqlite3* pDb = nullptr;
  OrvaJsonDbApi* pApi = nullptr;
  OrvaJsonDbApi* pApiResult = nullptr;
  const std::string strTable = choices.oneIn(4) ? hostileText(choices) : "task";
  watch.run([&] { return initConfig(strTable, jConfig, &pDb, &pApi); });
  watch.expectOneOf({0, -1});
  watch.expect(watch.failed() == (pDb == nullptr) && watch.failed() == (pApi == nullptr),
               "both handles are there after success, and none after a failure");
  fakes().clearFaults();
  watch.expect(freeConfig(&pDb, &pApi, &pApiResult) == 0 && !pDb && !pApi, "the handles can be released");
  return watch.broken();
}

}  // namespace

std::vector<std::string> callConfiguration(World& world, Choices& choices) {
  static constexpr FamilyCall CALLS[] = {callConfigInit,   callInitConfig, callLoadTableDef, callEventList,
                                         callRecConfigGet, callConfigSet,  callConfigSet,    callConfigGet};
  return callOneOf(CALLS, world, choices);
}

}  // namespace OrvaTest
