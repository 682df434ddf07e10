#include "usage.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <limits>
#include <vector>

#include "command_line.h"
#include "common/server/users.h"
#include "common/support/failure.h"
#include "common/text/duration.h"
#include "common/text/suggestion.h"

namespace {

using Words = std::vector<std::string>;

/// Gives the last command that was typed, and in vecPath the names of all of them, without the program.
const CLI::App* lastCommand(const CLI::App& app, Words& vecPath) {
  const CLI::App* pCommand = &app;
  for (;;) {
    const std::vector<CLI::App*> vecTyped = pCommand->get_subcommands();
    const auto it =
        std::find_if(vecTyped.begin(), vecTyped.end(), [](const CLI::App* p) { return !p->get_name().empty(); });
    if (it == vecTyped.end()) {
      return pCommand;
    }
    pCommand = *it;
    vecPath.push_back(pCommand->get_name());
  }
}

/// The commands and options that can follow these words.
Words candidates(const CLI::App& app, Words vecPath, const std::string& strBegin) {
  vecPath.push_back(strBegin);
  return nextWord(app, vecPath).vecWords;
}

std::string unknownText(const CLI::App& app, const Words& vecPath, const std::string& strWord, bool blCommand) {
  if (strWord.size() > 1 && strWord.front() == '-') {
    const std::string strName = strWord.substr(0, strWord.find('='));
    return fmt::format("there is no option \"{}\"{}", strName,
                       Host::didYouMean(strName, candidates(app, vecPath, "-")));
  }
  if (!blCommand) {
    return fmt::format("unexpected argument \"{}\"", strWord);
  }
  const std::string strAll = vecPath.empty() ? strWord : fmt::format("{} {}", fmt::join(vecPath, " "), strWord);
  return fmt::format("there is no command \"{}\"{}", strAll, Host::didYouMean(strWord, candidates(app, vecPath, "")));
}

/// Rewords the parser's text about an option without a value.
std::string withoutValueText(const std::string& strWhat) {
  const std::size_t iEnd = strWhat.find(": 1 required ");
  return iEnd == std::string::npos ? strWhat : fmt::format("{} needs a value", strWhat.substr(0, iEnd));
}

/// Compares the code: the name of some errors is that of the command.
bool isError(const CLI::Error& error, CLI::ExitCodes code) {
  return error.get_exit_code() == static_cast<int>(code);
}

std::string reason(const CLI::App& app, const Words& vecPath, const CLI::Error& error) {
  const Words vecRest = app.remaining(true);
  const auto itOption = std::find_if(vecRest.begin(), vecRest.end(), [](const std::string& strWord) {
    return strWord.size() > 1 && strWord[0] == '-';
  });
  if (isError(error, CLI::ExitCodes::ExtrasError) && !vecRest.empty()) {
    return unknownText(app, vecPath, itOption != vecRest.end() ? *itOption : vecRest.front(), false);
  }
  if (isError(error, CLI::ExitCodes::RequiredError) && !vecRest.empty()) {
    return unknownText(app, vecPath, vecRest.front(), true);
  }
  return isError(error, CLI::ExitCodes::ArgumentMismatch) ? withoutValueText(error.what()) : error.what();
}

/// Names the limits, but not those of the number type.
std::string limitsText(long long iMin, long long iMax) {
  if (iMax > 0) {
    return fmt::format(" from {} to {}", iMin, iMax);
  }
  return iMin == std::numeric_limits<long long>::min() ? "" : fmt::format(", {} or more", iMin);
}

}  // namespace

std::string typedCommand(const CLI::App& app) {
  Words vecPath{app.get_name()};
  lastCommand(app, vecPath);
  return fmt::format("{}", fmt::join(vecPath, " "));
}

std::string usageText(const CLI::App* pApp, const CLI::Error& error) {
  Words vecPath;
  const CLI::App* pCommand = lastCommand(*pApp, vecPath);
  const std::string strCommand = typedCommand(*pApp);
  if (std::string(error.what()) == "A subcommand is required" && pApp->remaining(true).empty()) {
    return pCommand->get_formatter()->make_help(pCommand, strCommand, CLI::AppFormatMode::Normal);
  }
  return fmt::format("eorva: {}\nTry '{} --help'.\n", reason(*pApp, vecPath, error), strCommand);
}

CLI::Validator wholeNumber(long long iMin, long long iMax) {
  const long long iLast = iMax > 0 ? iMax : std::numeric_limits<long long>::max();
  const auto check = [iMin, iMax, iLast, strLimits = limitsText(iMin, iMax)](const std::string& strText) {
    long long iValue = 0;
    const char* pEnd = strText.data() + strText.size();
    const auto [p, code] = std::from_chars(strText.data(), pEnd, iValue);
    if (code == std::errc::result_out_of_range && iMax <= 0 && strText.front() != '-') {
      return fmt::format("\"{}\" is too large", strText);
    }
    if (code != std::errc() || p != pEnd || iValue < iMin || iValue > iLast) {
      return fmt::format("\"{}\" is not a whole number{}", strText, strLimits);
    }
    return std::string();
  };
  return CLI::Validator(check, "", "whole number");
}

CLI::Validator oneOf(std::vector<std::string> vecWords) {
  const std::string strWords = fmt::format("{{{}}}", fmt::join(vecWords, ","));
  const auto check = [vecWords = std::move(vecWords)](const std::string& strText) {
    const bool blKnown = std::find(vecWords.begin(), vecWords.end(), strText) != vecWords.end();
    return blKnown ? std::string() : fmt::format("\"{}\" is none of {}", strText, fmt::join(vecWords, ", "));
  };
  return CLI::Validator(check, strWords, "choice");
}

CLI::Validator durationWithin(long long iMin, long long iMax) {
  const auto read = [iMin, iMax](std::string& strText) {
    const std::optional<std::time_t> cSeconds = Host::durationFrom(strText);
    if (!cSeconds) {
      return fmt::format("\"{}\" is not a duration; durations are {}", strText, Host::DURATION_FORMS);
    }
    if (*cSeconds < iMin || *cSeconds > iMax) {
      return fmt::format("\"{}\" is not from {} to {}", strText, Host::durationText(iMin), Host::durationText(iMax));
    }
    strText = std::to_string(*cSeconds);
    return std::string();
  };
  return CLI::Validator(read, "", "duration");
}

std::optional<uid_t> userFrom(const std::string& strUser) {
  const std::optional<uid_t> uid = Host::findUser(strUser);
  if (!uid && !strUser.empty()) {
    throw Host::Failure(fmt::format("there is no user \"{}\"", strUser));
  }
  return uid;
}
