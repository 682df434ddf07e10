#include "record_store/kept_copy.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include "record_store/failure.h"
#include "record_store/statement.h"
#include "support/unique_fd.h"

using orva::UniqueFd;

namespace record_store {
namespace {

// More than any series of crashes explains, so an administrator must check.
constexpr int MAX_COPIES = 99;

struct CloseConnection {
  void operator()(sqlite3* pDb) const { sqlite3_close(pDb); }
};

[[noreturn]] void raiseErrno(const std::string& strPath) {
  const int iCode = errno;
  RAISE(iCode, "{}: {}", strPath, std::strerror(iCode));
}

// An existing file is left from a killed process. No other process writes it, because we have the write lock.
void createEmpty(const std::string& strPath) {
  unlink(strPath.c_str());
  const UniqueFd file(open(strPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (!file) {
    raiseErrno(strPath);
  }
}

// Use another connection, because the one with the write lock cannot copy. It sees the committed data.
void copyDatabase(const char* szFrom, const std::string& strTo) {
  sqlite3* pOpened = nullptr;
  const int iResult = sqlite3_open_v2(szFrom, &pOpened, SQLITE_OPEN_READONLY, nullptr);
  const std::unique_ptr<sqlite3, CloseConnection> pDb(pOpened);
  if (iResult != SQLITE_OK) {
    RAISE_SQLITE(pOpened, iResult);
  }
  Statement statement(pOpened, "VACUUM INTO ?");
  sqlite3_bind_text(statement.handle(), 1, strTo.c_str(), -1, SQLITE_STATIC);
  statement.finish();
}

void sync(const std::string& strPath, int iFlags) {
  const UniqueFd file(open(strPath.c_str(), O_RDONLY | O_CLOEXEC | iFlags));
  if (!file || fsync(file.get()) != 0) {
    raiseErrno(strPath);
  }
}

std::string giveFreeName(const std::string& strFrom, const std::string& strName) {
  for (int iCopy = 1; iCopy <= MAX_COPIES; ++iCopy) {
    const std::string strTo = iCopy == 1 ? strName : fmt::format("{}.{}", strName, iCopy);
    if (renameat2(AT_FDCWD, strFrom.c_str(), AT_FDCWD, strTo.c_str(), RENAME_NOREPLACE) == 0) {
      return strTo;
    }
    if (errno != EEXIST) {
      raiseErrno(strTo);
    }
  }
  RAISE(EEXIST, "{} and {} more copies exist: remove those that are not needed", strName, MAX_COPIES - 1);
}

}  // namespace

KeptCopy::OwnFile::~OwnFile() {
  if (!m_strPath.empty()) {
    unlink(m_strPath.c_str());
  }
}

KeptCopy::KeptCopy(sqlite3* pDb, int iSchema) {
  const char* szDatabase = sqlite3_db_filename(pDb, "main");
  if (szDatabase == nullptr || *szDatabase == '\0') {
    return;
  }
  const std::string strName = fmt::format("{}.schema-{}", szDatabase, iSchema);
  const std::string strNew = strName + ".new";
  try {
    createEmpty(strNew);
    m_file.take(strNew);
    copyDatabase(szDatabase, strNew);
    sync(strNew, 0);
    m_strPath = giveFreeName(strNew, strName);
    m_file.take(m_strPath);
    sync(m_strPath.substr(0, m_strPath.rfind('/') + 1), O_DIRECTORY);
  } catch (const StoreFailure& failure) {
    RAISE(failure.code(), "cannot copy the database before the migration: {}", failure.what());
  }
}

}  // namespace record_store
