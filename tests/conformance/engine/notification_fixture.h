// A closed run of a task that wants a mail about it.

#pragma once

#include "engine/notification.h"
#include "fakes/eorva_test.h"

namespace OrvaTest {

class Notification : public EorvaTest {
protected:
  Notification() { prepare(); }

  void prepare() {
    m_jTask = json(
        "{'task_name': 'backup', 'notify_enable': true, 'notify_if_error': false, 'notify_mail': 'a@example.org'}");
    m_jResult = json(
        "{'start_time': 1767225600, 'stop_time': 1767225661, 'exit_info': {'exit_type': 'normal', 'exit_code': 3}}");
    m_jConfig = Json::Value(Json::objectValue);
    writeFile("/etc/orvainfo.conf", "maillang=\"enu\"\n");
  }

  int notify() { return notifyCompletion(m_jTask, m_jResult, m_jConfig); }

  void setExitInfo(const std::string& strExitInfo) { m_jResult["exit_info"] = json(strExitInfo); }

  // Expects that nothing was sent or prepared.
  static void expectNothingPrepared() {
    EXPECT_THAT(fakes().calls(), testing::IsEmpty());
    EXPECT_THAT(fakes().mails, testing::IsEmpty());
  }

  // One value of the only mail.
  static std::string sent(const std::string& strKey) {
    EXPECT_EQ(fakes().mails.size(), 1U);
    const std::string strValue = fakes().mails.at(0).values.at(strKey);
    fakes().mails.clear();
    return strValue;
  }

  // Expects that the check fails, nothing is sent, and all values are freed.
  void expectGivenUp(const std::string& strCheck) {
    expectFailure(strCheck, LIB);
    EXPECT_EQ(notify(), -1) << strCheck;
    EXPECT_THAT(fakes().mails, testing::IsEmpty());
    EXPECT_EQ(fakes().cHeld, 0);
  }

  Json::Value m_jTask;
  Json::Value m_jResult;
  Json::Value m_jConfig;
};

}  // namespace OrvaTest
