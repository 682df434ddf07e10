#include "users.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <fmt/format.h>
#include <memory>
#include <new>
#include <pwd.h>
#include <vector>

#include "orva_platform.h"

#include "common/support/failure.h"

namespace Host {

namespace {

constexpr std::size_t CB_FIRST = 1024;
constexpr std::size_t CB_LAST = std::size_t{16} << 20;

}  // namespace

std::optional<uid_t> findUserByName(const std::string& strUser) {
  // getpwnam() must not be shared by threads.
  passwd user{};
  passwd* pFound = nullptr;
  for (std::vector<char> buffer(CB_FIRST); buffer.size() <= CB_LAST; buffer.resize(buffer.size() * 2)) {
    if (getpwnam_r(strUser.c_str(), &user, buffer.data(), buffer.size(), &pFound) != ERANGE) {
      break;
    }
  }
  return pFound != nullptr ? std::optional(pFound->pw_uid) : std::nullopt;
}

std::optional<uid_t> findUser(const std::string& strUser) {
  if (const std::optional<uid_t> uidByName = findUserByName(strUser)) {
    return uidByName;
  }
  uid_t uid = 0;
  const char* const pEnd = strUser.data() + strUser.size();
  const auto [p, code] = std::from_chars(strUser.data(), pEnd, uid);
  // "01000" is refused, as the library would read it otherwise.
  const bool blPlain = strUser.size() == 1 || !strUser.starts_with('0');
  return blPlain && code == std::errc() && p == pEnd ? std::optional(uid) : std::nullopt;
}

std::string userName(uid_t uid) {
  PORVAUSER pUser = nullptr;
  const int iResult = ORVAUserGetByUID(uid, &pUser);
  const std::unique_ptr<ORVAUSER, decltype(&ORVAUserFree)> guard(pUser, &ORVAUserFree);
  if (iResult < 0 && KLIBCErrGet() == ENOMEM) {
    throw std::bad_alloc();
  }
  // A user who cannot be looked up now may exist.
  if (iResult < 0 && KLIBCErrGet() != ENOENT) {
    throw Failure(fmt::format("cannot look up the user {}: {}", uid, std::strerror(KLIBCErrGet())));
  }
  return pUser != nullptr ? pUser->szName : std::string();
}

}  // namespace Host
