/// \file list_guard.h
/// What a host wants to do before records are listed.

#pragma once

namespace record_store {

/// Asks the host. \throw StoreFailure when it has the list fail.
void askBeforeList();

}  // namespace record_store
