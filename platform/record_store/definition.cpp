#include "record_store/definition.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "record_store/failure.h"

namespace record_store {
namespace {

constexpr std::array<std::pair<ColumnType, const char*>, 4> TYPE_NAMES{{
    {ColumnType::INTEGER, "integer"},
    {ColumnType::BOOLEAN, "boolean"},
    {ColumnType::TEXT, "text"},
    {ColumnType::JSON, "json"},
}};

// Names go into SQL texts between brackets, which have no escape; plain identifiers need none.
bool isIdentifier(std::string_view strName) {
  constexpr std::string_view LETTERS = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_";
  constexpr std::string_view DIGITS = "0123456789";
  if (strName.empty() || DIGITS.find(strName.front()) != std::string_view::npos) {
    return false;
  }
  return std::all_of(strName.begin(), strName.end(), [&](char cLetter) {
    return LETTERS.find(cLetter) != std::string_view::npos || DIGITS.find(cLetter) != std::string_view::npos;
  });
}

const Json::Value& member(const Json::Value& jObject, const char* szName) {
  return jObject.isObject() ? jObject[szName] : Json::Value::nullSingleton();
}

std::string identifierIn(const Json::Value& jName, const char* szWhat) {
  if (!jName.isString() || !isIdentifier(jName.asString())) {
    RAISE(EINVAL, "the definition's {} is not a name of letters, digits and underscores", szWhat);
  }
  return jName.asString();
}

ColumnType typeIn(const Json::Value& jColumn, const std::string& strName) {
  const Json::Value& jType = member(jColumn, "type");
  for (const auto& [type, szName] : TYPE_NAMES) {
    if (jType.isString() && jType.asString() == szName) {
      return type;
    }
  }
  RAISE(EINVAL, "column {}: the type must be integer, boolean, text or json", strName);
}

std::vector<Column> columnsIn(const Json::Value& jColumns) {
  if (!jColumns.isArray() || jColumns.empty() || jColumns.size() > MAX_COLUMNS) {
    RAISE(EINVAL, "the definition needs an array of 1 to {} columns", MAX_COLUMNS);
  }
  std::vector<Column> columns;
  for (const Json::Value& jColumn : jColumns) {
    std::string strName = identifierIn(member(jColumn, "name"), "column name");
    const ColumnType type = typeIn(jColumn, strName);
    columns.push_back({std::move(strName), type});
  }
  return columns;
}

bool sortsBefore(const Column& left, const Column& right) {
  return left.strName < right.strName;
}

int schemaIn(const Json::Value& jSchema) {
  if (!jSchema.isInt() || jSchema.asInt() < 1) {
    RAISE(EINVAL, "the definition needs a schema version of 1 or more");
  }
  return jSchema.asInt();
}

}  // namespace

TableDefinition::TableDefinition(const std::string& strTable, const Json::Value& jDefinitions) : m_strTable(strTable) {
  const Json::Value& jDefinition = jDefinitions.isObject() ? jDefinitions[strTable] : Json::Value::nullSingleton();
  if (!jDefinition.isObject() || !isIdentifier(strTable)) {
    RAISE(EINVAL, "the table has no definition");
  }
  m_iSchema = schemaIn(jDefinition["schema"]);
  m_columns = columnsIn(jDefinition["columns"]);
  std::sort(m_columns.begin(), m_columns.end(), sortsBefore);
  for (std::size_t iColumn = 1; iColumn < m_columns.size(); ++iColumn) {
    if (m_columns[iColumn - 1].strName == m_columns[iColumn].strName) {
      RAISE(EINVAL, "column {} is defined twice", m_columns[iColumn].strName);
    }
  }
  m_iKey = indexOf(identifierIn(jDefinition["key"], "key"));
}

std::size_t TableDefinition::indexOf(std::string_view strName) const {
  for (std::size_t iColumn = 0; iColumn < m_columns.size(); ++iColumn) {
    if (m_columns[iColumn].strName == strName) {
      return iColumn;
    }
  }
  RAISE(EINVAL, "the key {} is not one of the columns", strName);
}

const char* typeName(ColumnType type) {
  const auto* pFound =
      std::find_if(TYPE_NAMES.begin(), TYPE_NAMES.end(), [type](const auto& name) { return name.first == type; });
  return pFound->second;
}

}  // namespace record_store
