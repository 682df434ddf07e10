/// Running programs, and reading from descriptors.

#include "common/support/program.h"

#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/support/files.h"
#include "common/support/text_diff.h"
#include "common/support/try_until.h"
#include "support/files.h"

using namespace Host;

namespace {

TEST(Program, GivesItsStatusAndBothOfItsOutputs) {
  std::string strOutput;
  const int iStatus = Program({"sh", "-c", "echo out; echo err >&2; exit 3"}).run(strOutput);
  EXPECT_EQ(WEXITSTATUS(iStatus), 3);
  EXPECT_EQ(strOutput, "out\nerr\n");
}

TEST(Program, GetsDescriptorsUnderTheirNumbers) {
  const UniqueFd text = fileOfText("given");
  Program program({"cat", "/dev/fd/77"});
  program.give(text.get(), 77);
  std::string strOutput;
  EXPECT_EQ(program.run(strOutput), 0);
  EXPECT_EQ(strOutput, "given");
}

TEST(Program, GetsTheDefaultOfASignalThatIsIgnoredHere) {
  const auto fnBefore = std::signal(SIGINT, SIG_IGN);
  Program program({"sh", "-c", "kill -INT $$; exit 0"});
  EXPECT_TRUE(WIFEXITED(program.run()));
  program.setDefault(SIGINT);
  EXPECT_TRUE(WIFSIGNALED(program.run()));
  std::signal(SIGINT, fnBefore);
}

TEST(Program, ThatIsNotInstalledIsMissing) {
  EXPECT_THROW(Program({"no-such-program"}).run(), ProgramMissing);
}

TEST(ReadAll, ReadsAFileFromItsBeginning) {
  const UniqueFd file = fileOfText("the whole text");
  lseek(file.get(), 4, SEEK_SET);
  EXPECT_EQ(readAll(file.get(), "file"), "the whole text");
  EXPECT_EQ(lseek(file.get(), 0, SEEK_CUR), 4);
}

TEST(ReadAll, ReadsAPipeToItsEnd) {
  Pipe pipe;
  const std::string strText(40'000, 'x');
  ASSERT_EQ(write(pipe.writer.get(), strText.data(), strText.size()), 40'000);
  pipe.writer.reset();
  EXPECT_EQ(readAll(pipe.reader.get(), "pipe"), strText);
}

TEST(ReadAll, RefusesMoreThanIsAllowed) {
  const UniqueFd file = fileOfText("12345");
  EXPECT_EQ(readAll(file.get(), "file", 5), "12345");
  EXPECT_THROW(readAll(file.get(), "file", 4), Failure);
}

TEST(Difference, IsEmptyForTheSameText) {
  const UniqueFd left = fileOfText("a\n");
  const UniqueFd right = fileOfText("b\n");
  EXPECT_EQ(differenceText({left.get(), "left"}, {left.get(), "again"}), "");
  EXPECT_EQ(differenceText({left.get(), "left"}, {right.get(), "right"}), "--- left\n+++ right\n@@ -1 +1 @@\n-a\n+b\n");
}

TEST(TryUntil, TriesOnceAlthoughThereIsNoTime) {
  int cTries = 0;
  const auto fnTry = [&] { return ++cTries == 2; };
  EXPECT_FALSE(tryUntil(std::chrono::milliseconds(-1), std::chrono::milliseconds(0), fnTry));
  EXPECT_EQ(cTries, 1);
  EXPECT_TRUE(tryUntil(std::chrono::seconds(60), std::chrono::milliseconds(0), fnTry));
}

}  // namespace
