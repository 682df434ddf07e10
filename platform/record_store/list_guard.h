/// \file list_guard.h
/// The host's functions that are called before records are listed, and after that.

#pragma once

#include <json/value.h>

class OrvaJsonDbApi;

namespace record_store {

/// Calls the host's function. \throw StoreFailure when it makes the listing fail.
void askBeforeList();

/// Shows the host what was listed; it may remove records.
void tellListed(OrvaJsonDbApi* pStore, Json::Value& jRecords);

}  // namespace record_store
