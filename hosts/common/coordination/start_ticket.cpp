#include "start_ticket.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>
#include <utility>

#include "common/support/failure.h"
#include "common/support/paths.h"
#include "common/support/unique_fd.h"
#include "runtime_folder.h"

namespace Host {

namespace {

std::string pathOf(const std::string& strName) {
  if (strName.empty() || strName.front() == '.' || strName.find('/') != std::string::npos) {
    throw Failure(fmt::format("\"{}\" is not a valid name of a ticket", strName));
  }
  return fmt::format("{}/{}", TICKETS_FOLDER, strName);
}

}  // namespace

StartTicket::StartTicket(std::string strName) : m_strName(std::move(strName)) {
  const std::string strPath = pathOf(m_strName);
  makeRuntimeFolder(TICKETS_FOLDER);
  const UniqueFd fd(open(strPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!fd.isOpen()) {
    throw Failure(fmt::format("cannot create {}: {}", strPath, std::strerror(errno)));
  }
}

bool StartTicket::take(const std::string& strName) {
  const std::string strPath = pathOf(strName);
  if (unlink(strPath.c_str()) == 0) {
    return true;
  }
  if (errno != ENOENT) {
    throw Failure(fmt::format("cannot take {}: {}", strPath, std::strerror(errno)));
  }
  return false;
}

}  // namespace Host
