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

namespace {

constexpr std::streamsize CB_MAX_INPUT = 1024 * 1024;

}  // namespace

std::string readInput(const std::string& strFile) {
  std::ifstream file;
  const bool blStdin = strFile == "-";
  if (!blStdin) {
    file.open(strFile, std::ios::binary);
  }
  std::istream& in = blStdin ? std::cin : file;
  std::string strText(static_cast<std::size_t>(CB_MAX_INPUT) + 1, '\0');
  in.read(strText.data(), static_cast<std::streamsize>(strText.size()));
  // A folder opens like a file and fails only when it is read.
  if ((!blStdin && !file.is_open()) || in.bad()) {
    throw Host::Failure(fmt::format("cannot read {}: {}", strFile, std::strerror(errno)));
  }
  if (in.gcount() > CB_MAX_INPUT) {
    throw Host::Failure(fmt::format("{} is too long: {} bytes are allowed", strFile, CB_MAX_INPUT));
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
