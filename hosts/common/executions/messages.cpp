#include "messages.h"

#include <syslog.h>
#include <unistd.h>

#include "common/text/terminal_text.h"

namespace Host {

namespace {

int g_fd = -1;

}  // namespace

void sendMessagesTo(int fd) {
  g_fd = fd;
}

void sendMessage(const std::string& strText) {
  const std::string strLine = "eorva: " + asMessage(strText) + "\n";
  if (g_fd < 0 || write(g_fd, strLine.data(), strLine.size()) != static_cast<ssize_t>(strLine.size())) {
    syslog(LOG_ERR, "%s", strText.c_str());
  }
}

}  // namespace Host
