/// \file list_guard.h
/// The host's function that is called before records are listed.

#pragma once

namespace record_store {

/// Calls the host's function. \throw StoreFailure when it makes the listing fail.
void askBeforeList();

}  // namespace record_store
