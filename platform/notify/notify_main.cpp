// orvakbvnotify @GROUP KEY: mails the text of a key to every member of a group, and logs an event. The same key is sent
// at most once in ten minutes. The next mail gives the number of notices that were held back.

#include <cstdio>
#include <ctime>
#include <memory>

#include "orva_platform.h"

#include "notify/notifier.h"
#include "support/log.h"

namespace {

constexpr unsigned int EVENT_NOTIFIED = 0x14400300;
constexpr const char* MAIL_TEMPLATE = "orva_notification";

struct FreeHash {
  void operator()(PKLIBCSZHASH pHash) const { KLIBCSzHashFree(pHash); }
};
using HashPtr = std::unique_ptr<KLIBCSZHASH, FreeHash>;

// The library discards the output of this program, so a failure is also logged.
int fail(int iStatus, const std::string& strFault) {
  std::fprintf(stderr, "orvakbvnotify: %s\n", strFault.c_str());
  logError("orvakbvnotify: %s", strFault.c_str());
  return iStatus;
}

int mailTo(const std::vector<std::string>& vecMember, const std::string& strText, unsigned cSuppressed) {
  HashPtr pHash(KLIBCSzHashAlloc(8));
  PKLIBCSZHASH pRaw = pHash.get();
  if (!pRaw || KLIBCSzHashSetValue(&pRaw, "%TEXT%", strText.c_str()) < 0 ||
      KLIBCSzHashSetValue(&pRaw, "%COUNT%", std::to_string(cSuppressed).c_str()) < 0) {
    return -1;
  }
  int iResult = 0;
  for (const std::string& strMember : vecMember) {
    if (ORVAMailSendMessageWithoutBlock(MAIL_TEMPLATE, pRaw, strMember.c_str(), 0) < 0) {
      fail(1, "cannot mail to " + strMember);
      iResult = -1;
    }
  }
  return iResult;
}

int notify(const std::string& strGroup, const std::string& strKey) {
  const auto members = orva::groupMembers(strGroup);
  if (!members) {
    return fail(1, "unknown group \"" + strGroup + "\"");
  }
  const auto text = orva::notificationText(strKey);
  if (!text) {
    return fail(1, "unknown key \"" + strKey + "\"");
  }
  unsigned cSuppressed = 0;
  if (!orva::admitNotification(strKey, std::time(nullptr), cSuppressed)) {
    return 0;
  }
  ORVALogSet1(1, 2, EVENT_NOTIFIED, text->c_str(), strGroup.c_str(), strKey.c_str(), "");
  return mailTo(*members, *text, cSuppressed) < 0 ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string strGroup = argc == 3 ? argv[1] : "";
  const std::string strKey = argc == 3 ? argv[2] : "";
  if (strGroup.size() < 2 || strGroup.front() != '@' || !orva::isPlainName(strGroup.substr(1)) ||
      !orva::isPlainName(strKey)) {
    return fail(2, "usage: orvakbvnotify @GROUP KEY");
  }
  return notify(strGroup.substr(1), strKey);
}
