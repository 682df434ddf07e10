/// A file that is large only by its holes counts as small.

#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>

#include "common/support/files.h"
#include "common/support/unique_fd.h"
#include "support/files.h"

using namespace Host;

TEST(FileSize, HolesDoNotCount) {
  const OrvaTest::TempDir folder;
  const std::string strFile = folder.path("file");
  constexpr std::uint64_t CB_FILE = std::uint64_t{1} << 30;
  OrvaTest::writeFile(strFile, std::string(10'000, 'x'));
  std::filesystem::resize_file(strFile, CB_FILE);
  const UniqueFd fd(open(strFile.c_str(), O_RDONLY | O_CLOEXEC));
  const std::uint64_t cbData = dataSize(fd.get(), CB_FILE);
  EXPECT_GE(cbData, 10'000U);
  EXPECT_LT(cbData, 1U << 20);
}
