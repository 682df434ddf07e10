#include "input.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <fstream>
#include <iostream>
#include <json/reader.h>
#include <memory>

#include "common/failure.h"

std::string readInput(const std::string& strFile, std::size_t cbMax) {
  std::ifstream file;
  const bool blStdin = strFile == "-";
  if (!blStdin) {
    file.open(strFile, std::ios::binary);
  }
  std::istream& in = blStdin ? std::cin : file;
  std::string strText(cbMax + 1, '\0');
  in.read(strText.data(), static_cast<std::streamsize>(strText.size()));
  // A folder opens like a file and fails only when it is read.
  if ((!blStdin && !file.is_open()) || in.bad()) {
    throw Host::Failure(fmt::format("cannot read {}: {}", strFile, std::strerror(errno)));
  }
  if (in.gcount() > static_cast<std::streamsize>(cbMax)) {
    throw Host::Failure(fmt::format("{} is too long: {} bytes are allowed", strFile, cbMax));
  }
  strText.resize(static_cast<std::size_t>(in.gcount()));
  return strText;
}

Json::Value readRecord(const std::string& strFile) {
  const std::string strText = readInput(strFile);
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  const std::unique_ptr<Json::CharReader> pReader(builder.newCharReader());
  Json::Value jRecord;
  std::string strErrors;
  bool blRead = false;
  try {
    blRead = pReader->parse(strText.data(), strText.data() + strText.size(), &jRecord, &strErrors);
  } catch (const Json::Exception& error) {
    strErrors = error.what();
  }
  if (!blRead) {
    std::replace(strErrors.begin(), strErrors.end(), '\n', ' ');
    throw Host::Failure(fmt::format("{} is no JSON: {}", strFile, strErrors));
  }
  return jRecord;
}
