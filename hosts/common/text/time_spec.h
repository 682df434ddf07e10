/// \file time_spec.h
/// Reads points in time as people type them.

#pragma once

#include <ctime>
#include <optional>
#include <string>

namespace Host {

/// The accepted forms, for messages and help.
inline constexpr char TIME_SPEC_FORMS[] =
    "\"2h\" or \"1d 12h\" (ago), \"now\", \"today\", \"yesterday\", \"2026-11-20\", \"2026-11-20 09:30\", \"09:30\", "
    "\"@1700000000\"";

/// Reads a point in time. A day means its beginning. Clock times are local, and of today without a day. A duration
/// counts back from now.
/// \return Unix seconds; nothing when the text is none of these forms.
std::optional<std::time_t> readTimeSpec(const std::string& strText, std::time_t now);

}  // namespace Host
