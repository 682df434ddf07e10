#include <cstdlib>
#include <cstring>
#include <new>
#include <pwd.h>
#include <unistd.h>
#include <vector>

#include "orva_platform.h"

#include "support/boundary.h"

namespace {

constexpr std::size_t CB_LOOKUP_FIRST = 1024;
constexpr std::size_t CB_LOOKUP_LAST = std::size_t{16} << 20;

// The error codes of getpwuid_r that mean "no such user", besides 0 with a null result.
bool meansUnknownUser(int iCode) {
  return iCode == ENOENT || iCode == ESRCH || iCode == EBADF || iCode == EPERM;
}

// \return 0 and the entry, or an errno value. The strings of the entry are in the buffer.
int lookUp(uid_t uid, passwd& entry, std::vector<char>& buffer) {
  buffer.resize(CB_LOOKUP_FIRST);
  for (;;) {
    passwd* pFound = nullptr;
    const int iCode = getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &pFound);
    if (iCode == ERANGE && buffer.size() < CB_LOOKUP_LAST) {
      buffer.resize(buffer.size() * 2);
    } else if (iCode != EINTR) {
      return pFound ? 0 : (iCode == 0 || meansUnknownUser(iCode) ? ENOENT : iCode);
    }
  }
}

std::size_t sizeWithNul(const char* szText) {
  return (szText ? std::strlen(szText) : 0) + 1;
}

char* place(char*& pCursor, const char* szText) {
  char* const pPlaced = pCursor;
  std::memcpy(pPlaced, szText ? szText : "", sizeWithNul(szText));
  pCursor += sizeWithNul(szText);
  return pPlaced;
}

// The record and its strings are one allocation, so that one call frees them.
PORVAUSER newUser(const passwd& entry) {
  const std::size_t cbTexts = sizeWithNul(entry.pw_name) + sizeWithNul(entry.pw_dir) + sizeWithNul(entry.pw_shell);
  void* const pMemory = std::malloc(sizeof(ORVAUSER) + cbTexts);
  if (!pMemory) {
    return nullptr;
  }
  auto* const pUser = new (pMemory) ORVAUSER{};
  char* pCursor = static_cast<char*>(pMemory) + sizeof(ORVAUSER);
  pUser->szName = place(pCursor, entry.pw_name);
  pUser->szHome = place(pCursor, entry.pw_dir);
  pUser->szShell = place(pCursor, entry.pw_shell);
  pUser->pw_uid = entry.pw_uid;
  pUser->pw_gid = entry.pw_gid;
  return pUser;
}

int userByUid(uid_t uid, PORVAUSER* ppUser) {
  if (!ppUser) {
    FAIL_WITH(EINVAL);
  }
  *ppUser = nullptr;
  passwd entry{};
  std::vector<char> buffer;
  if (const int iCode = lookUp(uid, entry, buffer); iCode != 0) {
    FAIL_WITH(iCode);
  }
  *ppUser = newUser(entry);
  if (!*ppUser) {
    FAIL_WITH(ENOMEM);
  }
  return 0;
}

}  // namespace

extern "C" int ORVAUserGetByUID(uid_t uid, PORVAUSER* ppUser) {
  return orva::guarded([&] { return userByUid(uid, ppUser); });
}

extern "C" void ORVAUserFree(PORVAUSER pUser) {
  std::free(pUser);
}
