#include "open_file_database.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fmt/format.h>
#include <sys/stat.h>

#include "common/support/failure.h"

namespace Host {

namespace {

constexpr char NAME[] = "eorva-open-file";

/// Bytes of the header that tell whether the database has a write-ahead log, and the value for "no".
constexpr sqlite3_int64 FORMAT_TO_WRITE = 18;
constexpr sqlite3_int64 FORMAT_TO_READ = 19;
constexpr char WITHOUT_LOG = 1;
constexpr int CB_SECTOR = 4096;

/// What SQLite allocates for an open file.
struct OpenFile {
  sqlite3_file base;
  int fd;
};

int fdOf(sqlite3_file* pFile) {
  return reinterpret_cast<OpenFile*>(pFile)->fd;
}

int closeFile(sqlite3_file*) {
  return SQLITE_OK;
}

int readFile(sqlite3_file* pFile, void* pBuffer, int cb, sqlite3_int64 iOffset) {
  auto* const pBytes = static_cast<char*>(pBuffer);
  int cbRead = 0;
  while (cbRead < cb) {
    const ssize_t cbPart = pread(fdOf(pFile), pBytes + cbRead, static_cast<std::size_t>(cb - cbRead), iOffset + cbRead);
    if (cbPart < 0 && errno != EINTR) {
      return SQLITE_IOERR_READ;
    }
    if (cbPart == 0) {
      std::memset(pBytes + cbRead, 0, static_cast<std::size_t>(cb - cbRead));
      return SQLITE_IOERR_SHORT_READ;
    }
    cbRead += static_cast<int>(std::max<ssize_t>(cbPart, 0));
  }
  for (const sqlite3_int64 iFormat : {FORMAT_TO_WRITE, FORMAT_TO_READ}) {
    if (iOffset <= iFormat && iFormat < iOffset + cb) {
      pBytes[iFormat - iOffset] = WITHOUT_LOG;
    }
  }
  return SQLITE_OK;
}

bool writeAll(int fd, const char* pBytes, std::size_t cb, sqlite3_int64 iOffset) {
  while (cb > 0) {
    const ssize_t cbPart = pwrite(fd, pBytes, cb, iOffset);
    if (cbPart < 0 && errno != EINTR) {
      return false;
    }
    const auto cbWritten = static_cast<std::size_t>(std::max<ssize_t>(cbPart, 0));
    pBytes += cbWritten;
    cb -= cbWritten;
    iOffset += static_cast<sqlite3_int64>(cbWritten);
  }
  return true;
}

int writeFile(sqlite3_file* pFile, const void* pBuffer, int cb, sqlite3_int64 iOffset) {
  bool blWritten = writeAll(fdOf(pFile), static_cast<const char*>(pBuffer), static_cast<std::size_t>(cb), iOffset);
  for (const sqlite3_int64 iFormat : {FORMAT_TO_WRITE, FORMAT_TO_READ}) {
    if (iOffset <= iFormat && iFormat < iOffset + cb) {
      blWritten = blWritten && writeAll(fdOf(pFile), &WITHOUT_LOG, 1, iFormat);
    }
  }
  if (blWritten) {
    return SQLITE_OK;
  }
  return errno == ENOSPC || errno == EDQUOT || errno == EFBIG ? SQLITE_FULL : SQLITE_IOERR_WRITE;
}

int truncateFile(sqlite3_file* pFile, sqlite3_int64 cb) {
  return ftruncate(fdOf(pFile), cb) == 0 ? SQLITE_OK : SQLITE_IOERR_TRUNCATE;
}

int syncFile(sqlite3_file* pFile, int) {
  return fsync(fdOf(pFile)) == 0 ? SQLITE_OK : SQLITE_IOERR_FSYNC;
}

int sizeOfFile(sqlite3_file* pFile, sqlite3_int64* pcb) {
  struct stat status{};
  if (fstat(fdOf(pFile), &status) < 0) {
    return SQLITE_IOERR_FSTAT;
  }
  *pcb = status.st_size;
  return SQLITE_OK;
}

/// Nobody else knows the file.
int noLock(sqlite3_file*, int) {
  return SQLITE_OK;
}

int noReservedLock(sqlite3_file*, int* pblLocked) {
  *pblLocked = 0;
  return SQLITE_OK;
}

int noControl(sqlite3_file*, int, void*) {
  return SQLITE_NOTFOUND;
}

int sectorSize(sqlite3_file*) {
  return CB_SECTOR;
}

int noCharacteristics(sqlite3_file*) {
  return 0;
}

constexpr sqlite3_io_methods METHODS = {
    1,       closeFile, readFile,       writeFile, truncateFile, syncFile,          sizeOfFile,
    noLock,  noLock,    noReservedLock, noControl, sectorSize,   noCharacteristics, nullptr,
    nullptr, nullptr,   nullptr,        nullptr,   nullptr};

sqlite3_vfs* usualVfs(sqlite3_vfs* pVfs) {
  return static_cast<sqlite3_vfs*>(pVfs->pAppData);
}

/// Temporary files have no name; SQLite sorts in them.
int openFile(sqlite3_vfs* pVfs, const char* szName, sqlite3_file* pFile, int iFlags, int* piFlags) {
  if (szName == nullptr) {
    return usualVfs(pVfs)->xOpen(usualVfs(pVfs), szName, pFile, iFlags, piFlags);
  }
  pFile->pMethods = nullptr;
  if ((iFlags & SQLITE_OPEN_MAIN_DB) == 0) {
    return SQLITE_CANTOPEN;
  }
  std::from_chars(szName, szName + std::strlen(szName), reinterpret_cast<OpenFile*>(pFile)->fd);
  pFile->pMethods = &METHODS;
  if (piFlags != nullptr) {
    *piFlags = iFlags;
  }
  return SQLITE_OK;
}

int noFileToDelete(sqlite3_vfs*, const char*, int) {
  return SQLITE_OK;
}

int noOtherFile(sqlite3_vfs*, const char*, int, int* pblThere) {
  *pblThere = 0;
  return SQLITE_OK;
}

int nameAsGiven(sqlite3_vfs*, const char* szName, int cbOut, char* szOut) {
  sqlite3_snprintf(cbOut, szOut, "%s", szName);
  return SQLITE_OK;
}

/// Registered once; the rest of it is the usual one's.
const char* vfsName() {
  static sqlite3_vfs vfs = [] {
    sqlite3_vfs* const pUsual = sqlite3_vfs_find(nullptr);
    sqlite3_vfs own = *pUsual;
    own.szOsFile = std::max(own.szOsFile, static_cast<int>(sizeof(OpenFile)));
    own.pNext = nullptr;
    own.zName = NAME;
    own.pAppData = pUsual;
    own.xOpen = openFile;
    own.xDelete = noFileToDelete;
    own.xAccess = noOtherFile;
    own.xFullPathname = nameAsGiven;
    return own;
  }();
  static const int iRegistered = sqlite3_vfs_register(&vfs, 0);
  return iRegistered == SQLITE_OK ? NAME : nullptr;
}

}  // namespace

Database openFileDatabase(int fd, Access access, const std::string& strName) {
  const bool blWrite = access == Access::WRITE;
  Database database =
      openDatabase(fmt::format("{}", fd), blWrite ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY, vfsName(), strName);
  if (blWrite) {
    execute(database, "pragma journal_mode = off; pragma synchronous = off", strName);
  }
  return database;
}

}  // namespace Host
