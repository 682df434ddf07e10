#include "store/json_file.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <json/reader.h>
#include <json/writer.h>
#include <memory>
#include <sstream>
#include <unistd.h>

#include "support/file.h"

namespace {

// Readers and writers are kept, because building one costs several times as much as using it.
Json::CharReader& reader() {
  static thread_local const std::unique_ptr<Json::CharReader> pReader = [] {
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    builder["failIfExtra"] = true;
    builder["rejectDupKeys"] = true;
    return std::unique_ptr<Json::CharReader>(builder.newCharReader());
  }();
  return *pReader;
}

std::unique_ptr<Json::StreamWriter> makeWriter(const char* szIndentation) {
  Json::StreamWriterBuilder builder;
  builder["commentStyle"] = "None";
  builder["emitUTF8"] = true;
  // A number that JSON cannot express is written as a text that no reader accepts, so it never reaches a file.
  builder["useSpecialFloats"] = true;
  builder["indentation"] = szIndentation;
  return std::unique_ptr<Json::StreamWriter>(builder.newStreamWriter());
}

std::string render(const Json::Value& jValue, bool blStyled) {
  static thread_local const std::unique_ptr<Json::StreamWriter> pCompact = makeWriter("");
  static thread_local const std::unique_ptr<Json::StreamWriter> pStyled = makeWriter("  ");
  std::ostringstream stream;
  (blStyled ? pStyled : pCompact)->write(jValue, &stream);
  return stream.str();
}

bool readsBack(const std::string& strText) {
  Json::Value jRead;
  return Orva::parseJson(strText, jRead);
}

// A new file gets its mode from the umask. The mode of another user's file is not kept, because in a folder that is
// open to everybody, that user could have created it to make our file writable.
mode_t modeFor(const std::string& strPath) {
  struct stat info{};
  if (0 == lstat(strPath.c_str(), &info) && S_ISREG(info.st_mode) && geteuid() == info.st_uid) {
    return info.st_mode & 07777;
  }
  const mode_t mask = umask(0);
  umask(mask);
  return static_cast<mode_t>(0666 & ~mask);
}

// A temporary file that has not replaced its target yet. The destructor removes it unless it did.
class DraftFile {
public:
  explicit DraftFile(const std::string& strTarget)
      : m_strTarget(strTarget), m_strPath(strTarget + ".XXXXXX"), m_file(mkostemp(m_strPath.data(), O_CLOEXEC)) {
    m_blPending = m_file.isOpen();
  }
  ~DraftFile() {
    if (m_blPending) {
      const int iErrno = errno;
      unlink(m_strPath.c_str());
      errno = iErrno;
    }
  }
  DraftFile(const DraftFile&) = delete;
  DraftFile& operator=(const DraftFile&) = delete;

  bool replaceTarget(const std::string& strText) {
    if (!m_file.isOpen() || !Orva::writeAll(m_file.get(), strText) || 0 != fchmod(m_file.get(), modeFor(m_strTarget)) ||
        0 != fsync(m_file.get()) || !m_file.close()) {
      return false;
    }
    m_blPending = 0 != rename(m_strPath.c_str(), m_strTarget.c_str());
    return !m_blPending;
  }

private:
  std::string m_strTarget;
  std::string m_strPath;
  Orva::FileDescriptor m_file;
  bool m_blPending = false;
};

}  // namespace

namespace Orva {

bool parseJson(const std::string& strText, Json::Value& jOut) {
  bool blParsed = false;
  try {
    // The parser would treat a NUL as the end of the text.
    blParsed = std::string::npos == strText.find('\0') &&
               reader().parse(strText.data(), strText.data() + strText.size(), &jOut, nullptr);
  } catch (const Json::Exception&) {
    // It throws when the nesting is too deep.
    blParsed = false;
  }
  if (!blParsed) {
    jOut = Json::Value();
  }
  return blParsed;
}

bool fromFile(Json::Value& jOut, const std::string& strPath) {
  jOut = Json::Value();
  struct stat info{};
  const FileDescriptor file = openRegular(strPath, 0, info);
  std::string strText;
  return file.isOpen() && readUpTo(file.get(), info.st_size, strText) && parseJson(strText, jOut);
}

bool toFile(const Json::Value& jValue, const std::string& strPath, bool blStyled) {
  const std::string strText = render(jValue, blStyled) + "\n";
  if (!readsBack(strText)) {
    errno = EINVAL;
    return false;
  }
  return DraftFile(strPath).replaceTarget(strText);
}

std::string toString(const Json::Value& jValue) {
  return render(jValue, false);
}

}  // namespace Orva
