/// \file end_request.h
/// The request to end an execution: SIGTERM, for its watch and for its process.

#pragma once

namespace Host {

/// Takes SIGTERM as this request from now on. Scripts get the default.
void listenToEndRequests();

bool isAskedToEnd();

}  // namespace Host
