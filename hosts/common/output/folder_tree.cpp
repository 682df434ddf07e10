#include "folder_tree.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <memory>
#include <sys/stat.h>
#include <utility>

#include "common/support/failure.h"
#include "task_folder.h"

namespace Host {

namespace {

constexpr int OPEN_FOLDER = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

std::string below(const std::string& strPath, const std::string& strName) {
  return fmt::format("{}/{}", strPath, strName);
}

[[noreturn]] void failAt(const char* szDo, const std::string& strPath) {
  throw Failure(fmt::format("cannot {} {}: {}", szDo, strPath, std::strerror(errno)));
}

[[noreturn]] void failMounted(const std::string& strPath) {
  throw Failure(fmt::format("cannot remove {}: another file system is mounted there", strPath));
}

/// Where a folder lies. A folder that is mounted elsewhere in the same file system has the same device.
struct Place {
  dev_t device;
  std::uint64_t uMount;

  bool operator==(const Place&) const = default;
};

Place placeOf(const UniqueFd& folder, const std::string& strPath) {
  struct statx status{};
  if (statx(folder.get(), "", AT_EMPTY_PATH, STATX_MNT_ID, &status) < 0) {
    failAt("examine", strPath);
  }
  return {statusOf(folder, strPath).st_dev, status.stx_mnt_id};
}

/// How many names of a folder are read at once: its owner can make any number.
constexpr std::size_t MAX_NAMES = 10'000;

struct CloseFolder {
  void operator()(DIR* pFolder) const { closedir(pFolder); }
};

bool isFolder(const UniqueFd& parent, const std::string& strName) {
  struct stat status{};
  return fstatat(parent.get(), strName.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

void removeName(const UniqueFd& parent, const std::string& strName, const std::string& strPath, int iFlags) {
  // ENOTEMPTY: the owner has added something. Whoever empties the folder looks again.
  if (unlinkat(parent.get(), strName.c_str(), iFlags) < 0 && errno != ENOENT && errno != ENOTEMPTY && errno != EEXIST) {
    failAt("remove", below(strPath, strName));
  }
}

/// Walks through a tree, with one open folder. The owner can add to the tree as fast as it is counted, so there is an
/// end.
class TreeSize {
public:
  explicit TreeSize(const std::string& strPath) : m_strPath(strPath) {}

  std::uint64_t of(const UniqueFd& top) {
    UniqueFd folder(openat(top.get(), ".", OPEN_FOLDER));
    const Place place = placeOf(folder, m_strPath);
    enter(folder);
    while (!m_vecLevels.empty() && m_cEntries < MAX_ENTRIES) {
      std::vector<std::string>& vecFolders = m_vecLevels.back().vecFolders;
      if (vecFolders.empty()) {
        m_vecLevels.pop_back();
        if (m_vecLevels.empty() || !goUp(folder)) {
          break;
        }
        continue;
      }
      const std::string strName = std::move(vecFolders.back());
      vecFolders.pop_back();
      std::optional<UniqueFd> inner = openFolder(folder, strName, m_strPath);
      if (inner && placeOf(*inner, m_strPath) == place) {
        folder = std::move(*inner);
        enter(folder);
      }
    }
    return m_cb;
  }

private:
  struct Level {
    ino_t inode;
    std::vector<std::string> vecFolders;  ///< to be entered
  };

  static constexpr std::size_t MAX_ENTRIES = 1'000'000;

  /// Adds the files of a folder.
  void enter(const UniqueFd& folder) {
    constexpr std::uint64_t CB_BLOCK = 512;
    Level level{statusOf(folder, m_strPath).st_ino, {}};
    for (std::string& strName : entriesOf(folder, m_strPath, MAX_ENTRIES - m_cEntries)) {
      ++m_cEntries;
      struct stat status{};
      if (fstatat(folder.get(), strName.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        continue;
      }
      if (S_ISREG(status.st_mode) && status.st_nlink == 1) {
        m_cb += static_cast<std::uint64_t>(status.st_blocks) * CB_BLOCK;
      } else if (S_ISDIR(status.st_mode)) {
        level.vecFolders.push_back(std::move(strName));
      }
    }
    m_vecLevels.push_back(std::move(level));
  }

  /// \return false when the owner has moved the folder: what is above it is another one then.
  bool goUp(UniqueFd& folder) {
    folder = UniqueFd(openat(folder.get(), "..", OPEN_FOLDER));
    return folder.isOpen() && statusOf(folder, m_strPath).st_ino == m_vecLevels.back().inode;
  }

  const std::string& m_strPath;
  std::vector<Level> m_vecLevels;
  std::size_t m_cEntries = 0;
  std::uint64_t m_cb = 0;
};

/// Empties a folder. What lies deeper is moved up into it, so all is removed at the first two levels.
class TreeRemoval {
public:
  TreeRemoval(const UniqueFd& top, const std::string& strPath) : m_top(top), m_strPath(strPath) {}

  void run() {
    // Each round takes one level away. An owner who adds levels as fast cannot keep this from ending.
    constexpr unsigned MAX_ROUNDS = 1'000'000;
    close(m_top);
    for (unsigned u = 0; u < MAX_ROUNDS; ++u) {
      const std::vector<std::string> vecNames = entriesOf(m_top, m_strPath, MAX_NAMES);
      if (vecNames.empty()) {
        return;
      }
      for (const std::string& strName : vecNames) {
        removeOne(strName);
      }
    }
    throw Failure(fmt::format("cannot remove {}: its owner keeps adding to it", m_strPath));
  }

private:
  /// Its owner can add nothing more then.
  static void close(const UniqueFd& folder) {
    if (fchown(folder.get(), 0, 0) == 0) {
      fchmod(folder.get(), S_IRWXU);
    }
  }

  void removeOne(const std::string& strName) {
    const std::optional<UniqueFd> folder = openFolder(m_top, strName, below(m_strPath, strName));
    if (!folder) {
      removeName(m_top, strName, m_strPath, 0);
      return;
    }
    const std::string strPath = below(m_strPath, strName);
    if (placeOf(*folder, strPath) != placeOf(m_top, m_strPath)) {
      failMounted(strPath);
    }
    close(*folder);
    for (const std::string& strInner : entriesOf(*folder, strPath, MAX_NAMES)) {
      if (isFolder(*folder, strInner)) {
        moveUp(*folder, strInner, strPath);
      } else {
        removeName(*folder, strInner, strPath, 0);
      }
    }
    removeName(m_top, strName, m_strPath, AT_REMOVEDIR);
  }

  void moveUp(const UniqueFd& folder, const std::string& strInner, const std::string& strPath) {
    int iResult = -1;
    do {
      iResult = renameat(folder.get(), strInner.c_str(), m_top.get(), std::to_string(++m_uMoved).c_str());
    } while (iResult < 0 && (errno == EEXIST || errno == ENOTEMPTY || errno == ENOTDIR));
    if (iResult < 0 && (errno == EBUSY || errno == EXDEV)) {
      failMounted(below(strPath, strInner));
    }
    if (iResult < 0 && errno != ENOENT) {
      failAt("move", below(strPath, strInner));
    }
  }

  const UniqueFd& m_top;
  const std::string& m_strPath;
  std::uint64_t m_uMoved = 0;
};

}  // namespace

std::optional<UniqueFd> openFolder(const UniqueFd& parent, const std::string& strName, const std::string& strPath) {
  UniqueFd fd(openat(parent.get(), strName.c_str(), OPEN_FOLDER));
  if (fd.isOpen()) {
    return fd;
  }
  if (errno != ENOENT && errno != ENOTDIR && errno != ELOOP) {
    failAt("open", strPath);
  }
  return std::nullopt;
}

std::vector<std::string> entriesOf(const UniqueFd& folder, const std::string& strPath, std::size_t cMost) {
  // The stream closes its descriptor, so it gets a copy. Both share a position.
  const int fd = openat(folder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const std::unique_ptr<DIR, CloseFolder> pFolder(fd < 0 ? nullptr : fdopendir(fd));
  if (!pFolder) {
    failAt("list", strPath);
  }
  std::vector<std::string> vecNames;
  while (const dirent* const pEntry = vecNames.size() < cMost ? readdir(pFolder.get()) : nullptr) {
    if (std::strcmp(pEntry->d_name, ".") != 0 && std::strcmp(pEntry->d_name, "..") != 0) {
      vecNames.emplace_back(pEntry->d_name);
    }
  }
  return vecNames;
}

std::uint64_t sizeOfTree(const UniqueFd& folder, const std::string& strPath) {
  return TreeSize(strPath).of(folder);
}

void removeTree(const UniqueFd& parent, const std::string& strName, const std::string& strPath) {
  const std::optional<UniqueFd> folder = openFolder(parent, strName, strPath);
  if (folder && placeOf(*folder, strPath) != placeOf(parent, strPath)) {
    failMounted(strPath);
  }
  if (folder) {
    TreeRemoval(*folder, strPath).run();
  }
  if (unlinkat(parent.get(), strName.c_str(), folder ? AT_REMOVEDIR : 0) < 0 && errno != ENOENT) {
    failAt("remove", strPath);
  }
}

}  // namespace Host
