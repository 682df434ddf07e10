#include "start_ticket.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>
#include <utility>

#include "common/support/failure.h"
#include "common/support/files.h"
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

/// The texts of a ticket, each with a 0 behind it.
std::vector<std::string> readTexts(const std::string& strText) {
  std::vector<std::string> vecTexts;
  std::size_t iStart = 0;
  for (std::size_t iEnd = 0; (iEnd = strText.find('\0', iStart)) != std::string::npos; iStart = iEnd + 1) {
    vecTexts.push_back(strText.substr(iStart, iEnd - iStart));
  }
  return vecTexts;
}

}  // namespace

StartTicket::StartTicket(std::string strName, const std::vector<std::string>& vecSecrets)
    : m_strName(std::move(strName)) {
  const std::string strPath = pathOf(m_strName);
  makeRuntimeFolder(TICKETS_FOLDER);
  const UniqueFd fd(open(strPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!fd.isOpen()) {
    throw Failure(fmt::format("cannot create {}: {}", strPath, std::strerror(errno)));
  }
  std::string strText;
  for (const std::string& strSecret : vecSecrets) {
    strText.append(strSecret).push_back('\0');
  }
  if (write(fd.get(), strText.data(), strText.size()) != static_cast<ssize_t>(strText.size())) {
    const int iErrno = errno;
    unlink(strPath.c_str());
    throw Failure(fmt::format("cannot write {}: {}", strPath, std::strerror(iErrno)));
  }
}

std::optional<std::vector<std::string>> StartTicket::take(const std::string& strName) {
  const std::string strPath = pathOf(strName);
  const UniqueFd fd(open(strPath.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  // Of several takers, only the one that removes it has it.
  if (fd.isOpen() && unlink(strPath.c_str()) == 0) {
    return readTexts(readAll(fd.get(), strPath));
  }
  if (errno != ENOENT) {
    throw Failure(fmt::format("cannot take {}: {}", strPath, std::strerror(errno)));
  }
  return std::nullopt;
}

}  // namespace Host
