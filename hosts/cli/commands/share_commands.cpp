/// eorva share list

#include "cli/context.h"
#include "cli/terminal/present.h"
#include "common/answers/server_answers.h"
#include "common/server/shares.h"

namespace {

struct ListOptions {
  bool blJson = false;
};

void printShares(const Host::Shares& shares, bool blColor) {
  Table table({{"SHARE"}, {"PATH"}, {"VOLUME"}, {"FREE", true}, {"ACCESSIBLE"}}, blColor);
  for (const Host::SharePtr& pShare : shares.vecShare) {
    const std::string strWhyNot = Host::whyUnusable(*pShare);
    const bool blUsable = strWhyNot.empty();
    table.addRow({{pShare->szName},
                  {pShare->szPath},
                  {*pShare->szVolume != '\0' ? pShare->szVolume : "-"},
                  {blUsable ? sizeText(pShare->cbFree) : "-"},
                  {blUsable ? "yes" : "no: " + strWhyNot, blUsable ? nullptr : "red"}});
  }
  table.print();
}

int runList(const Context& context, const ListOptions& options) {
  const Host::Shares shares = Host::readShares();
  options.blJson ? printJson(Host::sharesForPrograms(shares)) : printShares(shares, context.isColored());
  for (const std::string& strFault : shares.vecFault) {
    printNote(strFault);
  }
  return shares.vecFault.empty() ? EXIT_DONE : EXIT_FAILED;
}

}  // namespace

void addShareCommands(CLI::App& app, Context& context) {
  CLI::App* pShare =
      addCommand(app, "share", "Show the shared folders that output can be kept on.", "  eorva share list\n");
  pShare->require_subcommand(1);

  CLI::App* pCommand = addCommand(*pShare, "list", "List the shares, and how to repair those that cannot be used.",
                                  "  eorva share list          also shows errors in the definitions, with their lines\n"
                                  "  eorva share list --json   sizes in bytes\n");
  auto pList = onCommand(pCommand, context, &runList);
  pCommand->add_flag("--json", pList->blJson, "print a JSON array");
}
