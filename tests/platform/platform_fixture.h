/// \file platform_fixture.h
/// What the tests of the platform share.

#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/types.h>
#include <vector>

namespace OrvaTest {

/// A test that leaves neither child nor descriptor.
class PlatformTest : public testing::Test {
protected:
  void SetUp() override;
  void TearDown() override;

private:
  std::size_t m_cDescriptor = 0;
};

/// Installs texts, mail templates and the log catalogue of the source tree.
void installPlatformFiles();

/// Defines the server's shares.
void defineShares(const std::string& strDefinitions);

/// Mounts a fresh file system in memory, making its folder.
void mountTmpfs(const std::string& strTarget, const std::string& strOptions = "size=16m,mode=755");

/// Makes processes that lose their parent children of this one, so that a test can wait for their end.
void adoptOrphans();

/// Waits until every child has ended; true when there was at least one.
bool waitForOrphans();

/// Waits until a process waits for a lock (flock) that another one holds; false when it does not.
bool waitUntilItWaitsForLock(pid_t pid);

/// Writes a mail program: a shell script. It is the one that the server's settings name.
void installMailProgram(const std::string& strScript);

/// The mail program that keeps each message: arguments in /tmp/mail/N.args, message in /tmp/mail/N.eml, N from 1.
extern const char* const KEEPING_MAIL_PROGRAM;

/// Sends the mail of a task that has ended; the result is that of the platform's function.
int sendTaskMail(const std::string& strTo, const std::string& strTask = "backup",
                 const std::string& strOutput = "all is well\n",
                 const char* szTemplate = "eOrvascheduler_complete_task");

/// Names of a folder's entries, sorted; none when it is missing.
std::vector<std::string> entries(const std::string& strFolder);

}  // namespace OrvaTest
