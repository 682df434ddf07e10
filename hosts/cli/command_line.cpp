#include "command_line.h"

#include <algorithm>
#include <fmt/format.h>
#include <sstream>

#include "common/support/failure.h"

namespace {

/// Options of a command may also follow its subcommands.
const CLI::Option* findOption(const CLI::App* pCommand, const std::string& strName) {
  for (; pCommand != nullptr; pCommand = pCommand->get_parent()) {
    if (const CLI::Option* pOption = pCommand->get_option_no_throw(strName)) {
      return pOption;
    }
  }
  return nullptr;
}

const CLI::App* findCommand(const CLI::App& command, const std::string& strName) {
  const std::vector<const CLI::App*> vecFound =
      command.get_subcommands([&](const CLI::App* pSub) { return pSub->get_name() == strName; });
  return strName.empty() || vecFound.empty() ? nullptr : vecFound.front();
}

bool takesValue(const CLI::Option& option) {
  return option.get_items_expected_max() > 0;
}

/// Follows words down the command line.
class Walk {
public:
  explicit Walk(const CLI::App& app) : m_pCommand(&app) {}

  void take(const std::string& strWord) {
    if (m_pPending != nullptr) {
      m_pPending = nullptr;
    } else if (strWord.size() > 1 && strWord.front() == '-') {
      const CLI::Option* pOption = optionOf(strWord);
      m_pPending =
          pOption != nullptr && takesValue(*pOption) && strWord.find('=') == std::string::npos ? pOption : nullptr;
    } else if (const CLI::App* pSub = findCommand(*m_pCommand, strWord)) {
      m_pCommand = pSub;
    } else {
      ++m_cArguments;
    }
  }

  /// The option that a word "--option" or "--option=value" names.
  const CLI::Option* optionOf(const std::string& strWord) const {
    return findOption(m_pCommand, strWord.substr(0, strWord.find('=')));
  }

  const CLI::App& command() const { return *m_pCommand; }
  const CLI::Option* pending() const { return m_pPending; }  ///< the option whose value comes next
  std::size_t arguments() const { return m_cArguments; }     ///< how many were typed

private:
  const CLI::App* m_pCommand;
  const CLI::Option* m_pPending = nullptr;
  std::size_t m_cArguments = 0;
};

/// The argument at a place; the last argument may take all further words.
const CLI::Option* argumentAt(const CLI::App& command, std::size_t iPosition) {
  const std::vector<const CLI::Option*> vecArguments =
      command.get_options([](const CLI::Option* pOption) { return pOption->get_positional(); });
  if (vecArguments.empty()) {
    return nullptr;
  }
  if (iPosition < vecArguments.size()) {
    return vecArguments[iPosition];
  }
  return vecArguments.back()->get_expected_max() > 1 ? vecArguments.back() : nullptr;
}

/// Reads the type as help shows it: "TASK", or a choice, "WHEN:{auto,always,never}".
void addValues(const CLI::Option& option, NextWord& next) {
  const std::string strType = option.get_type_name();
  const std::size_t iOpen = strType.find(":{");
  if (iOpen == std::string::npos) {
    // The names of checks follow a colon.
    next.strType = strType.substr(0, strType.find(':'));
    return;
  }
  std::istringstream choice(strType.substr(iOpen + 2, strType.find('}', iOpen) - iOpen - 2));
  for (std::string strValue; std::getline(choice, strValue, ',');) {
    next.vecWords.push_back(strValue);
  }
}

void addOwnOptions(const CLI::App& command, NextWord& next) {
  for (const CLI::Option* pOption : command.get_options()) {
    for (const std::string& strName : pOption->get_lnames()) {
      const std::string strOption = "--" + strName;
      if (std::find(next.vecWords.begin(), next.vecWords.end(), strOption) == next.vecWords.end()) {
        next.vecWords.push_back(strOption);
      }
    }
  }
  // Options that exclude each other are in a subcommand without a name.
  for (const CLI::App* pGroup : command.get_subcommands([](const CLI::App* p) { return p->get_name().empty(); })) {
    addOwnOptions(*pGroup, next);
  }
}

void addOptions(const CLI::App* pCommand, NextWord& next) {
  for (; pCommand != nullptr; pCommand = pCommand->get_parent()) {
    addOwnOptions(*pCommand, next);
  }
}

void addCommands(const CLI::App& command, NextWord& next) {
  // Commands without a group are hidden.
  for (const CLI::App* pSub :
       command.get_subcommands([](const CLI::App* p) { return !p->get_name().empty() && !p->get_group().empty(); })) {
    next.vecWords.push_back(pSub->get_name());
  }
}

}  // namespace

NextWord nextWord(const CLI::App& app, const std::vector<std::string>& vecWords) {
  NextWord next;
  if (vecWords.empty()) {
    return next;
  }
  Walk walk(app);
  for (std::size_t i = 0; i + 1 < vecWords.size(); ++i) {
    walk.take(vecWords[i]);
  }
  if (walk.pending() != nullptr) {
    addValues(*walk.pending(), next);
  } else if (!vecWords.back().empty() && vecWords.back().front() == '-') {
    addOptions(&walk.command(), next);
  } else {
    addCommands(walk.command(), next);
    if (const CLI::Option* pArgument = argumentAt(walk.command(), walk.arguments())) {
      addValues(*pArgument, next);
    }
  }
  return next;
}

std::vector<std::string> withEmptyValues(const CLI::App& app, const std::vector<std::string>& vecWords) {
  std::vector<std::string> vecOut;
  Walk walk(app);
  bool blArguments = false;  // words after "--" are no options
  for (const std::string& strWord : vecWords) {
    blArguments = blArguments || strWord == "--";
    const bool blEmpty = !blArguments && walk.pending() == nullptr && strWord.starts_with("--") &&
                         strWord.find('=') == strWord.size() - 1;
    const CLI::Option* const pOption = blEmpty ? walk.optionOf(strWord) : nullptr;
    if (pOption == nullptr) {
      vecOut.push_back(strWord);
    } else if (takesValue(*pOption)) {
      vecOut.push_back(strWord.substr(0, strWord.size() - 1));
      vecOut.emplace_back();
    } else {
      throw Host::UsageFailure(fmt::format("{} takes no value", strWord.substr(0, strWord.size() - 1)));
    }
    walk.take(strWord);
  }
  return vecOut;
}

void refuseEmptyValues(CLI::App& command) {
  for (CLI::Option* pOption : command.get_options([](const CLI::Option*) { return true; })) {
    if (takesValue(*pOption) && !pOption->get_lnames().empty() && pOption->get_type_name() != "TEXT") {
      pOption->check([](const std::string& strValue) { return strValue.empty() ? "must not be empty" : ""; });
    }
  }
  for (CLI::App* pSub : command.get_subcommands([](const CLI::App*) { return true; })) {
    refuseEmptyValues(*pSub);
  }
}
