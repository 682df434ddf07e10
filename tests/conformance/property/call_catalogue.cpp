// The task catalogue: relations between tasks, and their maintenance.

#include <eorvascheduler.h>

#include "conformance/property/exports.h"
#include "conformance/property/hostile_json.h"
#include "fakes/call_text.h"

namespace OrvaTest {

namespace {

const char* taskName(Choices& choices) {
  static constexpr const char* NAMES[] = {"nobody", "delta", "gamma", "beta", "alpha"};
  return NAMES[choices.below(5)];
}

Json::Value byName(Choices& choices) {
  Json::Value jRequest;
  jRequest["task_name"] = taskName(choices);
  return jRequest;
}

Json::Value outArray(Choices& choices) {
  if (choices.oneIn(8)) {
    return hostileValue(choices);
  }
  return choices.oneIn(2) ? Json::Value(Json::arrayValue) : Json::Value();
}

std::vector<std::string> callRecListRelateEx(World& world, Choices& choices) {
  Watch watch(world, "recListRelateEx");
  Json::Value jParam = spoiled(choices, byName(choices));
  Json::Value jOut = outArray(choices);
  OrvaJsonDbApi* pApi = world.taskApi(choices);
  sqlite3* pDb = world.database(choices);
  const bool blBottomUp = choices.oneIn(2);
  const std::string strEvent = choices.oneIn(3) ? hostileText(choices) : choices.oneIn(2) ? "bootup" : "";
  watch.run([&] { return recListRelateEx(pApi, jParam, jOut, pDb, blBottomUp, strEvent, choices.oneIn(2)); });
  watch.expectOneOf({0, -1});
  return watch.broken();
}

std::vector<std::string> callRecListRelate(World& world, Choices& choices) {
  Watch watch(world, "recListRelate");
  Json::Value jValid = byName(choices);
  jValid["relate_type"] = static_cast<int>(choices.below(3));
  Json::Value jParam = spoiled(choices, jValid);
  Json::Value jOut = outArray(choices);
  OrvaJsonDbApi* pApi = world.taskApi(choices);
  sqlite3* pDb = world.database(choices);
  watch.run([&] { return recListRelate(pApi, jParam, jOut, pDb); });
  watch.expectOneOf({0, -1});
  return watch.broken();
}

// The library returns an error of the store without a log line, so only results that cannot be such an error are
// checked.
std::vector<std::string> callRecCreate(World& world, Choices& choices) {
  Watch watch(world, "recCreate");
  Json::Value jIn = spoiled(choices, validTask(choices.oneIn(2) ? taskName(choices) : "epsilon", "[alpha]"));
  Json::Value jOut = outArray(choices);
  OrvaJsonDbApi* pApi = world.taskApi(choices);
  watch.run([&] { return recCreate(pApi, jIn, jOut); });
  watch.expect(watch.result() == 0 || watch.result() == -1, "the store's result is passed on");
  return watch.broken();
}

Json::Value renameRequest(Choices& choices) {
  Json::Value jRequest = validTask(choices.oneIn(2) ? taskName(choices) : "epsilon", "[alpha]");
  if (!choices.oneIn(3)) {
    jRequest["old_task_name"] = taskName(choices);
  }
  return jRequest;
}

std::vector<std::string> callRecUpdate(World& world, Choices& choices) {
  Watch watch(world, "recUpdate");
  Json::Value jIn = spoiled(choices, renameRequest(choices));
  OrvaJsonDbApi* pApi = world.taskApi(choices);
  sqlite3* pDb = world.database(choices);
  watch.run([&] { return recUpdate(pApi, jIn, pDb); });
  watch.expectOneOf({0, -1});
  const bool blOpen = world.endTransaction();
  watch.expect(watch.failed() || !blOpen, "success leaves no transaction open");
  return watch.broken();
}

std::vector<std::string> callRecDelete(World& world, Choices& choices) {
  Watch watch(world, "recDelete");
  Json::Value jIn = spoiled(choices, byName(choices));
  OrvaJsonDbApi* pApi = world.taskApi(choices);
  sqlite3* pDb = world.database(choices);
  watch.run([&] { return recDelete(pApi, jIn, pDb); });
  watch.expectOneOf({0, -1});
  const bool blOpen = world.endTransaction();
  watch.expect(watch.failed() || !blOpen, "success leaves no transaction open");
  return watch.broken();
}

std::vector<std::string> callRecUpdateSubtree(World& world, Choices& choices) {
  Watch watch(world, "recUpdateSubtree");
  Json::Value jIn = spoiled(choices, renameRequest(choices));
  OrvaJsonDbApi* pApi = world.taskApi(choices);
  sqlite3* pDb = world.database(choices);
  const int iType = choices.oneIn(8) ? static_cast<int>(choices.below(8)) - 4 : static_cast<int>(choices.below(2));
  watch.run([&] { return recUpdateSubtree(pApi, jIn, pDb, iType); });
  watch.expectOneOf({0, -1});
  const bool blOpen = world.endTransaction();
  watch.expect(watch.failed() || !blOpen, "success leaves no transaction open");
  watch.expect(!blOpen || (iType >= SUBTREE_DELETE && iType <= SUBTREE_RENAME),
               "an unknown change begins no transaction");
  return watch.broken();
}

}  // namespace

std::vector<std::string> callCatalogue(World& world, Choices& choices) {
  static constexpr FamilyCall CALLS[] = {callRecUpdateSubtree, callRecDelete,     callRecUpdate,
                                         callRecCreate,        callRecListRelate, callRecListRelateEx};
  return callOneOf(CALLS, world, choices);
}

}  // namespace OrvaTest
