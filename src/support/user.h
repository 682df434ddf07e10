// User records, freed on every path.

#pragma once

#include <memory>

#include "orva_platform.h"

namespace Orva {

struct FreeUser {
  void operator()(PORVAUSER pUser) const { ORVAUserFree(pUser); }
};
using User = std::unique_ptr<ORVAUSER, FreeUser>;

// Null when there is no such user, whatever the result of the lookup.
inline User findUser(uid_t uid) {
  PORVAUSER pFound = nullptr;
  const int iResult = ORVAUserGetByUID(uid, &pFound);
  User pUser(pFound);
  if (0 > iResult) {
    pUser.reset();
  }
  return pUser;
}

}  // namespace Orva
