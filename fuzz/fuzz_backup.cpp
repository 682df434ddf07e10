// Fuzzes the reader of backups. libFuzzer's input is a list of changes of a good backup: page, offset, and bytes.

#include <cstdio>
#include <string>
#include <string_view>

#include "common/state/backup.h"
#include "common/state/initialize.h"
#include "common/store/database.h"
#include "common/support/failure.h"
#include "fuzz/server.h"
#include "support/files.h"

namespace {

constexpr char BACKUP[] = "/tmp/backup.db";
constexpr std::size_t CB_PAGE = 4096;
constexpr std::size_t MAX_BYTES = 16;

std::string g_strGood;

/// One change is two bytes for the place in a page, one for the page, one for the number of bytes, and the bytes.
std::string changed(std::string_view strChanges) {
  constexpr std::size_t HEADER = 4;
  const auto byteAt = [&](std::size_t i) { return std::size_t{static_cast<unsigned char>(strChanges[i])}; };
  std::string strFile = g_strGood;
  while (strChanges.size() > HEADER) {
    const std::size_t iPage = byteAt(0) % (strFile.size() / CB_PAGE) * CB_PAGE;
    const std::size_t iByte = iPage + (byteAt(1) << 8 | byteAt(2)) % (CB_PAGE - MAX_BYTES);
    const std::size_t cb = std::min(byteAt(3) % MAX_BYTES + 1, strChanges.size() - HEADER);
    strFile.replace(iByte, cb, strChanges.substr(HEADER, cb));
    strChanges.remove_prefix(HEADER + cb);
  }
  return strFile;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  OrvaFuzz::enterServer();
  OrvaTest::installShareFiles();
  Host::initialize("");
  Host::execute(Host::openStore(),
                "insert into task (task_name, owner, event, operation) values ('one', 0, 'daily', 'exit 0');"
                "insert into task_result (task_name, start_time, stop_time) values ('one', 1, 2), ('one', 3, 4)",
                "the store");
  Host::writeBackup(BACKUP);
  g_strGood = OrvaTest::readFile(BACKUP);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pBytes, std::size_t cBytes) {
  OrvaTest::writeFile(BACKUP, changed({reinterpret_cast<const char*>(pBytes), cBytes}));
  try {
    Host::readBackup(BACKUP, Host::Owners::AS_NUMBERED);
  } catch (const Host::Failure&) {
    return 0;
  }
  return 0;
}
