#include "confirm.h"

#include <cstdio>
#include <fmt/format.h>
#include <iostream>
#include <unistd.h>

#include "common/support/failure.h"
#include "common/text/terminal_text.h"

void confirm(const std::string& strConsequence, const std::string& strQuestion, const std::string& strRefused,
             const char* szInstead) {
  if (isatty(STDIN_FILENO) != 1) {
    throw Host::Failure(fmt::format("{}; {}", strConsequence, szInstead));
  }
  fmt::print(stderr, "eorva: {}. {} [y/N] ", Host::asMessage(strConsequence), strQuestion);
  std::string strAnswer;
  std::getline(std::cin, strAnswer);
  if (strAnswer != "y" && strAnswer != "yes") {
    throw Host::Failure(strRefused);
  }
}
