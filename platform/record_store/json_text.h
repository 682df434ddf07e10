/// \file json_text.h
/// Converts JSON values to and from the compact text in JSON columns.

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

/// Writes a value as compact text. Strings keep their bytes in any encoding.
/// \param strOut  replaced by the text.
/// \return null; or the reason why the value cannot be written.
const char* writeJson(const Json::Value& jValue, std::string& strOut);

/// Reads the output of writeJson(). Building a parser costs several times as much as one parse, so the parser is kept.
/// Rows often repeat a few texts ("ended normally with 0"), so the last short texts are kept with their values. A
/// repeated text gets lasting names and texts.
class JsonReader {
public:
  JsonReader();
  ~JsonReader();

  /// \param jOut  replaced by the value; undefined on failure.
  /// \return false when the text is not a JSON value.
  bool read(std::string_view strText, Json::Value& jOut);

private:
  struct Known {
    std::string strText;
    Json::Value jValue;
    bool blLean = false;  ///< it has lasting names and texts
  };

  bool parse(std::string_view strText, Json::Value& jOut);
  void keep(std::string_view strText, const Json::Value& jValue);

  std::unique_ptr<Json::CharReader> m_pReader;
  std::array<Known, 4> m_known;
  std::size_t m_iOldest = 0;
};

}  // namespace record_store
