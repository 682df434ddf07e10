/// \file crontab_reader.h
/// Reads the tables of cron.

#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace Host {

/// Whose table it is: those of the system name a user in each line.
enum class CrontabKind { SYSTEM, USER };

/// A command with all that its table says about it.
struct CrontabLine {
  std::size_t cLine = 0;                              ///< its number in the table, from 1
  std::string strSchedule;                            ///< five fields, or a word that begins with "@"
  std::string strUser;                                ///< empty in a user's table
  std::string strCommand;                             ///< for a shell
  std::string strInput;                               ///< its standard input
  std::map<std::string, std::string> mapEnvironment;  ///< the variables that are set in the lines above
};

/// Reads a table of cron.
/// \param vecErrors  receives what is wrong, with the number of the line; other lines are read.
std::vector<CrontabLine> readCrontab(const std::string& strText, CrontabKind kind, std::vector<std::string>& vecErrors);

/// Gives the script that does what cron does with this line: in the home folder of the user, with the variables.
/// \param strName  the name of the table, for a comment.
/// \throw Failure when the table asks for a shell that is not an absolute path.
std::string scriptOfCrontabLine(const CrontabLine& line, const std::string& strName);

}  // namespace Host
