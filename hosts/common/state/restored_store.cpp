#include "restored_store.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "common/support/failure.h"
#include "common/support/paths.h"

namespace Host {

namespace {

/// Parents come before their children. An older backup lacks the last two.
constexpr const char* TABLES[] = {"task", "task_result", "firing", "firing_task"};

/// Larger numbers of runs would leave none for later ones, and JSON could not carry them.
constexpr char MAX_NUMBER[] = "9007199254740991";

/// Removes the indexes of our own SQL and makes them again at its end: sorting once is faster than inserting each row.
class LaterIndexes {
public:
  LaterIndexes(const Database& store, const std::string& strName) : m_store(store), m_strName(strName) {
    const Statement statement =
        prepare(store, "select name, sql from sqlite_schema where type = 'index' and sql is not null", strName);
    std::string strDrop;
    while (nextRow(store, statement, strName)) {
      strDrop += fmt::format("drop index {};", columnText(statement, 0));
      m_strCreate += columnText(statement, 1) + ";";
    }
    execute(store, strDrop.c_str(), strName);
  }

  void create() const { execute(m_store, m_strCreate.c_str(), m_strName); }

private:
  const Database& m_store;
  const std::string& m_strName;
  std::string m_strCreate;
};

class RowCopy {
public:
  RowCopy(BackupReader& backup, const Database& store) : m_backup(backup), m_store(store) {}

  void copyTable(const std::string& strTable) {
    const auto itTable = m_backup.tables().find(strTable);
    if (itTable == m_backup.tables().end()) {
      return;
    }
    const std::string strColumns = fmt::format("{}", fmt::join(itTable->second, ", "));
    const std::vector<std::string> vecMarks(itTable->second.size(), "?");
    // The indexes of the file may say anything.
    const Statement from =
        prepare(m_backup.database(), fmt::format("select {} from {} not indexed", strColumns, strTable).c_str(),
                m_backup.name());
    const Statement to =
        prepare(m_store,
                fmt::format("insert into {} ({}) values ({})", strTable, strColumns, fmt::join(vecMarks, ", ")).c_str(),
                m_backup.name());
    while (m_backup.next(from)) {
      insert(from, to, strTable);
    }
  }

  /// The numbers that were given last: none is used again.
  void copyLastNumbers() {
    if (firstText(m_backup.database(), "select count(*) from sqlite_schema where name = 'sqlite_sequence'",
                  m_backup.name()) == "0") {
      return;
    }
    const Statement from = prepare(m_backup.database(), "select name, seq from sqlite_sequence", m_backup.name());
    const Statement to =
        prepare(m_store,
                "insert into sqlite_sequence (name, seq) select ?1, ?2 from sqlite_schema where name = "
                "?1 and typeof(?2) = 'integer'",
                m_backup.name());
    while (m_backup.next(from)) {
      insert(from, to, "sqlite_sequence");
    }
  }

private:
  void insert(const Statement& from, const Statement& to, const std::string& strTable) const {
    for (int i = 0; i < sqlite3_column_count(from.get()); ++i) {
      sqlite3_bind_value(to.get(), i + 1, sqlite3_column_value(from.get(), i));
    }
    const int iCode = sqlite3_step(to.get());
    sqlite3_reset(to.get());
    if (iCode != SQLITE_DONE) {
      throw Failure(fmt::format("cannot restore {}: {} \"{}\" is not valid: {}", m_backup.name(), strTable,
                                columnText(from, 0), sqlite3_errmsg(m_store.get())));
    }
  }

  BackupReader& m_backup;
  const Database& m_store;
};

/// SQLite copies no database into one that has a write-ahead log and pages of another size.
/// \return 0 when there is no store.
std::string presentPageSize() {
  try {
    const Database store = openStore();
    // SQLite reads the size with the first table.
    execute(store, "select 1 from sqlite_schema", DATABASE_PATH);
    return firstText(store, "pragma page_size", DATABASE_PATH);
  } catch (const Failure&) {
    return "0";
  }
}

void refuseLargeNumbers(const Database& store, const std::string& strName) {
  const std::string strSql = fmt::format(
      "select (select count(*) from sqlite_sequence where seq not between 0 and {0}) + "
      "(select ifnull(min(result_id), 1) not between 1 and {0} from task_result) + "
      "(select ifnull(min(firing_id), 1) not between 1 and {0} from firing) + "
      "(select ifnull(min(firing_task_id), 1) not between 1 and {0} from firing_task)",
      MAX_NUMBER);
  if (firstText(store, strSql.c_str(), strName) != "0") {
    throw Failure(
        fmt::format("cannot restore {}: a run has a number that is not between 1 and {}", strName, MAX_NUMBER));
  }
}

/// Runs of tasks that do not exist: left by a tool that did not look after them.
void leaveOutOrphans(const Database& store, const std::string& strName, std::vector<std::string>& vecWarnings) {
  if (firstText(store, "select exists (select 1 from pragma_foreign_key_check)", strName) == "0") {
    return;
  }
  execute(store, "delete from task_result where task_name not in (select task_name from task)", strName);
  if (const int cRuns = sqlite3_changes(store.get()); cRuns > 0) {
    vecWarnings.push_back(fmt::format("{} runs of tasks that are not in {} are left out", cRuns, strName));
  }
  execute(store,
          "delete from firing_task where task_name not in (select task_name from task) or firing_id not in "
          "(select firing_id from firing)",
          strName);
}

}  // namespace

Database storeFrom(BackupReader& backup, std::vector<std::string>& vecWarnings) {
  Database store = emptyStore(presentPageSize());
  const LaterIndexes indexes(store, backup.name());
  execute(store, "begin", backup.name());
  RowCopy rows(backup, store);
  rows.copyLastNumbers();
  for (const char* szTable : TABLES) {
    rows.copyTable(szTable);
  }
  refuseLargeNumbers(store, backup.name());
  leaveOutOrphans(store, backup.name(), vecWarnings);
  indexes.create();
  execute(store, "commit", backup.name());
  if (std::to_string(backup.schema()) != firstText(store, "pragma user_version", backup.name())) {
    // A migration after the replacement could lack the room for it.
    execute(store, storeSql().c_str(), backup.name());
  }
  return store;
}

}  // namespace Host
