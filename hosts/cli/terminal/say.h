/// \file say.h
/// Writes text for people to standard output.

#pragma once

#include <fmt/format.h>
#include <string>
#include <string_view>
#include <type_traits>

#include "common/text/terminal_text.h"

template <typename Argument>
using Shown = std::conditional_t<std::is_convertible_v<const Argument&, std::string_view>, std::string, Argument>;

/// A text comes from users, other programs or files: each is written in one line, in visible form. The terminal may be
/// behind a pipe, as with ssh. Other values stay as they are.
template <typename Argument>
Shown<Argument> shown(const Argument& argument) {
  if constexpr (std::is_convertible_v<const Argument&, std::string_view>) {
    return Host::onOneLine(argument);
  } else {
    return argument;
  }
}

template <typename... Arguments>
void say(fmt::format_string<Shown<Arguments>...> szFormat, const Arguments&... arguments) {
  fmt::print(szFormat, shown(arguments)...);
}
