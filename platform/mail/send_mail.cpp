#include <algorithm>
#include <cstring>
#include <string>

#include "orva_platform.h"

#include "mail/address.h"
#include "mail/courier.h"
#include "mail/mail_template.h"
#include "mail/message.h"
#include "mail/server_values.h"
#include "settings/server_settings.h"
#include "strings/hash.h"
#include "support/boundary.h"
#include "support/log.h"
#include "texts/utf8.h"

namespace {

std::string senderAddress(const std::string& strMailName) {
  std::string strDefault = "root@" + strMailName;
  std::string strSender = orva::serverSetting("mailfrom", strDefault);
  if (orva::isMailAddress(strSender)) {
    return strSender;
  }
  logError("the setting mailfrom is not a mail address: \"%s\"", orva::repairedUtf8(strSender).c_str());
  return strDefault;
}

// The template's name as a label of a domain.
std::string listIdOf(std::string strTemplate) {
  std::transform(strTemplate.begin(), strTemplate.end(), strTemplate.begin(), [](char ch) {
    return ch == '_' ? '-' : (ch >= 'A' && ch <= 'Z' ? static_cast<char>(ch | 0x20) : ch);
  });
  return strTemplate;
}

int sendMail(const char* szTemplate, PKLIBCSZHASH pValues, const char* szTo) {
  if (!szTemplate || !pValues || !szTo) {
    FAIL_WITH(EINVAL);
  }
  if (!orva::isMailAddress(szTo)) {
    logError("mail address \"%s\" refused", orva::repairedUtf8(szTo).c_str());
    FAIL_WITH(EINVAL);
  }
  const auto mail = orva::loadMailTemplate(szTemplate, orva::serverLanguage());
  if (!mail) {
    FAIL_WITH(ENOENT);
  }
  const std::string strMailName = orva::serverMailName();
  const std::string strFrom = senderAddress(strMailName);
  const orva::MessageHead head{strFrom, szTo, listIdOf(szTemplate), strMailName};
  if (orva::sendDetached(strFrom, szTo,
                         orva::composeMessage(head, *mail, orva::withServerValues(pValues->m_mapValue))) < 0) {
    const int iError = errno;
    logError("cannot send mail to %s: %s", szTo, strerror(iError));
    FAIL_WITH(iError);
  }
  return 0;
}

}  // namespace

extern "C" int ORVAMailSendMessageWithoutBlock(const char* szTemplate, PKLIBCSZHASH pValues, const char* szTo,
                                               int iFlags) {
  static_cast<void>(iFlags);
  return orva::guarded([&] { return sendMail(szTemplate, pValues, szTo); });
}

extern "C" void ORVAMailAddValue(const char* szKey, const char* szValue) {
  orva::guarded([&] {
    if (!szKey) {
      orva::forgetMailValues();
    } else if (!szValue) {
      orva::forgetMailValue(szKey);
    } else {
      orva::addMailValue(szKey, szValue);
    }
    return 0;
  });
}

extern "C" int ORVAMailIsAddress(const char* szTo) {
  return szTo && orva::isMailAddress(szTo) ? 1 : 0;
}

extern "C" int ORVAMailTextMax() {
  return static_cast<int>(orva::CB_BODY_MAX);
}
