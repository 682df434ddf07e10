/// \file json_text.h
/// JSON values to and from the compact text that JSON columns hold.

#pragma once

#include <array>
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

/// Reads what writeJson() wrote. Building a parser costs several times what one parse costs, so it is kept; and rows
/// say the same few things over and over ("ended normally with 0"), so the last short texts are kept with their values.
/// What is said a second time is given out with lasting names and texts.
class JsonReader {
public:
  JsonReader();
  ~JsonReader();

  /// \param jOut  replaced by the value; undefined on failure.
  /// \return false when the text is no JSON value.
  bool read(std::string_view strText, Json::Value& jOut);

private:
  struct Known {
    std::string strText;
    Json::Value jValue;
    bool blLean = false;  ///< its names and texts are lasting ones
  };

  bool parse(std::string_view strText, Json::Value& jOut);
  void keep(std::string_view strText, const Json::Value& jValue);

  std::unique_ptr<Json::CharReader> m_pReader;
  std::array<Known, 4> m_known;
  std::size_t m_iOldest = 0;
};

}  // namespace record_store
