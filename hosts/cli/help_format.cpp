#include "help_format.h"

#include <utility>

namespace {

constexpr std::size_t NAMES_WIDTH = 26;

}  // namespace

HelpFormat::HelpFormat() {
  column_width(NAMES_WIDTH);
}

std::string HelpFormat::make_option_opts(const CLI::Option* pOption) const {
  if (!pOption->get_option_text().empty() || pOption->get_type_size() == 0) {
    return pOption->get_option_text();
  }
  std::string strText = pOption->get_type_name().empty() ? "" : " " + pOption->get_type_name();
  if (!pOption->get_default_str().empty()) {
    strText += "=" + pOption->get_default_str();
  }
  return pOption->get_expected_max() == CLI::detail::expected_max_vector_size ? strText + " ..." : strText;
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
