// The record store and its helpers.

#include <array>
#include <ctime>
#include <stdexcept>

#include "orva_platform.h"

#include "fakes/fakes.h"

using OrvaTest::fakes;

struct OrvaJsonDbApi::Impl {
  std::string strTable;
};

namespace {

// A failure does not change the out value.
int deliver(const OrvaTest::Answer& answer, Json::Value& jOut) {
  if (!answer.blFails && answer.jOut) {
    jOut = *answer.jOut;
  }
  return answer.result(-1);
}

}  // namespace

OrvaJsonDbApi::OrvaJsonDbApi(sqlite3* pDb, const std::string& strTable, const Json::Value& jDefinitions,
                             const std::string& strSqlCreate)
    : m_pImpl(new Impl{strTable}) {
  const auto answer =
      fakes().platformCall("OrvaJsonDbApi", pDb ? "pDb" : "NULL", strTable, jDefinitions, "\"" + strSqlCreate + "\"");
  if (answer && answer->blFails) {
    throw std::runtime_error("no store for " + strTable);
  }
}

OrvaJsonDbApi::~OrvaJsonDbApi() {
  fakes().enter("~OrvaJsonDbApi", OrvaTest::callText("~OrvaJsonDbApi", m_pImpl->strTable), true, false);
}

int OrvaJsonDbApi::recCreate(const Json::Value& jIn, Json::Value& jOut) {
  const auto answer = fakes().platformCall("recCreate", m_pImpl->strTable, jIn);
  return answer ? deliver(*answer, jOut) : fakes().table(m_pImpl->strTable).create(jIn, jOut);
}

int OrvaJsonDbApi::recGetOne(const Json::Value& jFilter, Json::Value& jOut) {
  const auto answer = fakes().platformCall("recGetOne", m_pImpl->strTable, jFilter);
  if (answer) {
    return deliver(*answer, jOut);
  }
  Json::Value jList;
  const int iResult = fakes().table(m_pImpl->strTable).list(jFilter, jList);
  if (iResult >= 0) {
    jOut = jList.empty() ? Json::Value() : jList[0];
  }
  return iResult;
}

int OrvaJsonDbApi::recList(const Json::Value& jFilter, Json::Value& jOut) {
  const auto answer = fakes().platformCall("recList", m_pImpl->strTable, jFilter);
  return answer ? deliver(*answer, jOut) : fakes().table(m_pImpl->strTable).list(jFilter, jOut);
}

int OrvaJsonDbApi::recUpdateByFilter(const Json::Value& jFilter, const Json::Value& jUpdate) {
  const auto answer = fakes().platformCall("recUpdateByFilter", m_pImpl->strTable, jFilter, jUpdate);
  return answer ? answer->result(-1) : fakes().table(m_pImpl->strTable).update(jFilter, jUpdate);
}

int OrvaJsonDbApi::recDelete(const Json::Value& jIn, bool blMustExist) {
  const auto answer = fakes().platformCall("recDelete", m_pImpl->strTable, jIn, blMustExist);
  return answer ? answer->result(-1) : fakes().table(m_pImpl->strTable).remove(jIn, blMustExist);
}

namespace ORVA_JSON_DB {

int convert2ReadableTime(long lTime, std::string& strOut, int iFormat) {
  if (const auto answer = fakes().platformCall("convert2ReadableTime", lTime, iFormat)) {
    if (!answer->blFails && answer->jOut) {
      strOut = answer->jOut->asString();
    }
    return answer->result(-1);
  }
  const time_t tTime = lTime;
  struct tm local{};
  if ((iFormat != ORVA_TIME_FORMAT_FOR_MAIL && iFormat != ORVA_TIME_FORMAT_YYYY_MM_DD__HH_MM_SS) ||
      !::localtime_r(&tTime, &local)) {
    return -1;
  }
  std::array<char, 64> buffer{};
  const bool blMail = iFormat == ORVA_TIME_FORMAT_FOR_MAIL;
  if (std::strftime(buffer.data(), buffer.size(), blMail ? "mail %F %T" : "%F %T", &local) == 0) {
    return -1;
  }
  strOut = buffer.data();
  return 0;
}

int jsonCopyMember(Json::Value& jTarget, const Json::Value& jSource, bool blOverwrite) {
  if (const auto answer = fakes().platformCall("jsonCopyMember", jTarget, jSource, blOverwrite)) {
    return answer->result(-1);
  }
  if (!jSource.isObject() || (!jTarget.isObject() && !jTarget.isNull())) {
    return -1;
  }
  for (const std::string& strMember : jSource.getMemberNames()) {
    if (blOverwrite || !jTarget.isMember(strMember)) {
      jTarget[strMember] = jSource[strMember];
    }
  }
  return 0;
}

}  // namespace ORVA_JSON_DB
