// Fuzzes the readers of the library's JSON files. libFuzzer's input is the file.

#include <eorvascheduler.h>
#include <json/value.h>
#include <string>

#include "fakes/fakes.h"
#include "fuzz/server.h"
#include "support/files.h"

namespace {

const std::string CONFIG_FILE = "/usr/orva/etc/eorvascheduler/eorvascheduler-conf.json";
const std::string SHARE_FOLDER = "/usr/orva/share/eorvascheduler/";

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  OrvaFuzz::enterServer();
  OrvaTest::fakes().reset();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pBytes, std::size_t cBytes) {
  const std::string strText(reinterpret_cast<const char*>(pBytes), cBytes);
  OrvaTest::fakes().journal().clear();
  OrvaTest::writeFile(CONFIG_FILE, strText);
  OrvaTest::writeFile(SHARE_FOLDER + "eorvascheduler-table-def.json", strText);
  OrvaTest::writeFile(SHARE_FOLDER + "eorvascheduler-event.json", strText);

  Json::Value jNull;
  Json::Value jOut;
  Json::Value jSection;
  jSection["type"] = "eorvascheduler";
  recConfigGet(jOut);
  eventList(jOut);
  loadTableDef(jOut);
  jOut = Json::Value();
  const int iRead = configGet(jNull, jOut);
  const int iStored = configSet(jSection);
  // A readable file can be extended and read again; an unreadable file is not overwritten.
  if ((iRead == 1) != (iStored == 0)) {
    std::abort();
  }
  jOut = Json::Value();
  if (iStored == 0 && (configGet(jSection, jOut) != 1 || jOut != jSection)) {
    std::abort();
  }
  return 0;
}
