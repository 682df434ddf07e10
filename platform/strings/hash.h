/// \file hash.h
/// The implementation of PKLIBCSZHASH.

#pragma once

#include <map>
#include <string>

#include "orva_platform.h"

struct tagKLIBCSZHASH {
  std::map<std::string, std::string, std::less<>> m_mapValue;
};
