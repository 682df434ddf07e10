#include "users.h"

#include <charconv>
#include <memory>
#include <pwd.h>

#include "orva_platform.h"

namespace Host {

std::optional<uid_t> findUser(const std::string& strUser) {
  if (const passwd* pUser = getpwnam(strUser.c_str())) {
    return pUser->pw_uid;
  }
  uid_t uid = 0;
  const char* const pEnd = strUser.data() + strUser.size();
  const auto [p, code] = std::from_chars(strUser.data(), pEnd, uid);
  return code == std::errc() && p == pEnd ? std::optional(uid) : std::nullopt;
}

std::string userName(uid_t uid) {
  PORVAUSER pUser = nullptr;
  ORVAUserGetByUID(uid, &pUser);
  const std::unique_ptr<ORVAUSER, decltype(&ORVAUserFree)> guard(pUser, &ORVAUserFree);
  return pUser != nullptr ? pUser->szName : std::string();
}

}  // namespace Host
