#include "record_store/filter.h"

#include <cerrno>

#include "record_store/failure.h"

namespace record_store {
namespace {

constexpr const char* RAW_MEMBER = "orvaSqlWhereFilter";

bool isRaw(const Json::Value& jFilter) {
  return jFilter.size() == 1 && jFilter.isMember(RAW_MEMBER);
}

std::string rawText(const Json::Value& jFilter) {
  const Json::Value& jText = jFilter[RAW_MEMBER];
  if (!jText.isString()) {
    RAISE(EINVAL, "{} is not a string", RAW_MEMBER);
  }
  std::string strText = jText.asString();
  // SQLite would read only the text before the NUL.
  if (strText.find('\0') != std::string::npos) {
    RAISE(EINVAL, "{} contains a NUL", RAW_MEMBER);
  }
  return strText;
}

}  // namespace

Filter::Filter(const TableDefinition& definition, const Json::Value& jFilter, FilterKind kind)
    : m_members(definition, jFilter, "filter") {
  const std::optional<std::string>& unknown = m_members.unknown();
  if (kind == FilterKind::MEMBERS_OR_RAW && isRaw(jFilter)) {
    m_raw = rawText(jFilter);
  } else if (unknown) {
    RAISE(EINVAL, "the filter's member {} is not a column", *unknown);
  }
}

}  // namespace record_store
