/// \file world.h
/// A small server for hostile requests.

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

  /// Creates the records and the files, each of them valid or spoiled.
  void setScene(Choices& choices);

  /// Plans the platform's answers in the next call, and saves the state for the checks after it.
  void prepareCall(Choices& choices);

  /// The handles, occasionally null.
  OrvaJsonDbApi* taskApi(Choices& choices) { return choices.oneIn(64) ? nullptr : m_pTask.get(); }
  OrvaJsonDbApi* resultApi(Choices& choices) { return choices.oneIn(64) ? nullptr : m_pTaskResult.get(); }
  sqlite3* database(Choices& choices) { return choices.oneIn(64) ? nullptr : m_pDb.get(); }

  /// True when a transaction is open on the database; it is rolled back here.
  bool endTransaction();

  /// The leftovers of the last call: descriptors, children, platform objects.
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
