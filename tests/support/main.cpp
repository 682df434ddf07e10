#include <cstdio>
#include <exception>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

#include "support/private_view.h"

namespace {

bool onlyAsksFor(const std::string& strOption, int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (strOption == argv[i]) {
      return true;
    }
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  const bool blRuns = !onlyAsksFor("--gtest_list_tests", argc, argv) && !onlyAsksFor("--help", argc, argv);
  testing::InitGoogleTest(&argc, argv);
  if (blRuns) {
    if (::geteuid() != 0) {
      std::fprintf(stderr, "These tests switch users and mount: run them as root, for example with sudo.\n");
      return 1;
    }
    try {
      OrvaTest::enterPrivateView();
    } catch (const std::exception& failure) {
      std::fprintf(stderr, "No private view of the file system, nothing was run: %s\n", failure.what());
      return 1;
    }
  }
  return RUN_ALL_TESTS();
}
