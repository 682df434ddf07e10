#include "support/users.h"

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

#include "support/files.h"

namespace OrvaTest {

namespace {

// The lines of /etc/group, each as its four fields.
std::vector<std::vector<std::string>> readGroups() {
  std::vector<std::vector<std::string>> groups;
  std::istringstream lines(readFile("/etc/group"));
  for (std::string strLine; std::getline(lines, strLine);) {
    std::vector<std::string> fields(4);
    std::istringstream pieces(strLine);
    for (std::string& strField : fields) {
      std::getline(pieces, strField, ':');
    }
    groups.push_back(fields);
  }
  return groups;
}

void writeGroups(const std::vector<std::vector<std::string>>& groups) {
  std::string strContent;
  for (const auto& fields : groups) {
    strContent += fields[0] + ":" + fields[1] + ":" + fields[2] + ":" + fields[3] + "\n";
  }
  writeFile("/etc/group", strContent);
}

void joinGroup(gid_t gid, const std::string& strGroupName, const std::string& strMember) {
  auto groups = readGroups();
  const std::string strId = std::to_string(gid);
  auto found = std::find_if(groups.begin(), groups.end(), [&](const auto& fields) { return fields[2] == strId; });
  if (found == groups.end()) {
    groups.push_back({strGroupName, "x", strId, ""});
    found = groups.end() - 1;
  }
  if (!strMember.empty()) {
    (*found)[3] += ((*found)[3].empty() ? "" : ",") + strMember;
  }
  writeGroups(groups);
}

}  // namespace

void addUser(const std::string& strName, uid_t uid, gid_t gid, const std::vector<gid_t>& others,
             const std::string& strHome) {
  joinGroup(gid, strName, "");
  for (const gid_t other : others) {
    joinGroup(other, "group" + std::to_string(other), strName);
  }
  writeFile("/etc/passwd", readFile("/etc/passwd") + strName + ":x:" + std::to_string(uid) + ":" + std::to_string(gid) +
                               "::" + (strHome.empty() ? "/nonexistent" : strHome) + ":/bin/sh\n");
  if (!strHome.empty()) {
    std::filesystem::create_directories(strHome);
    if (::chown(strHome.c_str(), uid, gid) != 0) {
      throw std::runtime_error("cannot give " + strHome + " to " + strName);
    }
  }
}

}  // namespace OrvaTest
