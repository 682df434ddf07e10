/// \file help_format.h
/// How help looks.

#pragma once

#include <string>
#include <vector>

#include "context.h"

/// The group of options that only developers need; help shows it at its end.
inline constexpr char FOR_DEVELOPERS[] = "For developers";

/// An option a line, without a list of the options that it excludes, on a screen of 80 columns.
class HelpFormat : public CLI::Formatter {
public:
  HelpFormat();
  std::string make_option_opts(const CLI::Option* pOption) const override;
  std::string make_option_desc(const CLI::Option* pOption) const override;
  std::string make_description(const CLI::App* pCommand) const override;
  std::string make_subcommand(const CLI::App* pCommand) const override;
  std::string make_help(const CLI::App* pCommand, std::string strName, CLI::AppFormatMode mode) const override;
  std::string make_group(std::string strGroup, bool blPositional,
                         std::vector<const CLI::Option*> vecOptions) const override;
  std::string make_footer(const CLI::App* pCommand) const override;
};

/// The group of options that the text of their opposites names. The parser knows no names for a group without one.
inline constexpr char FOLDED[] = "Folded";

/// Leaves an option out of help and the man page, because the text of its opposite names it.
void foldAway(CLI::Option* pOption);
