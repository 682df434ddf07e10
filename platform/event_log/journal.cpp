#include "event_log/journal.h"

#define SD_JOURNAL_SUPPRESS_LOCATION
#include <string>
#include <sys/uio.h>
#include <syslog.h>
#include <systemd/sd-journal.h>
#include <unistd.h>
#include <vector>

#include "settings/text_line.h"

namespace orva {
namespace {

// The journal's library reports success even without a journal, so check the socket first.
constexpr const char* JOURNAL_SOCKET = "/run/systemd/journal/socket";
constexpr const char* IDENTIFIER = "orva";

bool sendToJournal(const std::vector<std::string>& vecField) {
  std::vector<iovec> vecPart;
  vecPart.reserve(vecField.size());
  for (const std::string& strField : vecField) {
    vecPart.push_back({const_cast<char*>(strField.data()), strField.size()});
  }
  return access(JOURNAL_SOCKET, F_OK) == 0 && sd_journal_sendv(vecPart.data(), static_cast<int>(vecPart.size())) == 0;
}

}  // namespace

void writeSystemLog(int iPriority, unsigned int uCode, const EventArguments& arguments, const EventText& text) {
  // The name of a task must not add lines to the log.
  const std::string strText = inOneLine(text.strText);
  std::vector<std::string> vecField = {"MESSAGE=" + strText, "PRIORITY=" + std::to_string(iPriority),
                                       std::string("SYSLOG_IDENTIFIER=") + IDENTIFIER,
                                       "ORVA_EVENT_CODE=" + eventCodeText(uCode)};
  if (!text.strMessageId.empty()) {
    vecField.push_back("MESSAGE_ID=" + text.strMessageId);
  }
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (!arguments.at(i).empty()) {
      vecField.push_back("ORVA_EVENT_ARG" + std::to_string(i + 1) + "=" + arguments.at(i));
    }
  }
  for (const auto& [strField, strValue] : text.mapFields) {
    vecField.push_back(strField);
    vecField.back().append("=").append(strValue);
  }
  if (!sendToJournal(vecField)) {
    syslog(iPriority, "%s: %s [%s]", IDENTIFIER, strText.c_str(), eventCodeText(uCode).c_str());
  }
}

}  // namespace orva
