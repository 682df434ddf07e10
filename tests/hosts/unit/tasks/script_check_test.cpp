/// Warnings about a script before it is stored.

#include "common/tasks/script_check.h"

#include <gmock/gmock.h>
#include <string>

using namespace Host;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::string cannotRun(const std::string& strProgram) {
  return "the interpreter " + strProgram + " does not exist or is not executable";
}

}  // namespace

TEST(ScriptWarnings, AreNotGivenForRunnableScripts) {
  for (const char* szScript :
       {"true\n", "#!/bin/sh\ntrue\n", "#! /bin/sh -e\ntrue\n", "#!/usr/bin/env sh\ntrue\n",
        "#!/usr/bin/env -S sh -e\ntrue\n", "#!/usr/bin/env -S A=1 sh -e\ntrue\n", "printf 'a\rb'\n", "# \xC3\xA4\n"}) {
    EXPECT_THAT(warnAboutScript(szScript), IsEmpty()) << szScript;
  }
}

TEST(ScriptWarnings, NameTheInterpreterThatIsMissing) {
  EXPECT_THAT(warnAboutScript("#!/no/such/shell\n"), ElementsAre(cannotRun("/no/such/shell")));
  EXPECT_THAT(warnAboutScript("#!/usr/bin/env no-such-program\n"), ElementsAre(cannotRun("no-such-program")));
  EXPECT_THAT(warnAboutScript("#!/usr/bin/env -S no-such-program -e\n"), ElementsAre(cannotRun("no-such-program")));
  EXPECT_THAT(warnAboutScript("#!/usr/bin/env -S A=1 B=2 no-such-program\n"),
              ElementsAre(cannotRun("no-such-program")));
  EXPECT_THAT(warnAboutScript("#!\ntrue\n"), ElementsAre(cannotRun("?")));
}

TEST(ScriptWarnings, DoNotGuessTheEffectOfEnv) {
  for (const char* szScript : {"#!/usr/bin/env -i no-such-program\n", "#!/usr/bin/env -S -i no-such-program\n",
                               "#!/usr/bin/env A=1 no-such-program\n", "#!/usr/bin/env -S ${SHELL}\n"}) {
    EXPECT_THAT(warnAboutScript(szScript), IsEmpty()) << szScript;
  }
}

TEST(ScriptWarnings, TellWhereEditorsOfOtherSystemsWereAtWork) {
  EXPECT_THAT(warnAboutScript("true\ntrue\r\n"),
              ElementsAre("line 2 of the script ends with CR LF (a Windows line end)"));
  EXPECT_THAT(warnAboutScript("\xEF\xBB\xBF#!/bin/sh\ntrue\n"),
              ElementsAre("the script begins with a byte order mark; remove it, or \"#!\" does not work"));
}

TEST(ScriptWarnings, NameTextsThatNoShellReads) {
  EXPECT_THAT(warnAboutScript(" \n\t\n"), ElementsAre("the script is empty"));
  EXPECT_THAT(warnAboutScript(std::string("a\0b\n", 4)),
              ElementsAre("the script contains a NUL byte (byte 2), which a shell skips"));
}
