#include "task_owner.h"

#include <fmt/format.h>

#include "eorvascheduler.h"

#include "common/server/users.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"

namespace Host {

namespace {

constexpr char OWNER[] = "owner";
constexpr char OWNER_NAME[] = "owner_name";

OwnerProblem problemText(Json::Int64 iOwner, const std::string& strName, const std::string& strNow) {
  const std::optional<uid_t> uid = strName.empty() ? std::nullopt : findUserByName(strName);
  const std::string strUser = uid ? strName : std::string();
  if (uid) {
    return {fmt::format("user {} has the id {} now, not {}", strName, *uid, iOwner), strUser};
  }
  if (!strNow.empty()) {
    return {fmt::format("the user id {} belonged to {}, and belongs to {} now", iOwner, strName, strNow), strUser};
  }
  return {strName.empty() ? fmt::format("user {} does not exist", iOwner)
                          : fmt::format("user {} ({}) does not exist", strName, iOwner),
          strUser};
}

}  // namespace

OwnerCheck::User OwnerCheck::lookUp(Json::Int64 iOwner) {
  try {
    return {userName(static_cast<uid_t>(iOwner)), {}};
  } catch (const Failure& failure) {
    return {{}, failure.what()};
  }
}

std::optional<OwnerProblem> OwnerCheck::problemOf(Json::Int64 iOwner, const std::string& strName) {
  if (iOwner < 0) {
    return std::nullopt;
  }
  const auto [it, blNew] = m_mapUsers.try_emplace(iOwner);
  if (blNew) {
    it->second = lookUp(iOwner);
  }
  const auto& [strNow, strFailure] = it->second;
  if (!strFailure.empty()) {
    return OwnerProblem{strFailure, {}};
  }
  const bool blSound = !strNow.empty() && (strName.empty() || strName == strNow);
  return blSound ? std::nullopt : std::optional(problemText(iOwner, strName, strNow));
}

std::optional<OwnerProblem> OwnerCheck::problemOf(const Json::Value& jTask) {
  return problemOf(intOf(jTask, OWNER, -1), textOf(jTask, OWNER_NAME));
}

void requireOwner(const Json::Value& jTask) {
  if (const std::optional<OwnerProblem> problem = OwnerCheck().problemOf(jTask)) {
    const std::string strTask = textOf(jTask, "task_name");
    throw Failure(fmt::format("the task \"{}\" is not run: {}", strTask, problem->strText),
                  {Hint::SET_OWNER, {strTask, problem->strUser}});
  }
}

bool toStored(Json::Value& jTask) {
  if (!jTask.isMember(OWNER)) {
    return true;
  }
  if (taskPreAction(jTask) < 0) {
    return false;
  }
  jTask[OWNER_NAME] = userName(static_cast<uid_t>(intOf(jTask, OWNER)));
  return true;
}

void storeOwnerNames(Session& session) {
  const std::vector<std::string> vecTasks = taskNames(session);
  for (const Json::Int64 iOwner : ownersOf(listRelations(session, {vecTasks.begin(), vecTasks.end()}))) {
    const std::string strName = iOwner < 0 ? std::string() : userName(static_cast<uid_t>(iOwner));
    const Json::Value jFilter = objectOf({{OWNER, iOwner}, {OWNER_NAME, Json::Value()}});
    const Json::Value jName = strName.empty() ? Json::Value() : Json::Value(strName);
    if (session.tasks()->recUpdateByFilter(jFilter, objectOf({{OWNER_NAME, jName}})) < 0) {
      throw Failure(fmt::format("cannot store the name of the owner {}; {}", strName, SEE_LOG));
    }
  }
}

}  // namespace Host
