#include "support/private_view.h"

#include <cerrno>
#include <filesystem>
#include <sched.h>
#include <stdexcept>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace OrvaTest {

namespace {

// A folder of every Debian, usually empty, for temporary mounts of the view.
const std::string SCRATCH = "/mnt";

bool s_blEntered = false;

struct Fresh {
  std::string strPath;
  std::string strMode;
};

void mustMount(const std::string& strSource, const std::string& strTarget, const char* szType, unsigned long ulFlags,
               const std::string& strOptions = "") {
  if (::mount(strSource.c_str(), strTarget.c_str(), szType, ulFlags, strOptions.c_str()) != 0) {
    throw std::system_error(errno, std::generic_category(), "mount on " + strTarget);
  }
}

void makeWritableCopy(const std::string& strFolder) {
  const std::string strLayers = SCRATCH + "/layers" + strFolder;
  fs::create_directories(strLayers + "/upper");
  fs::create_directories(strLayers + "/work");
  mustMount("overlay", strFolder, "overlay", 0,
            "lowerdir=" + strFolder + ",upperdir=" + strLayers + "/upper,workdir=" + strLayers + "/work");
}

bool liesBelow(const std::string& strPath, const std::string& strFolder) {
  return strPath.starts_with(strFolder + "/");
}

// A tree that an empty folder would hide is first bound to another place and then bound back.
void refresh(const std::vector<Fresh>& folders, const std::vector<std::string>& trees) {
  std::vector<std::string> hidden;
  for (const std::string& strTree : trees) {
    for (const Fresh& fresh : folders) {
      if (liesBelow(strTree, fresh.strPath)) {
        hidden.push_back(strTree);
      }
    }
  }
  for (const std::string& strTree : hidden) {
    fs::create_directories(SCRATCH + "/kept" + strTree);
    mustMount(strTree, SCRATCH + "/kept" + strTree, nullptr, MS_BIND);
  }
  for (const Fresh& fresh : folders) {
    mustMount("tmpfs", fresh.strPath, "tmpfs", 0, "mode=" + fresh.strMode);
  }
  for (const std::string& strTree : hidden) {
    fs::create_directories(strTree);
    mustMount(SCRATCH + "/kept" + strTree, strTree, nullptr, MS_BIND);
  }
}

}  // namespace

void enterPrivateView() {
  const mode_t maskBefore = ::umask(022);
  if (::unshare(CLONE_NEWNS) != 0) {
    throw std::system_error(errno, std::generic_category(), "unshare");
  }
  mustMount("none", "/", nullptr, MS_REC | MS_PRIVATE);
  mustMount("tmpfs", SCRATCH, "tmpfs", 0, "mode=0755");
  makeWritableCopy("/usr");
  makeWritableCopy("/etc");
  refresh({{"/tmp", "1777"},
           {"/run", "0755"},
           {"/srv", "0755"},
           {"/var/lib", "0755"},
           {"/var/log", "0755"},
           {"/var/spool", "0755"}},
          {EORVA_SOURCE_DIR, EORVA_BINARY_DIR});
  s_blEntered = true;
  freshProduct();
  fs::current_path("/");
  ::umask(maskBefore);
}

void freshProduct() {
  if (!s_blEntered) {
    throw std::logic_error("outside of the private view");
  }
  fs::remove_all("/usr/orva");
  fs::remove_all("/etc/orvainfo.conf");
  fs::remove_all("/etc/orva");
  fs::create_directories("/usr/orva/etc/eorvascheduler");
  fs::create_directories("/usr/orva/share/eorvascheduler");
}

}  // namespace OrvaTest
