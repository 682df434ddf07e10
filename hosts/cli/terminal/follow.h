/// \file follow.h
/// Showing what grows.

#pragma once

/// Waits a moment before the next look. When nobody reads standard output any more, ends this program as a write would.
void waitForMore();
