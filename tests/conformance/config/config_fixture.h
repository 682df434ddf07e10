/// \file config_fixture.h
/// Helpers for tests of the configuration file.

#pragma once

#include <algorithm>
#include <filesystem>

#include "fakes/eorva_test.h"

namespace OrvaTest {

inline const std::string CONFIG_PATH = "/usr/orva/etc/eorvascheduler/eorvascheduler-conf.json";
inline const std::string CONFIG =
    "{'eorvascheduler': {'type': 'eorvascheduler', 'output_path': 'logs', 'extra': [1, null]},"
    " 'other': {'type': 'other', 'n': 1}}";

inline std::string quoted(std::string strText) {
  std::replace(strText.begin(), strText.end(), '\'', '"');
  return strText;
}

inline void storeConfig(const std::string& strText = CONFIG) {
  writeFile(CONFIG_PATH, quoted(strText));
}

inline Json::Value storedConfig() {
  return json(readFile(CONFIG_PATH));
}

inline std::string call(const std::string& strName) {
  return strName + "(" + CONFIG_PATH;
}

// The files in the configuration's folder, which include leftover temporary files.
inline std::vector<std::string> filesInFolder() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator("/usr/orva/etc/eorvascheduler")) {
    names.push_back(entry.path().filename());
  }
  return names;
}

}  // namespace OrvaTest
