#include "json_reader.h"

#include <algorithm>
#include <json/reader.h>
#include <memory>

#include "common/support/failure.h"

namespace Host {

namespace {

/// Creating a reader takes longer than reading.
Json::CharReader& strictReader() {
  static const std::unique_ptr<Json::CharReader> READER = [] {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    return std::unique_ptr<Json::CharReader>(builder.newCharReader());
  }();
  return *READER;
}

bool parse(const std::string& strText, Json::Value& jValue, std::string& strErrors) {
  try {
    return strictReader().parse(strText.data(), strText.data() + strText.size(), &jValue, &strErrors);
  } catch (const Json::Exception& error) {
    strErrors = error.what();
    return false;
  }
}

}  // namespace

Json::Value readJson(const std::string& strText) {
  Json::Value jValue;
  std::string strErrors;
  if (!parse(strText, jValue, strErrors)) {
    std::replace(strErrors.begin(), strErrors.end(), '\n', ' ');
    throw Failure(strErrors);
  }
  return jValue;
}

Json::Value readJsonOrNull(const std::string& strText) {
  Json::Value jValue;
  std::string strErrors;
  return parse(strText, jValue, strErrors) ? jValue : Json::Value();
}

}  // namespace Host
