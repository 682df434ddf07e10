/// Trees of folders of any depth are measured and removed.

#include "common/output/folder_tree.h"

#include <atomic>
#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>

#include "common/support/failure.h"
#include "support/files.h"

using namespace Host;

namespace {

class FolderTree : public testing::Test {
protected:
  void SetUp() override {
    std::filesystem::remove_all(TOP);
    std::filesystem::create_directories(TOP);
    m_top = UniqueFd(open(TOP, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  }

  /// Makes a chain of folders, each with a file, deeper than any path.
  void makeChain(unsigned cDepth) const {
    UniqueFd folder(dup(m_top.get()));
    for (unsigned u = 0; u < cDepth; ++u) {
      const UniqueFd file(openat(folder.get(), "file", O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
      ASSERT_EQ(write(file.get(), "x", 1), 1);
      ASSERT_EQ(mkdirat(folder.get(), "d", 0700), 0);
      folder = UniqueFd(openat(folder.get(), "d", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    }
  }

  void remove() const {
    const UniqueFd parent(open("/tmp", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    removeTree(parent, "tree", TOP);
  }

  static constexpr char TOP[] = "/tmp/tree";
  UniqueFd m_top;
};

}  // namespace

TEST_F(FolderTree, CanBeDeeperThanPathsAndDescriptorsAllow) {
  constexpr unsigned DEPTH = 5000;
  makeChain(DEPTH);
  OrvaTest::writeFile(std::string(TOP) + "/1", "a name that the removal would choose itself");
  struct stat status{};
  ASSERT_EQ(fstatat(m_top.get(), "file", &status, 0), 0);
  const std::uint64_t cbFile = static_cast<std::uint64_t>(status.st_blocks) * 512;
  EXPECT_EQ(sizeOfTree(m_top, TOP), cbFile * (DEPTH + 1));
  remove();
  EXPECT_FALSE(std::filesystem::exists(TOP));
}

TEST_F(FolderTree, LinksAreRemovedButNotFollowed) {
  std::filesystem::create_directories("/tmp/precious");
  OrvaTest::writeFile("/tmp/precious/file", "precious");
  std::filesystem::create_directories(std::string(TOP) + "/a/b/c");
  std::filesystem::create_directory_symlink("/tmp/precious", std::string(TOP) + "/link");
  std::filesystem::create_directory_symlink("/tmp/precious", std::string(TOP) + "/a/b/c/link");
  EXPECT_EQ(sizeOfTree(m_top, TOP), 0U);
  remove();
  EXPECT_FALSE(std::filesystem::exists(TOP));
  EXPECT_TRUE(std::filesystem::exists("/tmp/precious/file"));
}

TEST_F(FolderTree, IsRemovedAlthoughItsOwnerKeepsFillingIt) {
  constexpr uid_t OWNER = 7001;
  makeChain(3);
  ASSERT_EQ(chown(TOP, OWNER, OWNER), 0);
  std::atomic<bool> blGoOn{true};
  std::atomic<unsigned> cMade{0};
  std::thread owner([&] {
    const UniqueFd folder(open(TOP, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // The owner of a thread's credentials alone: glibc would change those of all threads.
    syscall(SYS_setresuid, OWNER, OWNER, OWNER);
    for (unsigned u = 0; blGoOn; ++u) {
      const UniqueFd file(openat(folder.get(), std::to_string(u).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
      cMade += file.isOpen() ? 1 : 0;
    }
  });
  while (cMade < 100) {
    std::this_thread::yield();
  }
  remove();
  blGoOn = false;
  owner.join();
  EXPECT_FALSE(std::filesystem::exists(TOP));
}

TEST_F(FolderTree, FoldersOfTheSameFileSystemThatAreMountedInItStay) {
  std::filesystem::create_directories("/tmp/precious");
  OrvaTest::writeFile("/tmp/precious/file", "precious");
  const std::string strMount = std::string(TOP) + "/a/mounted";
  std::filesystem::create_directories(strMount);
  ASSERT_EQ(mount("/tmp/precious", strMount.c_str(), nullptr, MS_BIND, nullptr), 0);
  EXPECT_EQ(sizeOfTree(m_top, TOP), 0U);
  EXPECT_THROW(remove(), Failure);
  EXPECT_TRUE(std::filesystem::exists("/tmp/precious/file"));
  umount(strMount.c_str());
}

TEST_F(FolderTree, IsClosedToItsOwnerBeforeItIsEmptied) {
  const std::string strMount = std::string(TOP) + "/mounted";
  std::filesystem::create_directories(strMount);
  ASSERT_EQ(chown(TOP, 7001, 7001), 0);
  ASSERT_EQ(chmod(TOP, 0777), 0);
  ASSERT_EQ(mount("none", strMount.c_str(), "tmpfs", 0, nullptr), 0);
  EXPECT_THROW(remove(), Failure);
  struct stat status{};
  EXPECT_EQ(fstat(m_top.get(), &status), 0);
  EXPECT_EQ(status.st_uid, 0U);
  EXPECT_EQ(status.st_mode & 07777U, 0700U);
  umount(strMount.c_str());
}
