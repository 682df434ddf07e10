// Output and presentation: reading a run's files back, and the two forms of the records.

#include <eorvascheduler.h>

#include "conformance/property/exports.h"
#include "conformance/property/hostile_json.h"
#include "fakes/call_text.h"

namespace OrvaTest {

namespace {

std::vector<std::string> callRecResultGetFile(World& world, Choices& choices) {
  Watch watch(world, "recResultGetFile");
  Json::Value jValid;
  jValid["result_id"] = static_cast<int>(choices.below(4));
  jValid["task_name"] = "alpha";
  Json::Value jIn = spoiled(choices, jValid);
  Json::Value jOut = choices.oneIn(4) ? hostileValue(choices) : Json::Value();
  OrvaJsonDbApi* pApiResult = world.resultApi(choices);
  watch.run([&] { return recResultGetFile(pApiResult, jIn, jOut); });
  watch.expectOneOf({0, -1});
  return watch.broken();
}

std::vector<std::string> callSharePath(World& world, Choices& choices) {
  Watch watch(world, "sharePath2VolumePath");
  std::string strSharePath = choices.oneIn(2) ? hostileText(choices) : "logs/" + hostileText(choices);
  std::string strVolumePath = "before";
  watch.run([&] { return sharePath2VolumePath(strSharePath, strVolumePath); });
  watch.expectOneOf({0, -1});
  if (watch.failed()) {
    watch.expectUntouched("strVolumePath", "before", strVolumePath);
  } else {
    watch.expect(strVolumePath.size() < 4096, "the path is cut at 4095 bytes");
  }
  return watch.broken();
}

std::vector<std::string> callErrorNotify(World& world, Choices&) {
  Watch watch(world, "errorNotify");
  watch.run([] { return errorNotify(); });
  watch.expectOneOf({0, -1});
  return watch.broken();
}

// A record in either form, or an array of both.
Json::Value recordOrArray(Choices& choices) {
  Json::Value jTask = validTask("alpha", "");
  if (choices.oneIn(2)) {
    jTask["owner"] = Json::objectValue;
    jTask["owner"]["0"] = "root";
  }
  if (!choices.oneIn(3)) {
    return jTask;
  }
  Json::Value jList(Json::arrayValue);
  jList.append(jTask);
  jList.append(validRun(1, "alpha"));
  jList.append(spoiled(choices, jTask));
  return jList;
}

using Transform = int (*)(Json::Value& jInOut);

std::vector<std::string> callTransform(World& world, Choices& choices, const char* szFunction, Transform transform) {
  Watch watch(world, szFunction);
  Json::Value jInOut = spoiled(choices, recordOrArray(choices));
  const bool blEmpty = jInOut.empty();
  const std::string strBefore = compactJson(jInOut);
  watch.run([&] { return transform(jInOut); });
  watch.expectOneOf({0, -1});
  if (blEmpty) {
    watch.expect(!watch.failed(), "an empty value is left alone");
    watch.expectUntouched("the empty value", strBefore, compactJson(jInOut));
  }
  return watch.broken();
}

std::vector<std::string> callPreAction(World& world, Choices& choices) {
  return callTransform(world, choices, "taskPreAction", &taskPreAction);
}

std::vector<std::string> callPostAction(World& world, Choices& choices) {
  return callTransform(world, choices, "taskPostAction", &taskPostAction);
}

std::vector<std::string> callResultPostAction(World& world, Choices& choices) {
  return callTransform(world, choices, "resultPostAction", &resultPostAction);
}

std::vector<std::string> callTimeStamp(World& world, Choices& choices) {
  return callTransform(world, choices, "objectChangeTimeStamp",
                       [](Json::Value& jRecord) { return objectChangeTimeStamp(jRecord, true); });
}

std::vector<std::string> callOwnerToName(World& world, Choices& choices) {
  return callTransform(world, choices, "objectChangeFormatOwner",
                       [](Json::Value& jRecord) { return objectChangeFormatOwner(jRecord, true); });
}

std::vector<std::string> callOwnerToId(World& world, Choices& choices) {
  return callTransform(world, choices, "objectChangeFormatOwner",
                       [](Json::Value& jRecord) { return objectChangeFormatOwner(jRecord, false); });
}

}  // namespace

std::vector<std::string> callPresentation(World& world, Choices& choices) {
  static constexpr FamilyCall CALLS[] = {callErrorNotify, callSharePath, callTimeStamp,
                                         callOwnerToName, callOwnerToId, callResultPostAction,
                                         callPostAction,  callPreAction, callRecResultGetFile};
  return callOneOf(CALLS, world, choices);
}

}  // namespace OrvaTest
