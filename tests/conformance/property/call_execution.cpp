// Execution: events, single runs, exit statuses. The children are simulated.

#include <array>
#include <eorvascheduler.h>

#include "conformance/property/exports.h"
#include "conformance/property/hostile_json.h"
#include "fakes/call_text.h"
#include "fakes/fakes.h"

namespace OrvaTest {

namespace {

std::vector<std::string> callRunByEvent(World& world, Choices& choices) {
  Watch watch(world, "runByEvent");
  Json::Value jValid;
  jValid["event"] = "bootup";
  Json::Value jIn = spoiled(choices, jValid);
  OrvaJsonDbApi* pApi = world.taskApi(choices);
  OrvaJsonDbApi* pApiResult = world.resultApi(choices);
  sqlite3* pDb = world.database(choices);
  watch.run([&] { return runByEvent(pApi, pApiResult, jIn, pDb); });
  watch.expectOneOf({0, -1});
  return watch.broken();
}

std::vector<std::string> callRunTaskOne(World& world, Choices& choices) {
  Watch watch(world, "runTaskOne");
  Json::Value jTask = spoiled(choices, validTask("alpha", ""));
  OrvaJsonDbApi* pApi = world.taskApi(choices);
  OrvaJsonDbApi* pApiResult = world.resultApi(choices);
  sqlite3* pDb = world.database(choices);
  const std::string strBefore = compactJson(jTask);
  watch.run([&] { return runTaskOne(jTask, pApi, pApiResult, pDb); });
  watch.expectOneOf({0, -1});
  watch.expectUntouched("jTask", strBefore, compactJson(jTask));
  return watch.broken();
}

std::vector<std::string> callGetExitStatus(World& world, Choices& choices) {
  Watch watch(world, "getExitStatus");
  static constexpr std::array STATUSES{-1, 0xffff, 0xff, 0x1ff, 0x137f, 0x7f, 0x89, 9, 1, 0x100};
  const int iStatus =
      choices.oneIn(2) ? STATUSES[choices.below(STATUSES.size())] : static_cast<int>(choices.below(0x20000)) - 0x8000;
  Json::Value jExit = choices.oneIn(2) ? hostileValue(choices) : Json::Value();
  const std::string strBefore = compactJson(jExit);
  watch.run([&] { return getExitStatus(iStatus, jExit); });
  watch.expectOneOf({0, -1});
  if (watch.failed()) {
    watch.expectUntouched("jExit", strBefore, compactJson(jExit));
  } else {
    watch.expect(jExit.isObject() && jExit["exit_type"].isString(), "the exit information says its type");
    watch.expect(jExit.size() == (jExit["exit_type"].asString() == "continue" ? 1U : 2U),
                 "the exit information has no other members");
  }
  return watch.broken();
}

std::vector<std::string> callGetExitTypeString(World& world, Choices& choices) {
  Watch watch(world, "getExitTypeString");
  static constexpr std::array TYPES{"", "continue", "stop", "by_signal", "normal"};
  std::string strType = choices.oneIn(4) ? hostileText(choices) : TYPES[choices.below(TYPES.size())];
  std::string strText = "before";
  watch.run([&] { return getExitTypeString(strType, strText); });
  watch.expectOneOf({0, -1});
  if (watch.failed()) {
    watch.expectUntouched("strText", "before", strText);
  }
  return watch.broken();
}

}  // namespace

std::vector<std::string> callExecution(World& world, Choices& choices) {
  static constexpr FamilyCall CALLS[] = {callGetExitTypeString, callGetExitStatus, callRunTaskOne,
                                         callRunTaskOne,        callRunByEvent,    callRunByEvent};
  return callOneOf(CALLS, world, choices);
}

}  // namespace OrvaTest
