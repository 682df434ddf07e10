#include <cerrno>
#include <optional>
#include <sqlite3.h>

#include "orva_platform.h"

#include "record_store/authorizer.h"
#include "record_store/busy.h"
#include "record_store/definition.h"
#include "record_store/failure.h"
#include "record_store/filter.h"
#include "record_store/list_guard.h"
#include "record_store/members.h"
#include "record_store/row_reader.h"
#include "record_store/schema.h"
#include "record_store/sql_texts.h"
#include "record_store/statement.h"
#include "record_store/write_guard.h"

using namespace record_store;

struct __attribute__((visibility("hidden"))) OrvaJsonDbApi::Impl {
  Impl(sqlite3* pDb, const std::string& strTable, const Json::Value& jDefinitions, const std::string& strSqlCreate)
      : m_pDb(pDb), m_definition(strTable, jDefinitions), m_texts(m_definition), m_reader(m_definition) {
    makeReady(m_pDb, m_definition, jDefinitions, strSqlCreate);
  }

  int create(const Json::Value& jIn, Json::Value& jOut);
  int getOne(const Json::Value& jFilter, Json::Value& jOut);
  int list(const Json::Value& jFilter, Json::Value& jOut);
  int update(const Json::Value& jFilter, const Json::Value& jUpdate);
  int remove(const Json::Value& jIn, bool blMustExist);

  template <typename Operation>
  int reported(const char* szOperation, const Operation& operation) const noexcept;

private:
  template <typename Take>
  void readRows(const Filter& filter, RowLimit limit, const Take& take);
  bool hasRowNumbers() const;
  ColumnSet columnsToSet(const Members& update, const Filter& filter) const;

  sqlite3* m_pDb;
  TableDefinition m_definition;
  SqlTexts m_texts;
  RowReader m_reader;
};

// Runs an operation; an exception becomes its result -1.
template <typename Operation>
int OrvaJsonDbApi::Impl::reported(const char* szOperation, const Operation& operation) const noexcept {
  try {
    return operation();
  } catch (const std::exception& failure) {
    reportFailure(m_definition.table(), szOperation, failure);
    return -1;
  }
}

int OrvaJsonDbApi::Impl::create(const Json::Value& jIn, Json::Value& jOut) {
  const Members record(m_definition, jIn, "record");
  Json::Value jCreated = retryWrite(m_pDb, [&] {
    Statement statement(m_pDb, m_texts.insertRow(record.set()));
    Binder binder(statement);
    record.bind(binder, record.set());
    Json::Value jRow = statement.step() ? m_reader.read(statement) : Json::Value();
    statement.finish();
    // If the table is a view, the statement returns a row but stores none.
    if (sqlite3_changes(m_pDb) != 1) {
      RAISE(EINVAL, "the table did not store the record");
    }
    return jRow;
  });
  jOut.swap(jCreated);
  return 0;
}

bool OrvaJsonDbApi::Impl::hasRowNumbers() const {
  int iKey = 0;
  // A column of the table's own can have this name. It is the number of the row only when it is the key.
  return sqlite3_table_column_metadata(m_pDb, "main", m_definition.table().c_str(), "rowid", nullptr, nullptr, nullptr,
                                       &iKey, nullptr) == SQLITE_OK &&
         iKey != 0;
}

template <typename Take>
void OrvaJsonDbApi::Impl::readRows(const Filter& filter, RowLimit limit, const Take& take) {
  const std::optional<std::string>& raw = filter.raw();
  std::optional<ReadOnlyGuard> guard;
  if (raw) {
    guard.emplace(m_pDb, m_definition.table());
  }
  const std::string strRawSql = raw ? m_texts.selectRaw(*raw, limit, hasRowNumbers()) : std::string();
  Statement statement(m_pDb, raw ? strRawSql : m_texts.selectRows(filter.shape(), limit));
  if (raw && sqlite3_bind_parameter_count(statement.handle()) != 0) {
    RAISE(EINVAL, "the filter must not have a parameter");
  }
  Binder binder(statement);
  filter.bind(binder);
  while (statement.step()) {
    take(m_reader.read(statement));
  }
}

int OrvaJsonDbApi::Impl::getOne(const Json::Value& jFilter, Json::Value& jOut) {
  const Filter filter(m_definition, jFilter, FilterKind::MEMBERS_OR_RAW);
  Json::Value jFound;
  retryWhileBusy(m_pDb, [&] {
    jFound = Json::Value();
    readRows(filter, RowLimit::ONE, [&](Json::Value&& jRow) { jFound = std::move(jRow); });
  });
  jOut.swap(jFound);
  return 0;
}

int OrvaJsonDbApi::Impl::list(const Json::Value& jFilter, Json::Value& jOut) {
  const Filter filter(m_definition, jFilter, FilterKind::MEMBERS_OR_RAW);
  askBeforeList();
  Json::Value jFound;
  retryWhileBusy(m_pDb, [&] {
    jFound = Json::Value(Json::arrayValue);
    readRows(filter, RowLimit::NONE, [&](Json::Value&& jRow) { jFound.append(std::move(jRow)); });
  });
  jOut.swap(jFound);
  return 0;
}

// An unchanged key is not written again, because rows of other tables refer to it. If it is the only column to write,
// it is written, so that the rows are counted.
ColumnSet OrvaJsonDbApi::Impl::columnsToSet(const Members& update, const Filter& filter) const {
  const std::size_t iKey = m_definition.keyIndex();
  const ColumnSet key = onlyColumn(iKey);
  const bool blSameKey =
      (update.set() & filter.members().set() & key) != 0 && update.value(iKey) == filter.members().value(iKey);
  return blSameKey && update.set() != key ? update.set() & ~key : update.set();
}

int OrvaJsonDbApi::Impl::update(const Json::Value& jFilter, const Json::Value& jUpdate) {
  const Filter filter(m_definition, jFilter, FilterKind::MEMBERS_ONLY);
  const Members update(m_definition, jUpdate, "update");
  const ColumnSet columns = columnsToSet(update, filter);
  if (columns == 0) {
    return 0;
  }
  return retryWrite(m_pDb, [&] {
    Statement statement(m_pDb, m_texts.updateRows(columns, filter.shape()));
    Binder binder(statement);
    update.bind(binder, columns);
    filter.bind(binder);
    statement.finish();
    return sqlite3_changes(m_pDb);
  });
}

int OrvaJsonDbApi::Impl::remove(const Json::Value& jIn, bool blMustExist) {
  const Members members(m_definition, jIn, "record");
  const ColumnSet key = onlyColumn(m_definition.keyIndex());
  if ((members.set() & ~members.nulls() & key) == 0) {
    RAISE(EINVAL, "the record has no key {}", m_definition.key().strName);
  }
  const int cDeleted = retryWrite(m_pDb, [&] {
    Statement statement(m_pDb, m_texts.deleteRow());
    Binder binder(statement);
    members.bind(binder, key);
    statement.finish();
    return sqlite3_changes(m_pDb);
  });
  if (cDeleted == 0 && blMustExist) {
    RAISE(ENOENT, "no such record");
  }
  return cDeleted;
}

OrvaJsonDbApi::OrvaJsonDbApi(sqlite3* pDb, const std::string& strTable, const Json::Value& jDefinitions,
                             const std::string& strSqlCreate) {
  try {
    m_pImpl = std::make_unique<Impl>(pDb, strTable, jDefinitions, strSqlCreate);
  } catch (const std::exception& failure) {
    reportFailure(strTable, "open", failure);
    throw;
  }
}

OrvaJsonDbApi::~OrvaJsonDbApi() = default;

int OrvaJsonDbApi::recCreate(const Json::Value& jIn, Json::Value& jOut) {
  return m_pImpl->reported("recCreate", [&] {
    const GuardedRecord record(this, nullptr, jIn);
    return m_pImpl->create(record.get(), jOut);
  });
}

int OrvaJsonDbApi::recGetOne(const Json::Value& jFilter, Json::Value& jOut) {
  return m_pImpl->reported("recGetOne", [&] { return m_pImpl->getOne(jFilter, jOut); });
}

int OrvaJsonDbApi::recList(const Json::Value& jFilter, Json::Value& jOut) {
  return m_pImpl->reported("recList", [&] {
    const int iResult = m_pImpl->list(jFilter, jOut);
    tellListed(this, jOut);
    return iResult;
  });
}

int OrvaJsonDbApi::recUpdateByFilter(const Json::Value& jFilter, const Json::Value& jUpdate) {
  return m_pImpl->reported("recUpdateByFilter", [&] {
    const GuardedRecord update(this, &jFilter, jUpdate);
    return m_pImpl->update(jFilter, update.get());
  });
}

int OrvaJsonDbApi::recDelete(const Json::Value& jIn, bool blMustExist) {
  return m_pImpl->reported("recDelete", [&] { return m_pImpl->remove(jIn, blMustExist); });
}
