/// \file platform_fixture.h
/// Helpers for tests of the platform.

#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/types.h>
#include <vector>

namespace OrvaTest {

/// A test that must leave no child and no descriptor.
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

/// Mounts an empty file system in memory, and creates its folder.
void mountTmpfs(const std::string& strTarget, const std::string& strOptions = "size=16m,mode=755");

/// Makes orphaned processes children of this one (subreaper), so that a test can wait for them.
void adoptOrphans();

/// Waits until every child has ended; true when there was at least one.
bool waitForOrphans();

/// Waits until a process waits for a lock (flock) of another process; false when it does not.
bool waitUntilItWaitsForLock(pid_t pid);

/// Writes a mail program, a shell script, and sets it in the server's settings.
void installMailProgram(const std::string& strScript);

/// A mail program that stores each message: arguments in /tmp/mail/N.args, message in /tmp/mail/N.eml, N from 1.
extern const char* const KEEPING_MAIL_PROGRAM;

/// The name of this host.
std::string hostName();

/// Sends the mail about an ended task; returns the result of the platform's function.
int sendTaskMail(const std::string& strTo, const std::string& strTask = "backup",
                 const std::string& strOutput = "all is well\n",
                 const char* szTemplate = "eOrvascheduler_complete_task",
                 const std::string& strExitCode = "0 (ended normally)");

/// Names of a folder's entries, sorted; empty when the folder is missing.
std::vector<std::string> entries(const std::string& strFolder);

}  // namespace OrvaTest
