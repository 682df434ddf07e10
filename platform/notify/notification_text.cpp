#include <algorithm>

#include "notify/notifier.h"
#include "texts/server_text.h"

namespace orva {

std::optional<std::string> notificationText(const std::string& strKey) {
  return serverText("notify", strKey);
}

bool isPlainName(const std::string& strName) {
  return !strName.empty() && strName.size() <= 128 && strName.front() != '.' && strName.front() != '-' &&
         std::all_of(strName.begin(), strName.end(), [](char ch) {
           return (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z') || (ch >= '0' && ch <= '9') || ch == '_' ||
                  ch == '-' || ch == '.';
         });
}

}  // namespace orva
