/// \file world.h
/// The small server on which hostile requests arrive.

#pragma once

#include <json/value.h>
#include <memory>
#include <sqlite3.h>
#include <string>
#include <vector>

#include "orva_platform.h"

#include "conformance/property/choices.h"

namespace OrvaTest {

/// \name Valid records and requests, to be spoiled
/// @{
Json::Value validTask(const std::string& strName, const std::string& strDependOnTask);
Json::Value validRun(int iResultId, const std::string& strTaskName);
Json::Value validSection();
/// @}

/// Two store handles over recorded tables, a database for the transactions, and the library's files.
class World {
public:
  World();
  ~World();
  World(const World&) = delete;
  World& operator=(const World&) = delete;

  /// Puts the records and the files in place, each of them sound or spoiled.
  void setScene(Choices& choices);

  /// Plans what the platform answers in the next call, and from what it is judged afterwards.
  void prepareCall(Choices& choices);

  /// The handles, null once in a while.
  OrvaJsonDbApi* taskApi(Choices& choices) { return choices.oneIn(64) ? nullptr : m_pTask.get(); }
  OrvaJsonDbApi* resultApi(Choices& choices) { return choices.oneIn(64) ? nullptr : m_pTaskResult.get(); }
  sqlite3* database(Choices& choices) { return choices.oneIn(64) ? nullptr : m_pDb.get(); }

  /// True when a transaction is open on the database; it is rolled back here.
  bool endTransaction();

  /// What the last call left behind and should not have: descriptors, children, platform objects.
  std::vector<std::string> leftovers() const;

  /// The number of lines that were logged since prepareCall().
  size_t loggedLines() const;

  /// Lines of the guard at the boundary: something was thrown inside, where types should have been tested before.
  std::vector<std::string> linesOfRescue() const;

  /// The configuration file's content, empty without one.
  static std::string configText();
  static void removeConfig();

private:
  void putRecords(Choices& choices);
  void putFiles(Choices& choices);
  void planAnswers(Choices& choices);

  struct Close {
    void operator()(sqlite3* pDb) const { sqlite3_close(pDb); }
  };
  std::unique_ptr<sqlite3, Close> m_pDb;
  std::unique_ptr<OrvaJsonDbApi> m_pTask;
  std::unique_ptr<OrvaJsonDbApi> m_pTaskResult;
  int m_cScenes = 0;
  int m_fdNext = -1;  // the lowest free descriptor
};

}  // namespace OrvaTest
