#include "input.h"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <fstream>
#include <iostream>

#include "common/support/failure.h"
#include "common/text/json_reader.h"

std::string readInput(const std::string& strFile, std::size_t cbMax) {
  std::ifstream file;
  const bool blStdin = strFile == "-";
  if (!blStdin) {
    file.open(strFile, std::ios::binary);
  }
  std::istream& in = blStdin ? std::cin : file;
  std::string strText(cbMax + 1, '\0');
  in.read(strText.data(), static_cast<std::streamsize>(strText.size()));
  // A folder opens like a file; reading it fails.
  if ((!blStdin && !file.is_open()) || in.bad()) {
    throw Host::Failure(fmt::format("cannot read {}: {}", strFile, std::strerror(errno)));
  }
  if (in.gcount() > static_cast<std::streamsize>(cbMax)) {
    throw Host::Failure(fmt::format("{} is too long: at most {} bytes are allowed", strFile, cbMax));
  }
  strText.resize(static_cast<std::size_t>(in.gcount()));
  return strText;
}

Json::Value readRecord(const std::string& strFile) {
  const std::string strText = readInput(strFile);
  try {
    return Host::readJson(strText);
  } catch (const Host::Failure& error) {
    throw Host::Failure(fmt::format("{} is not JSON: {}", strFile, error.what()));
  }
}
