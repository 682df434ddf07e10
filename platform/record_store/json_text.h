/// \file json_text.h
/// JSON values to and from the compact text that JSON columns hold.

#pragma once

#include <json/value.h>
#include <memory>
#include <string>
#include <string_view>

namespace Json {
class CharReader;
}

namespace record_store {

/// Writes a value as compact text. Strings keep their bytes, whatever their encoding.
/// \param strOut  replaced by the text.
/// \return null; or why the value has no text.
const char* writeJson(const Json::Value& jValue, std::string& strOut);

/// Reads what writeJson() wrote; building a parser costs several times what one parse costs, so it is kept.
class JsonReader {
public:
  JsonReader();
  ~JsonReader();

  /// \param jOut  replaced by the value; undefined on failure.
  /// \return false when the text is no JSON value.
  bool read(std::string_view strText, Json::Value& jOut);

private:
  std::unique_ptr<Json::CharReader> m_pReader;
};

}  // namespace record_store
