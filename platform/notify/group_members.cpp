#include <cerrno>
#include <grp.h>
#include <pwd.h>
#include <set>

#include "notify/notifier.h"
#include "settings/server_settings.h"

namespace orva {
namespace {

constexpr const char* ADMINISTRATORS = "administrators";
constexpr const char* ADMINISTRATORS_GROUP_DEFAULT = "sudo";

}  // namespace

// The notifier has one thread, so it can use calls with a static result.
std::optional<std::vector<std::string>> groupMembers(const std::string& strGroup) {
  const bool blAdministrators = strGroup == ADMINISTRATORS;
  std::set<std::string> setName;
  if (blAdministrators) {
    setName.insert("root");
  }
  const std::string strSystemGroup =
      blAdministrators ? serverSetting("administratorsgroup", ADMINISTRATORS_GROUP_DEFAULT) : strGroup;
  const group* const pGroup = getgrnam(strSystemGroup.c_str());
  if (!pGroup && !blAdministrators) {
    return std::nullopt;
  }
  if (pGroup) {
    for (char** pName = pGroup->gr_mem; *pName; ++pName) {
      setName.insert(*pName);
    }
    const gid_t gid = pGroup->gr_gid;
    setpwent();
    while (const passwd* const pUser = getpwent()) {
      if (pUser->pw_gid == gid) {
        setName.insert(pUser->pw_name);
      }
    }
    endpwent();
  }
  return std::vector<std::string>(setName.begin(), setName.end());
}

}  // namespace orva
