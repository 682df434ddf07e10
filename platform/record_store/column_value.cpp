#include "record_store/column_value.h"

#include <cerrno>
#include <cstring>
#include <limits>
#include <new>
#include <sqlite3.h>

#include "record_store/failure.h"

namespace record_store {
namespace {

constexpr std::size_t MAX_SHOWN = 40;

// The description of a value in a log line: its text if it is short.
std::string describe(const Json::Value& jValue) {
  std::string strText;
  if (const char* szReason = writeJson(jValue, strText)) {
    return fmt::format("a value ({})", szReason);
  }
  if (strText.size() > MAX_SHOWN) {
    strText.replace(MAX_SHOWN, std::string::npos, "...");
  }
  return strText;
}

[[noreturn]] void raiseMismatch(const Column& column, const Json::Value& jValue) {
  RAISE(EINVAL, "column {}: {} does not fit the type {}", column.strName, describe(jValue), typeName(column.type));
}

// Tests the type, because JsonCpp also calls 5.0 an integer.
bool isStoredInteger(const Json::Value& jValue) {
  if (jValue.type() == Json::uintValue) {
    return jValue.asLargestUInt() <= static_cast<Json::LargestUInt>(std::numeric_limits<sqlite3_int64>::max());
  }
  return jValue.type() == Json::intValue;
}

bool fits(ColumnType type, const Json::Value& jValue) {
  switch (type) {
    case ColumnType::INTEGER:
      return isStoredInteger(jValue);
    case ColumnType::BOOLEAN:
      return jValue.isBool();
    case ColumnType::TEXT:
      return jValue.isString();
    case ColumnType::JSON:
      return true;
  }
  return false;
}

int bindText(sqlite3_stmt* pStatement, int iParameter, const Json::Value& jText) {
  const char* pBegin = nullptr;
  const char* pEnd = nullptr;
  jText.getString(&pBegin, &pEnd);
  const auto cbText = static_cast<sqlite3_uint64>(pEnd - pBegin);
  return sqlite3_bind_text64(pStatement, iParameter, pBegin, cbText, SQLITE_STATIC, SQLITE_UTF8);
}

std::string_view textOf(sqlite3_value* pStored) {
  const auto* pText = reinterpret_cast<const char*>(sqlite3_value_text(pStored));
  if (pText == nullptr) {
    throw std::bad_alloc();
  }
  return {pText, static_cast<std::size_t>(sqlite3_value_bytes(pStored))};
}

bool readInteger(Json::Int64 iValue, ColumnType type, Json::Value& jOut) {
  if (type == ColumnType::INTEGER) {
    jOut = iValue;
    return true;
  }
  if (type == ColumnType::BOOLEAN && (iValue == 0 || iValue == 1)) {
    jOut = iValue == 1;
    return true;
  }
  return false;
}

bool readText(std::string_view strText, ColumnType type, const ColumnMemory& memory, Json::Value& jOut) {
  if (type != ColumnType::TEXT) {
    return type == ColumnType::JSON && memory.reader.read(strText, jOut);
  }
  if (const char* szLasting = memory.text.find(strText)) {
    jOut = Json::StaticString(szLasting);
  } else {
    jOut = Json::Value(strText.data(), strText.data() + strText.size());
  }
  return true;
}

bool readStored(sqlite3_value* pStored, ColumnType type, const ColumnMemory& memory, Json::Value& jOut) {
  switch (sqlite3_value_type(pStored)) {
    case SQLITE_INTEGER:
      return readInteger(sqlite3_value_int64(pStored), type, jOut);
    case SQLITE_TEXT:
      return readText(textOf(pStored), type, memory, jOut);
    default:
      return false;
  }
}

}  // namespace

bool isSqlNull(const Column& column, const Json::Value& jValue) {
  return jValue.isNull() && column.type != ColumnType::JSON;
}

int Binder::bindJson(int iParameter, const Column& column, const Json::Value& jValue) {
  if (const char* szReason = writeJson(jValue, m_strJson)) {
    RAISE(EINVAL, "column {}: {}", column.strName, szReason);
  }
  return sqlite3_bind_text64(m_statement.handle(), iParameter, m_strJson.data(), m_strJson.size(), SQLITE_TRANSIENT,
                             SQLITE_UTF8);
}

void Binder::bind(const Column& column, const Json::Value& jValue) {
  sqlite3_stmt* pStatement = m_statement.handle();
  const int iParameter = ++m_iBound;
  int iResult = SQLITE_OK;
  if (isSqlNull(column, jValue)) {
    iResult = sqlite3_bind_null(pStatement, iParameter);
  } else if (!fits(column.type, jValue)) {
    raiseMismatch(column, jValue);
  } else if (column.type == ColumnType::JSON) {
    iResult = bindJson(iParameter, column, jValue);
  } else if (column.type == ColumnType::TEXT) {
    iResult = bindText(pStatement, iParameter, jValue);
  } else if (column.type == ColumnType::BOOLEAN) {
    iResult = sqlite3_bind_int(pStatement, iParameter, jValue.asBool() ? 1 : 0);
  } else {
    iResult = sqlite3_bind_int64(pStatement, iParameter, jValue.asInt64());
  }
  if (iResult != SQLITE_OK) {
    RAISE_SQLITE(m_statement.database(), iResult);
  }
}

bool readColumn(sqlite3_value* pStored, ColumnType type, const ColumnMemory& memory, Json::Value& jOut) {
  if (readStored(pStored, type, memory, jOut)) {
    return true;
  }
  jOut = Json::Value();
  return false;
}

}  // namespace record_store
