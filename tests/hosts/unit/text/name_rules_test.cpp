/// A valid task name has no special meaning in a shell, and is one part of a path.

#include "common/text/name_rules.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <random>
#include <sstream>
#include <unistd.h>

#include "common/tasks/dependency_list.h"

using namespace Host;

namespace {

/// Pieces that harm somewhere, among harmless ones.
constexpr std::array<const char*, 40> PIECES = {
    "a",    "b", "Z", "9", "-", "_", ".", " ",  "..", "/", "'",  "\"",   "$(id)",
    "`id`", ";", "|", "&", ">", "<", "*", "?",  "[",  "]", "%",  "\\",   "~",
    "#",    "=", "(", ")", "{", "}", "!", "\n", "\t", "é", "日", "\xff", "\xe2\x80\xae",
    "\xc3"};

std::string randomName(std::mt19937& random) {
  std::string strName;
  const std::size_t cPieces = 1 + random() % 5;
  for (std::size_t i = 0; i < cPieces; ++i) {
    // Half of the pieces are harmless, so that enough names are let through.
    strName += random() % 2 == 0 ? PIECES[random() % 8] : PIECES[random() % PIECES.size()];
  }
  return strName;
}

/// The words that a shell makes of a name that stands in a command line as it is.
std::string shellWords(const std::vector<std::string>& vecNames) {
  const std::string strScript = "/tmp/names." + std::to_string(getpid());
  {
    std::ofstream script(strScript);
    for (const std::string& strName : vecNames) {
      script << "printf '<%s>' " << strName << "; echo\n";
    }
  }
  FILE* pShell = popen(("cd /tmp && LC_ALL=C.UTF-8 sh " + strScript + " 2>&1").c_str(), "r");
  std::string strOutput;
  std::array<char, 4096> buffer{};
  for (std::size_t cb = 0; pShell != nullptr && (cb = fread(buffer.data(), 1, buffer.size(), pShell)) > 0;) {
    strOutput.append(buffer.data(), cb);
  }
  pclose(pShell);
  std::filesystem::remove(strScript);
  return strOutput;
}

std::string expectedWords(const std::vector<std::string>& vecNames) {
  std::string strExpected;
  for (const std::string& strName : vecNames) {
    std::istringstream words(strName);
    for (std::string strWord; words >> strWord;) {
      strExpected += "<" + strWord + ">";
    }
    strExpected += "\n";
  }
  return strExpected;
}

}  // namespace

TEST(TaskNames, OfAHundredThousandNamesThoseLetThroughAreHarmless) {
  std::mt19937 random(1);
  std::vector<std::string> vecAccepted;
  for (int i = 0; i < 100000; ++i) {
    const std::string strName = randomName(random);
    if (!whyNotTaskName(strName).empty()) {
      continue;
    }
    const std::filesystem::path path = std::filesystem::path("/base") / strName;
    ASSERT_EQ(path, path.lexically_normal()) << strName;
    ASSERT_EQ("/base", path.parent_path()) << strName;
    ASSERT_EQ(std::vector<std::string>{strName}, readDependencyList(writeDependencyList({strName}))) << strName;
    if (vecAccepted.size() < 2000) {
      vecAccepted.push_back(strName);
    }
  }
  ASSERT_EQ(2000U, vecAccepted.size());
  EXPECT_EQ(expectedWords(vecAccepted), shellWords(vecAccepted));
}
