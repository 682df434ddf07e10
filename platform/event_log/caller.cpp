#include "event_log/caller.h"

#include <charconv>
#include <cstdlib>
#include <limits>
#include <pwd.h>
#include <string_view>
#include <sys/types.h>
#include <vector>

#include "settings/regular_file.h"

namespace orva {
namespace {

constexpr const char* LOGIN_UID_PATH = "/proc/self/loginuid";
constexpr std::size_t CB_ENTRY = 16384;

// The user by whom a process was logged in stays the same, whatever it becomes.
uid_t loginUser() {
  std::string strText;
  uid_t uid = std::numeric_limits<uid_t>::max();
  if (readRegularFile(LOGIN_UID_PATH, strText) == 0) {
    std::from_chars(strText.data(), strText.data() + strText.size(), uid);
  }
  return uid;
}

std::string nameOf(uid_t uid) {
  passwd entry{};
  passwd* pFound = nullptr;
  std::vector<char> vecBuffer(CB_ENTRY);
  const bool blFound = getpwuid_r(uid, &entry, vecBuffer.data(), vecBuffer.size(), &pFound) == 0 && pFound != nullptr;
  return blFound ? entry.pw_name : std::to_string(uid);
}

bool isUser(const char* szName) {
  passwd entry{};
  passwd* pFound = nullptr;
  std::vector<char> vecBuffer(CB_ENTRY);
  return getpwnam_r(szName, &entry, vecBuffer.data(), vecBuffer.size(), &pFound) == 0 && pFound != nullptr;
}

}  // namespace

std::string callerName() {
  if (const char* const szSudo = std::getenv("SUDO_USER"); szSudo != nullptr && isUser(szSudo)) {
    return szSudo;
  }
  const uid_t uid = loginUser();
  return uid == std::numeric_limits<uid_t>::max() ? std::string() : nameOf(uid);
}

}  // namespace orva
