#include "cron_import.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <json/value.h>
#include <map>
#include <optional>
#include <set>
#include <sys/stat.h>

#include "common/server/users.h"
#include "common/support/failure.h"
#include "common/support/files.h"
#include "common/support/unique_fd.h"
#include "common/text/base64.h"
#include "common/text/cron_schedule.h"
#include "common/text/crontab_reader.h"
#include "common/text/json_members.h"
#include "common/text/terminal_text.h"
#include "common/text/yaml_writer.h"

namespace Host {

namespace {

namespace fs = std::filesystem;

/// The longest name of an imported task, before a number and a prefix.
constexpr std::size_t CB_MAX_NAME = 48;

/// Schedules of events that are installed.
const std::map<std::vector<std::string>, std::string> EVENTS_OF_CALENDARS = {{{"*-*-* *:00:00"}, "hourly"},
                                                                             {{"*-*-* 00:00:00"}, "daily"},
                                                                             {{"Mon *-*-* 00:00:00"}, "weekly"},
                                                                             {{"*-*-01 00:00:00"}, "monthly"}};

const std::map<std::string, std::string> EVENTS_OF_FOLDERS = {
    {"cron.hourly", "hourly"}, {"cron.daily", "daily"}, {"cron.weekly", "weekly"}, {"cron.monthly", "monthly"}};

/// Without a slash at the end, so that the last part is the name.
fs::path cleanPath(const std::string& strPath) {
  const fs::path path = fs::absolute(strPath).lexically_normal();
  return path.has_filename() ? path : path.parent_path();
}

/// cron takes no file with another name: editors and packages leave such files.
bool isCronName(const std::string& strName) {
  return std::all_of(strName.begin(), strName.end(),
                     [](unsigned char c) { return std::isalnum(c) != 0 || c == '_' || c == '-'; });
}

/// Debian's packages begin with such a test what they do by a timer under systemd.
bool testsForSystemd(const std::string& strScript) {
  return strScript.find("-d /run/systemd/system") != std::string::npos ||
         strScript.find("-e /run/systemd/system") != std::string::npos;
}

/// Makes a name for a task of any text.
std::string taskNameFrom(const std::string& strText) {
  std::string strName;
  for (const char c : strText.substr(0, CB_MAX_NAME)) {
    const bool blPlain = std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '-' || c == '.';
    if (blPlain && (!strName.empty() || std::isalnum(static_cast<unsigned char>(c)) != 0)) {
      strName += c;
    }
  }
  return strName.empty() ? "cron" : strName;
}

/// The program that a command names first with its path, or else its first word.
std::string programOf(const std::string& strCommand) {
  std::string strFirst;
  std::size_t cEnd = 0;
  for (std::size_t c = strCommand.find_first_not_of(" \t"); c != std::string::npos;
       c = strCommand.find_first_not_of(" \t", cEnd)) {
    cEnd = std::min(strCommand.find_first_of(" \t;|&)", c), strCommand.size());
    const std::string strWord = strCommand.substr(c, cEnd - c);
    const std::string strBase = strWord.substr(strWord.rfind('/') + 1);
    if (strWord.starts_with('/') && strWord.compare(0, 5, "/dev/") != 0 && !strBase.empty()) {
      return strBase;
    }
    if (strFirst.empty() && strWord.find_first_of("=$`") == std::string::npos) {
      strFirst = strBase;
    }
    cEnd += cEnd == c ? 1 : 0;
  }
  return strFirst;
}

class Importer {
public:
  explicit Importer(const CronImportRequest& request)
      : m_request(request), m_strPaths(fmt::format("{}", fmt::join(request.vecPaths, " "))) {
    m_jDocument["version"] = 1;
    m_jDocument["tasks"] = Json::Value(Json::objectValue);
  }

  CronImport plan() {
    for (const std::string& strPath : m_request.vecPaths) {
      read(strPath);
    }
    if (!m_vecErrors.empty()) {
      throw Failure(fmt::format("{} is not imported:\n  {}", m_strPaths, fmt::join(m_vecErrors, "\n  ")),
                    {m_blSystemTable ? Hint::NAME_TABLE_OWNER : Hint::NONE, {}});
    }
    m_import.plan = planApply({m_jDocument.toStyledString(), m_strPaths});
    refuseOthers();
    return std::move(m_import);
  }

private:
  void read(const std::string& strPath) {
    const fs::path path = cleanPath(strPath);
    struct stat st{};
    if (stat(path.c_str(), &st) != 0) {
      m_vecErrors.push_back(fmt::format("{}: {}", strPath, std::generic_category().message(errno)));
    } else if (!S_ISDIR(st.st_mode)) {
      readTable(path, m_request.strOwner);
    } else if (path.filename() == "cron.d") {
      forEachFile(path, [this](const fs::path& file) { readTable(file, m_request.strOwner); });
    } else if (path.filename() == "crontabs") {
      // Where cron keeps the tables of users, by their names.
      forEachFile(path, [this](const fs::path& file) { readTable(file, file.filename()); });
    } else {
      readScripts(path);
    }
  }

  void skip(const std::string& strWhat, CronSkipped::Reason reason) {
    m_import.vecSkipped.push_back({strWhat, reason});
  }

  template <typename Action>
  void forEachFile(const fs::path& folder, Action action) {
    std::vector<fs::path> vecFiles;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
      vecFiles.push_back(entry.path());
    }
    std::sort(vecFiles.begin(), vecFiles.end());
    for (const fs::path& file : vecFiles) {
      const std::string strName = file.filename();
      if (strName.front() == '.') {
        continue;
      }
      if (!isCronName(strName)) {
        skip(file, CronSkipped::NAME);
      } else if (fs::is_regular_file(file)) {
        action(file);
      } else {
        skip(file, CronSkipped::NOT_A_FILE);
      }
    }
  }

  // --- scripts -------------------------------------------------------------------------------------------------

  void readScripts(const fs::path& folder) {
    const auto it = EVENTS_OF_FOLDERS.find(folder.filename());
    const std::string strEvent =
        !m_request.strEvent.empty() || it == EVENTS_OF_FOLDERS.end() ? m_request.strEvent : it->second;
    if (strEvent.empty()) {
      throw Failure(fmt::format("no event for the scripts in {}", folder.string()), {Hint::NAME_EVENT, {}});
    }
    forEachFile(folder, [&](const fs::path& file) { readScript(file, strEvent); });
  }

  /// Reads a file of which a task of this user is made; nothing when its owner must not decide what the user runs, or
  /// the user must not see it. Both are asked of the open file: a path of others may lead elsewhere in the next moment.
  std::optional<std::string> readFor(const fs::path& file, uid_t uid) {
    const UniqueFd fd(open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat st{};
    if (!fd.isOpen() || fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode)) {
      skip(file, CronSkipped::NOT_A_FILE);
      return std::nullopt;
    }
    if (uid == 0 && (st.st_uid != 0 || (st.st_mode & (S_IWGRP | S_IWOTH)) != 0)) {
      skip(file, CronSkipped::WRITABLE);
      return std::nullopt;
    }
    if (uid != 0 && st.st_uid != uid && (st.st_mode & S_IROTH) == 0) {
      skip(file, CronSkipped::UNREADABLE);
      return std::nullopt;
    }
    return readAll(fd.get(), file, CB_MAX_FILE);
  }

  /// \throw Failure
  static uid_t requireUser(const std::string& strUser) {
    const std::optional<uid_t> uid = findUser(strUser);
    return uid ? *uid : throw Failure(fmt::format("there is no user \"{}\"", strUser));
  }

  void readScript(const fs::path& file, const std::string& strEvent) {
    const std::string strOwner = m_request.strOwner.empty() ? "root" : m_request.strOwner;
    const std::optional<std::string> script = readFor(file, requireUser(strOwner));
    if (!script) {
      return;
    }
    const std::string& strScript = *script;
    if ((fs::status(file).permissions() & fs::perms::owner_exec) == fs::perms::none) {
      skip(file, CronSkipped::NOT_EXECUTABLE);
    } else if (file.filename() == "0anacron") {
      skip(file, CronSkipped::ANACRON);
    } else if (strScript.compare(0, 4, "\177ELF") == 0) {
      skip(file, CronSkipped::PROGRAM);
    } else if (!m_request.blAll && testsForSystemd(strScript)) {
      skip(file, CronSkipped::TIMER);
    } else {
      // The same package often has a daily and a weekly script.
      const std::string strTask = freeName(file.filename(), strEvent);
      addTask(strTask, strEvent, strOwner, strScript);
      setEvent(strEvent, {});
      m_import.vecSources.push_back({file, CronSource::SCRIPT, {}});
    }
  }

  // --- tables --------------------------------------------------------------------------------------------------

  /// \param strOwner  whose table it is; empty for one of the system, whose lines name users.
  void readTable(const fs::path& file, const std::string& strOwner) {
    const CrontabKind kind = strOwner.empty() ? CrontabKind::SYSTEM : CrontabKind::USER;
    const std::optional<std::string> table = readFor(file, strOwner.empty() ? 0 : requireUser(strOwner));
    if (!table) {
      return;
    }
    std::vector<std::string> vecErrors;
    const std::size_t cTasks = m_jDocument["tasks"].size();
    for (const CrontabLine& line : readCrontab(*table, kind, vecErrors)) {
      try {
        readLine(file, line, strOwner);
      } catch (const Failure& error) {
        vecErrors.push_back(fmt::format("line {}: {}", line.cLine, error.what()));
      }
    }
    for (const std::string& strError : vecErrors) {
      m_vecErrors.push_back(fmt::format("{}: {}", file.string(), strError));
    }
    m_blSystemTable = m_blSystemTable || kind == CrontabKind::SYSTEM;
    if (m_jDocument["tasks"].size() > cTasks) {
      m_import.vecSources.push_back({file, strOwner.empty() ? CronSource::TABLE : CronSource::TABLE_OF_USER, strOwner});
    }
  }

  void readLine(const fs::path& file, const CrontabLine& line, const std::string& strTableOwner) {
    const std::string strWhere = fmt::format("{}, line {}", file.string(), line.cLine);
    if (line.strCommand.find("run-parts") != std::string::npos) {
      skip(strWhere, CronSkipped::FOLDER);
      return;
    }
    if (!m_request.blAll && testsForSystemd(line.strCommand)) {
      skip(strWhere, CronSkipped::TIMER);
      return;
    }
    const std::string strOwner = strTableOwner.empty() ? line.strUser : strTableOwner;
    requireUser(strOwner);
    const bool blBoot = line.strSchedule == "@reboot";
    const std::vector<std::string> vecAt = blBoot ? std::vector<std::string>() : calendarsOfCron(line.strSchedule);
    const auto itEvent = EVENTS_OF_CALENDARS.find(vecAt);
    const std::string strTask = freeName(nameOf(file, line, strTableOwner), "cron");
    const std::string strEvent = blBoot ? "bootup" : itEvent == EVENTS_OF_CALENDARS.end() ? strTask : itEvent->second;
    Json::Value& jTask = addTask(strTask, strEvent, strOwner, scriptOfCrontabLine(line, onOneLine(file.string())));
    const auto itMail = line.mapEnvironment.find("MAILTO");
    if (itMail != line.mapEnvironment.end() && !itMail->second.empty()) {
      jTask["notify_enable"] = true;
      jTask["notify_if_error"] = true;
      jTask["notify_mail"] = itMail->second;
    }
    setEvent(strEvent, strEvent == strTask ? vecAt : std::vector<std::string>());
  }

  /// A table of a package has the package's name. Users may run the same programs.
  static std::string nameOf(const fs::path& file, const CrontabLine& line, const std::string& strTableOwner) {
    if (!strTableOwner.empty()) {
      return fmt::format("{}-{}", strTableOwner, programOf(line.strCommand));
    }
    return file.parent_path().filename() == "cron.d" ? file.filename().string() : programOf(line.strCommand);
  }

  // --- the document --------------------------------------------------------------------------------------------

  /// A name that no other task of this import has: NAME, NAME-SUFFIX, NAME-SUFFIX-2, ...
  std::string freeName(const std::string& strText, const std::string& strSuffix) const {
    const std::string strName = m_request.strPrefix + taskNameFrom(strText);
    std::string strFree = strName;
    for (int i = 1; m_jDocument["tasks"].isMember(strFree); ++i) {
      strFree = i == 1 ? fmt::format("{}-{}", strName, strSuffix) : fmt::format("{}-{}-{}", strName, strSuffix, i);
    }
    return strFree;
  }

  Json::Value& addTask(const std::string& strTask, const std::string& strEvent, const std::string& strOwner,
                       const std::string& strScript) {
    Json::Value& jTask = m_jDocument["tasks"][strTask];
    jTask["event"] = strEvent;
    jTask["owner"] = strOwner;
    jTask[isUtf8(strScript) ? "script" : "script_base64"] = isUtf8(strScript) ? strScript : toBase64(strScript);
    return jTask;
  }

  /// \param vecAt  none for an event that exists.
  void setEvent(const std::string& strEvent, const std::vector<std::string>& vecAt) {
    Json::Value& jEvent = m_jDocument["events"][strEvent];
    jEvent["enabled"] = true;
    if (!vecAt.empty()) {
      jEvent["at"] = arrayOf(vecAt);
    }
  }

  /// An import adds. It does not change what somebody made, or changed after an earlier import.
  void refuseOthers() {
    const ApplyPlan& plan = m_import.plan;
    std::set<std::string> setNames(plan.difference.vecChanged.begin(), plan.difference.vecChanged.end());
    for (const std::string& strEvent : plan.difference.vecEvents) {
      const auto it = plan.before.events.find(strEvent);
      if (it != plan.before.events.end() && !it->second.vecAt.empty()) {
        setNames.insert(strEvent);
      }
    }
    if (!setNames.empty()) {
      throw Failure(fmt::format("{} is not imported: these exist already, and are different: {}", m_strPaths,
                                fmt::join(setNames, ", ")),
                    {Hint::PREFIX_NAMES, {}});
    }
  }

  const CronImportRequest& m_request;
  std::string m_strPaths;  ///< for messages
  Json::Value m_jDocument;
  std::vector<std::string> m_vecErrors;
  bool m_blSystemTable = false;
  CronImport m_import;
};

}  // namespace

CronImport planCronImport(const CronImportRequest& request) {
  return Importer(request).plan();
}

}  // namespace Host
