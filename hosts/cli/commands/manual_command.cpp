/// eorva manual: the commands section of the man page, made from the definition of the command line.

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "cli/context.h"
#include "cli/help_format.h"

namespace {

struct ManualOptions {
  const CLI::App* pApp = nullptr;
};

/// Escapes the characters that scdoc would interpret.
std::string escaped(const std::string& strText) {
  std::string strEscaped;
  for (const char c : strText) {
    if (c == '\\' || c == '*' || c == '_' || c == '#' || c == '~' || c == '`' || c == '|') {
      strEscaped += '\\';
    }
    strEscaped += c;
  }
  return strEscaped;
}

/// The name of a value, without its checks.
std::string valueName(const CLI::Option& option) {
  const std::string strType = option.get_type_name();
  return strType.substr(0, strType.find(':'));
}

bool isHidden(const CLI::Option& option) {
  return option.get_group().empty() || option.get_group() == FOLDED || option.check_name("--help");
}

/// As a page shows them: "*-f*, *--follow*".
std::string optionNames(const CLI::Option& option) {
  std::vector<std::string> vecNames;
  for (const std::string& strName : option.get_snames()) {
    vecNames.push_back(fmt::format("*-{}*", strName));
  }
  for (const std::string& strName : option.get_lnames()) {
    vecNames.push_back(fmt::format("*--{}*", strName));
  }
  return fmt::format("{}", fmt::join(vecNames, ", "));
}

/// The options of a command and of its option groups.
std::vector<const CLI::Option*> optionsOf(const CLI::App& app) {
  std::vector<const CLI::Option*> vecOptions;
  for (const CLI::Option* pOption : app.get_options()) {
    if (!isHidden(*pOption)) {
      vecOptions.push_back(pOption);
    }
  }
  for (const CLI::App* pGroup : app.get_subcommands([](const CLI::App* pSub) { return pSub->get_name().empty(); })) {
    const std::vector<const CLI::Option*> vecMore = optionsOf(*pGroup);
    vecOptions.insert(vecOptions.end(), vecMore.begin(), vecMore.end());
  }
  return vecOptions;
}

std::string synopsis(const CLI::App& app, const std::string& strPath) {
  std::string strPositionals;
  bool blOptions = false;
  for (const CLI::Option* pOption : optionsOf(app)) {
    if (!pOption->get_positional()) {
      blOptions = true;
      continue;
    }
    const char* szMore = pOption->get_items_expected_max() > 1 ? "..." : "";
    const std::string strValue = fmt::format("_{}_{}", escaped(valueName(*pOption)), szMore);
    strPositionals += pOption->get_required() ? " " + strValue : fmt::format(" [{}]", strValue);
  }
  return fmt::format("*{}*{}{}", strPath, blOptions ? " [_OPTION_...]" : "", strPositionals);
}

void printOptions(const CLI::App& app) {
  for (const CLI::Option* pOption : optionsOf(app)) {
    if (!pOption->get_positional()) {
      const std::string strValue = valueName(*pOption);
      const bool blValue = pOption->get_items_expected_max() > 0 && !strValue.empty();
      fmt::print("{}{}\n\t{}\n\n", optionNames(*pOption), blValue ? fmt::format(" _{}_", escaped(strValue)) : "",
                 escaped(pOption->get_description()));
    }
  }
}

void printExamples(const CLI::App& app) {
  const std::string strFooter = app.get_footer();
  const std::size_t iLine = strFooter.find('\n');
  if (iLine != std::string::npos) {
    fmt::print("```\n{}```\n\n", strFooter.substr(iLine + 1));
  }
}

/// The subcommands, in the order of the help.
void printCommands(const CLI::App& app, const std::string& strPath) {
  for (const CLI::App* pCommand : app.get_subcommands([](const CLI::App* pSub) { return !pSub->get_name().empty(); })) {
    const std::string strName = fmt::format("{} {}", strPath, pCommand->get_name());
    if (pCommand->get_group().empty()) {
      continue;
    }
    if (pCommand->get_require_subcommand_min() == 0) {
      fmt::print("## {}\n\n{}\n\n{}\n\n", escaped(strName), synopsis(*pCommand, strName),
                 escaped(pCommand->get_description()));
      printOptions(*pCommand);
      printExamples(*pCommand);
    }
    printCommands(*pCommand, strName);
  }
}

int runManual(const Context&, const ManualOptions& options) {
  fmt::print("# OPTIONS\n\n");
  printOptions(*options.pApp);
  fmt::print("# COMMANDS\n\n");
  printCommands(*options.pApp, "eorva");
  return EXIT_DONE;
}

}  // namespace

void addManualCommand(CLI::App& app, Context& context) {
  CLI::App* pCommand =
      addCommand(app, "manual", "Print the commands section of the man page, for scdoc.", "  eorva manual\n");
  auto pOptions = onCommand(pCommand, context, &runManual, true);
  pOptions->pApp = &app;
  pCommand->group("");
}
