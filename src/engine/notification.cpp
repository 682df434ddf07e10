#include "engine/notification.h"

#include <memory>

#include "eorvascheduler.h"
#include "orva_platform.h"

#include "engine/optional_calls.h"
#include "output/location.h"
#include "store/run_file.h"
#include "support/boundary.h"
#include "support/check.h"
#include "support/json_read.h"
#include "support/seconds.h"

using namespace Orva;
using ORVA_JSON_DB::convert2ReadableTime;

namespace {

constexpr const char* LOG_SOURCE = SOURCE_LIB;

constexpr const char* MAIL_TEMPLATE = "eOrvascheduler_complete_task";
constexpr int ITEMS_EXPECTED = 512;

// The platform's hash of placeholder values, which may move when it grows.
class MailValues {
public:
  MailValues() : m_pHash(KLIBCSzHashAlloc(ITEMS_EXPECTED)) {}
  ~MailValues() {
    if (m_pHash) {
      KLIBCSzHashFree(m_pHash);
    }
  }
  MailValues(const MailValues&) = delete;
  MailValues& operator=(const MailValues&) = delete;

  PKLIBCSZHASH get() const { return m_pHash; }

  int set(const char* szKey, const std::string& strValue) {
    FAIL_IF_AS(0 > KLIBCSzHashSetValue(&m_pHash, szKey, strValue.c_str()),
               "0 > KLIBCSzHashSetValue(&pHash, szKey, strValue.c_str())");
    return 0;
  }

private:
  PKLIBCSZHASH m_pHash;
};

class Recipients {
public:
  Recipients() : m_pList(KLIBCSzListAlloc(ITEMS_EXPECTED)) {}
  ~Recipients() {
    if (m_pList) {
      KLIBCSzListFree(m_pList);
    }
  }
  Recipients(const Recipients&) = delete;
  Recipients& operator=(const Recipients&) = delete;

  PKLIBCSZLIST get() const { return m_pList; }

  int split(const std::string& strMailList) {
    FAIL_IF_AS(0 > KLIBCStrTok(strMailList.c_str(), ",", &m_pList),
               "0 > KLIBCStrTok(strMailList.c_str(), \",\", &pslList)");
    return 0;
  }

private:
  PKLIBCSZLIST m_pList;
};

int checkExitType(const Json::Value& jExit) {
  FAIL_IF(jExit.type() != Json::objectValue);
  FAIL_IF(!jExit.isMember("exit_type"));
  FAIL_IF(!jExit["exit_type"].isString());
  return 0;
}

// Checks the outcome for a task that wants mail only on errors.
int checkOutcome(const Json::Value& jExit, bool& blWanted) {
  if (0 > checkExitType(jExit)) {
    return -1;
  }
  if ("normal" != jExit["exit_type"].asString()) {
    return 0;
  }
  FAIL_IF(!jExit.isMember("exit_code"));
  FAIL_IF_AS(!isInt64Like(jExit["exit_code"]), "!jExit[\"exit_code\"].isInt64()");
  if (0 == jExit["exit_code"].asInt64()) {
    // Deliberately the reverse of the condition: people know this text.
    LOG_DEBUG("exit status != 0, need not notify");
    blWanted = false;
  }
  return 0;
}

int checkWanted(const Json::Value& jTask, const Json::Value& jResult, bool& blWanted) {
  blWanted = false;
  FAIL_IF(jTask.type() != Json::objectValue);
  FAIL_IF_AS(!isBoolLike(memberOf(jTask, "notify_enable")), "!jTask[\"notify_enable\"].isBool()");
  if (!memberOf(jTask, "notify_enable").asBool()) {
    return 0;
  }
  FAIL_IF(!jTask.isMember("notify_if_error"));
  FAIL_IF(!jTask["notify_if_error"].isBool());
  blWanted = true;
  if (jTask["notify_if_error"].asBool() && hasMember(jResult, "exit_info") &&
      0 > checkOutcome(jResult["exit_info"], blWanted)) {
    return -1;
  }
  if (!blWanted) {
    return 0;
  }
  FAIL_IF(!jTask.isMember("notify_mail"));
  FAIL_IF(!jTask["notify_mail"].isString());
  if (jTask["notify_mail"].asString().empty()) {
    LOG_DEBUG("no mail address, need not notify");
    blWanted = false;
  }
  return 0;
}

int setTask(const Json::Value& jTask, MailValues& values, std::string& strTaskName) {
  FAIL_IF(!jTask.isMember("task_name"));
  FAIL_IF(!jTask["task_name"].isString());
  strTaskName = jTask["task_name"].asString();
  return values.set("%TASK%", strTaskName);
}

int setStartTime(const Json::Value& jResult, MailValues& values, long& iStartTime) {
  FAIL_IF(jResult.type() != Json::objectValue);
  FAIL_IF(!jResult.isMember("start_time"));
  FAIL_IF_AS(!isInt64Like(jResult["start_time"]), "!jResult[\"start_time\"].isInt64()");
  iStartTime = toSeconds(jResult["start_time"].asInt64());
  std::string strStartTime;
  FAIL_IF(0 > convert2ReadableTime(iStartTime, strStartTime, ORVA_TIME_FORMAT_FOR_MAIL));
  return values.set("%START_TIME%", strStartTime);
}

int setEndTime(const Json::Value& jResult, MailValues& values) {
  FAIL_IF(!jResult.isMember("stop_time"));
  FAIL_IF_AS(!isInt64Like(jResult["stop_time"]), "!jResult[\"stop_time\"].isInt64()");
  const long iEndTime = toSeconds(jResult["stop_time"].asInt64());
  std::string strEndTime;
  FAIL_IF(0 > convert2ReadableTime(iEndTime, strEndTime, ORVA_TIME_FORMAT_FOR_MAIL));
  return values.set("%END_TIME%", strEndTime);
}

int setExitCode(const Json::Value& jResult, MailValues& values) {
  FAIL_IF(!jResult.isMember("exit_info"));
  FAIL_IF(jResult["exit_info"].type() != Json::objectValue && jResult["exit_info"].type() != Json::arrayValue &&
          jResult["exit_info"].type() != Json::nullValue);
  const Json::Value& jExit = jResult["exit_info"];
  if (0 > checkExitType(jExit)) {
    return -1;
  }
  const Json::Value& jExitCode = memberOf(jExit, "exit_code");
  FAIL_IF_AS(!isTextLike(jExitCode), "!jExit[\"exit_code\"].isInt()");
  std::string strExitCode = jExitCode.asString();
  std::string strExitType = jExit["exit_type"].asString();
  std::string strText;
  if (0 > getExitTypeString(strExitType, strText)) {
    LOG_ERROR("get exit type string failed, exit type=%s", strExitType.c_str());
  } else {
    strExitCode.append(" (").append(strText).append(")");
  }
  return values.set("%EXIT_CODE%", strExitCode);
}

int setOutput(const Json::Value& jTask, Json::Value& jConfig, const std::string& strTaskName, long iStartTime,
              MailValues& values) {
  std::string strOutPath;
  FAIL_IF_AS(0 > getOutputPath(jConfig, strTaskName, iStartTime, &strOutPath, nullptr),
             "0 > getOutputPath(jConfig, strTaskName, iStartTime, &strOutPath, NULL)");
  std::string strContent;
  if (!strOutPath.empty()) {
    FAIL_IF_AS(0 > loadRunFile(strOutPath, strContent, mailOutputMax()), "0 > loadFile(strOutPath, strContent)");
  } else if (jTask.isMember("strOutputPath_tmp")) {
    FAIL_IF(!jTask["strOutputPath_tmp"].isString());
    FAIL_IF_AS(0 > loadRunFile(jTask["strOutputPath_tmp"].asString(), strContent, mailOutputMax()),
               "0 > loadFile(jTask[\"strOutputPath_tmp\"].asString(), strContent)");
  }
  return values.set("%OUT_PUT%", strContent);
}

int fillValues(const Json::Value& jTask, const Json::Value& jResult, Json::Value& jConfig, MailValues& values) {
  std::string strTaskName;
  long iStartTime = 0;
  if (0 > setTask(jTask, values, strTaskName) || 0 > setStartTime(jResult, values, iStartTime) ||
      0 > setEndTime(jResult, values) || 0 > setExitCode(jResult, values)) {
    return -1;
  }
  return setOutput(jTask, jConfig, strTaskName, iStartTime, values);
}

// A refused mail does not prevent the others.
int sendToAll(const std::string& strMailList, const MailValues& values, Recipients& recipients) {
  if (0 > recipients.split(strMailList)) {
    return -1;
  }
  for (int i = 0; i < recipients.get()->nItem; ++i) {
    const char* szAddress = KLIBCSzListGet(recipients.get(), i);
    if (!szAddress || '\0' == szAddress[0]) {
      continue;
    }
    LOG_DEBUG("send mail to %s", szAddress);
    ORVAMailSendMessageWithoutBlock(MAIL_TEMPLATE, values.get(), szAddress, 0);
  }
  return 0;
}

int notify(const Json::Value& jTask, const Json::Value& jResult, Json::Value& jConfig) {
  bool blWanted = false;
  if (0 > checkWanted(jTask, jResult, blWanted)) {
    return -1;
  }
  if (!blWanted) {
    return 0;
  }
  MailValues values;
  FAIL_IF_AS(!values.get(), "malloc hash failed");
  Recipients recipients;
  FAIL_IF_AS(!recipients.get(), "malloc list failed");
  if (0 > fillValues(jTask, jResult, jConfig, values)) {
    return -1;
  }
  return sendToAll(jTask["notify_mail"].asString(), values, recipients);
}

}  // namespace

int notifyCompletion(Json::Value& jTask, Json::Value& jResult, Json::Value& jConfig) {
  return GUARDED([&] { return notify(jTask, jResult, jConfig); });
}
