/// \file write_guard.h
/// The host's function that is called before a record is written.

#pragma once

#include <json/value.h>

class OrvaJsonDbApi;

namespace record_store {

/// The record or update that an operation writes: the caller's, or the host's changed copy.
class GuardedRecord {
public:
  /// Calls the host's function. Borrows the caller's record.
  /// \param pFilter  the filter of an update; null for a new record.
  GuardedRecord(OrvaJsonDbApi* pStore, const Json::Value* pFilter, const Json::Value& jCaller);

  const Json::Value& get() const { return m_jCopy.isNull() ? m_jCaller : m_jCopy; }

private:
  const Json::Value& m_jCaller;
  Json::Value m_jCopy;
};

}  // namespace record_store
