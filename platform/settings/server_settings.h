/// \file server_settings.h
/// The server's settings, /etc/orvainfo.conf.

#pragma once

#include <string>
#include <string_view>

namespace orva {

/// Reads one setting from the file.
/// \return its value; the default when the file or the key is missing, or the value is empty.
std::string serverSetting(std::string_view strKey, std::string_view strDefault);

/// The server's language for mail and texts: `maillang` if it can be a folder's name, else "enu".
std::string serverLanguage();

/// The host's name, else "localhost".
std::string serverHostName();

/// The name under which the server sends mail: /etc/mailname, else the host's name.
std::string serverMailName();

}  // namespace orva
