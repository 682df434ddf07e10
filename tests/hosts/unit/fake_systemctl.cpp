#include "fake_systemctl.h"

#include <cstdlib>
#include <filesystem>

#include "support/files.h"

namespace HostTest {

namespace {

constexpr char FOLDER[] = "/tmp/fake_systemctl";
constexpr char CALLS[] = "/tmp/fake_systemctl/calls";

}  // namespace

FakeSystemctl::FakeSystemctl(const std::string& strScript) : m_strPath(std::getenv("PATH")) {
  std::filesystem::create_directories(FOLDER);
  std::filesystem::create_directories("/run/systemd/system");
  OrvaTest::writeFile(CALLS, "");
  const std::string strProgram = std::string(FOLDER) + "/systemctl";
  OrvaTest::writeFile(strProgram, std::string("#!/bin/sh\necho \"$*\" >>") + CALLS + "\n" + strScript);
  std::filesystem::permissions(strProgram, std::filesystem::perms::owner_all);
  setenv("PATH", (FOLDER + (":" + m_strPath)).c_str(), 1);
}

FakeSystemctl::~FakeSystemctl() {
  setenv("PATH", m_strPath.c_str(), 1);
  std::filesystem::remove_all(FOLDER);
  std::filesystem::remove_all("/run/systemd");
}

std::string FakeSystemctl::calls() {
  return OrvaTest::readFile(CALLS);
}

}  // namespace HostTest
