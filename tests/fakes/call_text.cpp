#include "fakes/call_text.h"

#include <cstdio>
#include <json/writer.h>

namespace OrvaTest {

std::string compactJson(const Json::Value& jValue) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["emitUTF8"] = true;
  return Json::writeString(builder, jValue);
}

std::string describe(const char* szText) {
  return szText ? szText : "NULL";
}

std::string describe(Hex number) {
  char buffer[32];
  std::snprintf(buffer, sizeof(buffer), "0x%lx", number.ulValue);
  return buffer;
}

std::string describe(Octal number) {
  char buffer[32];
  std::snprintf(buffer, sizeof(buffer), "0%lo", number.ulValue);
  return buffer;
}

}  // namespace OrvaTest
