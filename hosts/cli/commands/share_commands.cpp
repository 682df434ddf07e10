/// eorva share list

#include <fmt/format.h>

#include "cli/context.h"
#include "cli/terminal/present.h"
#include "common/server/shares.h"

namespace {

struct ListOptions {
  bool blJson = false;
};

Json::Value shareForPrograms(const ORVASHARE& share) {
  const std::string strWhyNot = Host::whyUnusable(share);
  Json::Value jShare(Json::objectValue);
  jShare["name"] = share.szName;
  jShare["path"] = share.szPath;
  jShare["volume"] = *share.szVolume != '\0' ? Json::Value(share.szVolume) : Json::Value();
  jShare["accessible"] = strWhyNot.empty();
  jShare["why_not"] = strWhyNot.empty() ? Json::Value() : Json::Value(strWhyNot);
  jShare["free"] = static_cast<Json::UInt64>(share.cbFree);
  return jShare;
}

void printSharesJson(const Host::Shares& shares) {
  Json::Value jOut(Json::arrayValue);
  for (const Host::SharePtr& pShare : shares.vecShare) {
    jOut.append(shareForPrograms(*pShare));
  }
  printJson(jOut);
}

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
  options.blJson ? printSharesJson(shares) : printShares(shares, context.isColored());
  for (const std::string& strFault : shares.vecFault) {
    printNote(strFault);
  }
  return shares.vecFault.empty() ? EXIT_DONE : EXIT_FAILED;
}

}  // namespace

void addShareCommands(CLI::App& app, Context& context) {
  CLI::App* pShare =
      addCommand(app, "share", "Show the shared folders on which output can be kept.", "  eorva share list\n");
  pShare->require_subcommand(1);

  auto pList = std::make_shared<ListOptions>();
  CLI::App* pCommand = addCommand(*pShare, "list", "List the shares, whether each can be used, and what to do if not.",
                                  "  eorva share list          what is wrong with a definition is said with its line\n"
                                  "  eorva share list --json   sizes in bytes\n");
  pCommand->add_flag("--json", pList->blJson, "as JSON");
  onCommand(pCommand, context, pList, &runList);
}
