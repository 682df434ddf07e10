/// An alarm rings for each write to its file.

#include "common/support/file_alarm.h"

#include <fstream>
#include <gtest/gtest.h>
#include <poll.h>

#include "common/support/failure.h"
#include "inotify_limit.h"
#include "support/files.h"

using namespace Host;

namespace {

class FileAlarms : public testing::Test {
protected:
  void SetUp() override { write(); }

  void write() const { std::ofstream(m_folder.path("file"), std::ios::app) << "x"; }

  static bool rings(const FileAlarm& alarm) {
    pollfd entry{alarm.fd(), POLLIN, 0};
    return poll(&entry, 1, 0) == 1;
  }

  OrvaTest::TempDir m_folder;
};

}  // namespace

TEST_F(FileAlarms, RingUntilTheyAreReset) {
  const FileAlarm alarm(m_folder.path("file"));
  EXPECT_FALSE(rings(alarm));
  alarm.reset();
  write();
  write();
  EXPECT_TRUE(rings(alarm));
  EXPECT_TRUE(rings(alarm));
  alarm.reset();
  EXPECT_FALSE(rings(alarm));
  write();
  EXPECT_TRUE(rings(alarm));
}

TEST_F(FileAlarms, AreNotOpenWhenTheKernelHasNoMore) {
  HostTest::useUpInotify();
  EXPECT_FALSE(FileAlarm(m_folder.path("file")).isOpen());
}

TEST_F(FileAlarms, NeedAFile) {
  EXPECT_THROW(FileAlarm(m_folder.path("missing")), Failure);
}
