#include "backup_owners.h"

#include <algorithm>
#include <fmt/format.h>
#include <map>
#include <sqlite3.h>
#include <sys/types.h>

#include "common/server/users.h"
#include "common/support/failure.h"

namespace Host {

namespace {

std::vector<sqlite3_int64> ownersIn(const Database& backup, const std::string& strName) {
  std::vector<sqlite3_int64> vecOwners;
  const Statement statement = prepare(backup, "select distinct owner from task where owner is not null", strName);
  while (nextRow(backup, statement, strName)) {
    vecOwners.push_back(sqlite3_column_int64(statement.get(), 0));
  }
  return vecOwners;
}

/// \param strThen  the user with this id at the backup; empty when there was none. \param strNow  the user here.
std::string changeText(const std::string& strTask, sqlite3_int64 iOwner, const std::string& strThen,
                       const std::string& strNow) {
  const std::string strHere = strNow.empty() ? "no user" : strNow;
  if (strThen.empty()) {
    return fmt::format("task \"{}\": its owner {} had no name, and is {} here", strTask, iOwner, strHere);
  }
  const std::optional<uid_t> uid = findUser(strThen);
  return fmt::format("task \"{}\": its owner {} was {}; here {} is {}, and {}", strTask, iOwner, strThen, iOwner,
                     strHere,
                     uid ? fmt::format("{} is {}", strThen, *uid) : fmt::format("there is no user {}", strThen));
}

}  // namespace

void addOwners(const Database& backup, const std::string& strName) {
  execute(backup, "create table backup_owner (uid integer primary key not null, name text not null) strict", strName);
  for (const sqlite3_int64 iOwner : ownersIn(backup, strName)) {
    const std::string strOwner = userName(static_cast<uid_t>(iOwner));
    const Statement statement = prepare(backup, "insert into backup_owner (uid, name) values (?, ?)", strName);
    sqlite3_bind_int64(statement.get(), 1, iOwner);
    sqlite3_bind_text(statement.get(), 2, strOwner.c_str(), -1, SQLITE_STATIC);
    if (sqlite3_step(statement.get()) != SQLITE_DONE) {
      throw Failure(fmt::format("cannot write {}: {}", strName, sqlite3_errmsg(backup.get())));
    }
  }
}

void nameOwners(const Database& store, const char* szTasks, const std::string& strName) {
  const std::string strSql = fmt::format("update task set owner_name = nullif(?, '') where owner = ? and {}", szTasks);
  for (const sqlite3_int64 iOwner : ownersIn(store, strName)) {
    const std::string strOwner = userName(static_cast<uid_t>(iOwner));
    const Statement statement = prepare(store, strSql.c_str(), strName);
    sqlite3_bind_text(statement.get(), 1, strOwner.c_str(), -1, SQLITE_STATIC);
    sqlite3_bind_int64(statement.get(), 2, iOwner);
    nextRow(store, statement, strName);
  }
}

std::optional<std::vector<std::string>> otherOwners(BackupReader& backup) {
  if (backup.tables().count(OWNERS_OF_BACKUP) == 0) {
    return std::nullopt;
  }
  std::map<sqlite3_int64, std::string> mapNames;
  const Statement names = prepare(backup.database(), "select uid, name from backup_owner not indexed", backup.name());
  while (backup.next(names)) {
    mapNames[sqlite3_column_int64(names.get(), 0)] = columnText(names, 1);
  }
  std::vector<std::string> vecOther;
  const Statement tasks = prepare(backup.database(), "select task_name, owner from task not indexed", backup.name());
  while (backup.next(tasks)) {
    const sqlite3_int64 iOwner = sqlite3_column_int64(tasks.get(), 1);
    const std::string& strThen = mapNames[iOwner];
    const std::string strNow = userName(static_cast<uid_t>(iOwner));
    if (strThen != strNow) {
      vecOther.push_back(changeText(columnText(tasks, 0), iOwner, strThen, strNow));
    }
  }
  std::sort(vecOther.begin(), vecOther.end());
  return vecOther;
}

}  // namespace Host
