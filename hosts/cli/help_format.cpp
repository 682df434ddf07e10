#include "help_format.h"

#include <sstream>
#include <utility>

namespace {

constexpr std::size_t SCREEN_WIDTH = 80;
constexpr std::size_t NAMES_WIDTH = 27;

/// Breaks a text into lines that fit beside a margin.
std::string wrapped(const std::string& strText, std::size_t cMargin) {
  std::string strLines;
  std::size_t cLine = 0;
  std::istringstream words(strText);
  for (std::string strWord; words >> strWord;) {
    const bool blFits = cMargin + cLine + 1 + strWord.size() <= SCREEN_WIDTH;
    strLines += strLines.empty() ? "" : (blFits ? " " : "\n");
    cLine = strLines.empty() || !blFits ? strWord.size() : cLine + 1 + strWord.size();
    strLines += strWord;
  }
  return strLines;
}

/// The description of a command in a list of commands: without the details after a semicolon or a colon.
std::string summary(const std::string& strDescription) {
  const std::size_t iEnd = strDescription.find_first_of(";:");
  return iEnd == std::string::npos ? strDescription : strDescription.substr(0, iEnd) + ".";
}

}  // namespace

HelpFormat::HelpFormat() {
  column_width(NAMES_WIDTH);
}

std::string HelpFormat::make_option_opts(const CLI::Option* pOption) const {
  if (!pOption->get_option_text().empty() || pOption->get_type_size() == 0) {
    return pOption->get_option_text();
  }
  // The description names the choices that a check adds to the type.
  const std::string strType = pOption->get_type_name().substr(0, pOption->get_type_name().find(':'));
  std::string strText = strType.empty() ? "" : " " + strType;
  if (!pOption->get_default_str().empty()) {
    strText += "=" + pOption->get_default_str();
  }
  return pOption->get_expected_max() == CLI::detail::expected_max_vector_size ? strText + " ..." : strText;
}

std::string HelpFormat::make_option_desc(const CLI::Option* pOption) const {
  return wrapped(pOption->get_description(), NAMES_WIDTH);
}

std::string HelpFormat::make_description(const CLI::App* pCommand) const {
  return wrapped(pCommand->get_description(), 0) + "\n";
}

std::string HelpFormat::make_subcommand(const CLI::App* pCommand) const {
  std::ostringstream out;
  CLI::detail::format_help(out, pCommand->get_name(), wrapped(summary(pCommand->get_description()), NAMES_WIDTH),
                           NAMES_WIDTH);
  return out.str();
}

std::string HelpFormat::make_help(const CLI::App* pCommand, std::string strName, CLI::AppFormatMode mode) const {
  std::string strHelp = CLI::Formatter::make_help(pCommand, std::move(strName), mode);
  for (std::size_t i = 0; (i = strHelp.find("\n\n\n", i)) != std::string::npos;) {
    strHelp.erase(i, 1);
  }
  return strHelp.ends_with("\n\n") ? strHelp.substr(0, strHelp.size() - 1) : strHelp;
}

std::string HelpFormat::make_group(std::string strGroup, bool blPositional,
                                   std::vector<const CLI::Option*> vecOptions) const {
  return strGroup == FOR_DEVELOPERS || strGroup == FOLDED
             ? std::string()
             : CLI::Formatter::make_group(std::move(strGroup), blPositional, std::move(vecOptions));
}

std::string HelpFormat::make_footer(const CLI::App* pCommand) const {
  const std::vector<const CLI::Option*> vecOptions =
      pCommand->get_options([](const CLI::Option* pOption) { return pOption->get_group() == FOR_DEVELOPERS; });
  return CLI::Formatter::make_footer(pCommand) +
         (vecOptions.empty() ? "" : CLI::Formatter::make_group(FOR_DEVELOPERS, false, vecOptions));
}

void foldAway(CLI::Option* pOption) {
  pOption->group(FOLDED);
}
