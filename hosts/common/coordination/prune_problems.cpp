#include "prune_problems.h"

#include <algorithm>
#include <optional>
#include <sstream>

#include "common/support/files.h"
#include "common/support/paths.h"
#include "runtime_folder.h"

namespace Host {

namespace {

std::string problemsPath() {
  return std::string(RUNTIME_FOLDER) + "/prune-problems";
}

}  // namespace

void notePruneProblems(const std::vector<std::string>& vecProblems) {
  std::string strText;
  for (std::string strProblem : vecProblems) {
    std::replace(strProblem.begin(), strProblem.end(), '\n', ' ');
    strText += strProblem + "\n";
  }
  makeRuntimeFolder();
  replaceFile(problemsPath(), strText, 0600);
}

std::vector<std::string> pruneProblems() {
  std::vector<std::string> vecProblems;
  std::istringstream text(readTextFile(problemsPath()).value_or(""));
  for (std::string strLine; std::getline(text, strLine);) {
    vecProblems.push_back(strLine);
  }
  return vecProblems;
}

}  // namespace Host
