#include "event_log/event_file.h"

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <json/writer.h>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "shares/own_folder.h"
#include "support/unique_fd.h"
#include "texts/utf8.h"

namespace orva {
namespace {

constexpr const char* FOLDER_PATH = "/var/log/orva";
constexpr const char* FILE_PATH = "/var/log/orva/event.jsonl";
constexpr off_t CB_FILE_MAX = 5 * 1000 * 1000;
constexpr int N_KEPT = 5;
constexpr int N_OPEN_TRIES = 10;

std::string eventLine(int iLevel, unsigned int uCode, const EventArguments& arguments, const std::string& strBy) {
  Json::Value jEvent(Json::objectValue);
  jEvent["time"] = static_cast<Json::Int64>(std::time(nullptr));
  jEvent["level"] = iLevel;
  jEvent["code"] = eventCodeText(uCode);
  jEvent["pid"] = getpid();
  Json::Value& jArguments = jEvent["args"] = Json::Value(Json::arrayValue);
  for (const std::string& strArgument : arguments) {
    if (!strArgument.empty()) {
      jArguments.append(repairedUtf8(strArgument));
    }
  }
  if (!strBy.empty()) {
    jEvent["by"] = repairedUtf8(strBy);
  }
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["emitUTF8"] = true;
  return Json::writeString(builder, jEvent) + "\n";
}

void rotate() {
  const std::string strBase = std::string(FILE_PATH) + ".";
  for (int i = N_KEPT; i > 1; --i) {
    rename((strBase + std::to_string(i - 1)).c_str(), (strBase + std::to_string(i)).c_str());
  }
  rename(FILE_PATH, (strBase + "1").c_str());
}

// Opens and locks the file, and starts a new one if this line would make it too long. If the previous holder of the
// lock has moved the file, it is opened again.
UniqueFd openForLine(std::size_t cbLine, off_t& cbFile) {
  for (int i = 0; i < N_OPEN_TRIES; ++i) {
    UniqueFd fd(open(FILE_PATH, O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0640));
    struct stat opened{};
    struct stat named{};
    if (!fd || flock(fd.get(), LOCK_EX) != 0 || fstat(fd.get(), &opened) != 0) {
      return {};
    }
    if (stat(FILE_PATH, &named) != 0 || named.st_ino != opened.st_ino) {
      continue;
    }
    if (opened.st_size == 0 || opened.st_size + static_cast<off_t>(cbLine) <= CB_FILE_MAX) {
      cbFile = opened.st_size;
      return fd;
    }
    rotate();
  }
  errno = EAGAIN;
  return {};
}

}  // namespace

int appendToEventFile(int iLevel, unsigned int uCode, const EventArguments& arguments, const std::string& strBy) {
  if (!makeOwnFolder(FOLDER_PATH, 0755)) {
    return errno;
  }
  const std::string strLine = eventLine(iLevel, uCode, arguments, strBy);
  off_t cbFile = 0;
  const UniqueFd fd = openForLine(strLine.size(), cbFile);
  if (!fd) {
    return errno;
  }
  const ssize_t cbWritten = write(fd.get(), strLine.data(), strLine.size());
  if (cbWritten == static_cast<ssize_t>(strLine.size())) {
    return 0;
  }
  // If the disk is full, remove the incomplete line so that it does not damage the next one.
  const int iError = cbWritten < 0 ? errno : ENOSPC;
  return ftruncate(fd.get(), cbFile) == 0 ? iError : errno;
}

}  // namespace orva
