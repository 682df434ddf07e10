#include "yaml_reader.h"

#include <charconv>
#include <fmt/format.h>
#include <new>
#include <yaml.h>

#include "common/support/failure.h"

namespace Host {

namespace {

constexpr int MAX_DEPTH = 20;

/// The next event of the parser.
class YamlPiece {
public:
  explicit YamlPiece(yaml_parser_t& parser) {
    if (yaml_parser_parse(&parser, &m_event) == 0) {
      const char* szProblem = parser.problem != nullptr ? parser.problem : "cannot be read";
      const yaml_mark_t& mark = parser.problem_mark;
      throw Failure(fmt::format("line {}, column {}: {}", mark.line + 1, mark.column + 1, szProblem));
    }
  }
  ~YamlPiece() { yaml_event_delete(&m_event); }
  YamlPiece(const YamlPiece&) = delete;
  YamlPiece& operator=(const YamlPiece&) = delete;

  yaml_event_type_t type() const { return m_event.type; }

  std::string text() const {
    const auto& scalar = m_event.data.scalar;
    return {reinterpret_cast<const char*>(scalar.value), scalar.length};
  }

  bool isPlain() const { return m_event.data.scalar.style == YAML_PLAIN_SCALAR_STYLE; }

  [[noreturn]] void fail(const std::string& strWhy) const {
    throw Failure(fmt::format("line {}: {}", m_event.start_mark.line + 1, strWhy));
  }

  /// Refuses anchors and tags.
  void refuseExtras(const yaml_char_t* pAnchor, const yaml_char_t* pTag) const {
    if (pAnchor != nullptr || pTag != nullptr) {
      fail("references and tags (&, *, !) are not supported");
    }
  }

  const yaml_event_t& raw() const { return m_event; }

private:
  yaml_event_t m_event{};
};

class DocumentReader {
public:
  explicit DocumentReader(const std::string& strText) {
    if (yaml_parser_initialize(&m_parser) == 0) {
      throw std::bad_alloc();
    }
    yaml_parser_set_encoding(&m_parser, YAML_UTF8_ENCODING);
    yaml_parser_set_input_string(&m_parser, reinterpret_cast<const unsigned char*>(strText.data()), strText.size());
  }
  ~DocumentReader() { yaml_parser_delete(&m_parser); }
  DocumentReader(const DocumentReader&) = delete;
  DocumentReader& operator=(const DocumentReader&) = delete;

  Json::Value readDocument() {
    const YamlPiece streamStart(m_parser);
    const YamlPiece documentStart(m_parser);
    if (documentStart.type() == YAML_STREAM_END_EVENT) {
      return {};
    }
    const YamlPiece first(m_parser);
    Json::Value jValue = readValue(first, 0);
    const YamlPiece documentEnd(m_parser);
    const YamlPiece streamEnd(m_parser);
    if (streamEnd.type() != YAML_STREAM_END_EVENT) {
      streamEnd.fail("a second document starts here");
    }
    // A document that was cut off is often valid YAML, too.
    if (documentEnd.raw().data.document_end.implicit != 0) {
      documentEnd.fail(
          "the document ends without the line \"...\" and may be incomplete; add the line if it is complete");
    }
    return jValue;
  }

private:
  Json::Value readValue(const YamlPiece& event, int cDepth) {
    if (cDepth > MAX_DEPTH) {
      event.fail("nested too deeply");
    }
    const auto& data = event.raw().data;
    switch (event.type()) {
      case YAML_SCALAR_EVENT:
        event.refuseExtras(data.scalar.anchor, data.scalar.tag);
        return readScalar(event);
      case YAML_SEQUENCE_START_EVENT:
        event.refuseExtras(data.sequence_start.anchor, data.sequence_start.tag);
        return readList(cDepth);
      case YAML_MAPPING_START_EVENT:
        event.refuseExtras(data.mapping_start.anchor, data.mapping_start.tag);
        return readMapping(cDepth);
      default:
        event.fail("references and tags (&, *, !) are not supported");
    }
  }

  static Json::Value readScalar(const YamlPiece& event) {
    const std::string strText = event.text();
    if (!event.isPlain()) {
      return strText;
    }
    if (strText == "true" || strText == "false") {
      return strText == "true";
    }
    if (strText.empty() || strText == "null" || strText == "~") {
      return {};
    }
    Json::Int64 iNumber = 0;
    const auto [pEnd, code] = std::from_chars(strText.data(), strText.data() + strText.size(), iNumber);
    const bool blNumber = code == std::errc() && pEnd == strText.data() + strText.size();
    return blNumber ? Json::Value(iNumber) : Json::Value(strText);
  }

  Json::Value readList(int cDepth) {
    Json::Value jList(Json::arrayValue);
    for (;;) {
      const YamlPiece event(m_parser);
      if (event.type() == YAML_SEQUENCE_END_EVENT) {
        return jList;
      }
      jList.append(readValue(event, cDepth + 1));
    }
  }

  Json::Value readMapping(int cDepth) {
    Json::Value jObject(Json::objectValue);
    for (;;) {
      const YamlPiece key(m_parser);
      if (key.type() == YAML_MAPPING_END_EVENT) {
        return jObject;
      }
      if (key.type() != YAML_SCALAR_EVENT) {
        key.fail("a key must be a text");
      }
      const std::string strKey = key.text();
      if (jObject.isMember(strKey)) {
        key.fail(fmt::format("duplicate key \"{}\"", strKey));
      }
      const YamlPiece value(m_parser);
      jObject[strKey] = readValue(value, cDepth + 1);
    }
  }

  yaml_parser_t m_parser{};
};

}  // namespace

Json::Value readYaml(const std::string& strText) {
  return DocumentReader(strText).readDocument();
}

}  // namespace Host
