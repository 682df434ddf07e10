/// eorva share list

#include <array>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <memory>

#include "orva_platform.h"

#include "common/failure.h"
#include "context.h"
#include "present.h"

namespace {

constexpr int ERR_VOLUME_UNUSABLE = 0x1400;

struct ListOptions {
  bool blJson = false;
};

using SharePtr = std::unique_ptr<ORVASHARE, decltype(&ORVAShareFree)>;
using ListPtr = std::unique_ptr<KLIBCSZLIST, decltype(&KLIBCSzListFree)>;

/// The shares, and what is wrong with their definitions.
struct Shares {
  std::vector<SharePtr> vecShare;
  std::vector<std::string> vecFault;
};

std::vector<std::string> textsOf(const ListPtr& pList) {
  std::vector<std::string> vecText;
  vecText.reserve(static_cast<std::size_t>(pList->nItem));
  for (int i = 0; i < pList->nItem; ++i) {
    vecText.emplace_back(KLIBCSzListGet(pList.get(), i));
  }
  return vecText;
}

Shares readShares() {
  PKLIBCSZLIST pNames = KLIBCSzListAlloc(0);
  PKLIBCSZLIST pFaults = KLIBCSzListAlloc(0);
  const int iResult = ORVAShareList(&pNames, &pFaults);
  const ListPtr names(pNames, &KLIBCSzListFree);
  const ListPtr faults(pFaults, &KLIBCSzListFree);
  if (iResult < 0) {
    throw Host::Failure(fmt::format("cannot list the shares: {}", std::strerror(KLIBCErrGet())));
  }
  Shares shares;
  shares.vecFault = textsOf(faults);
  for (const std::string& strName : textsOf(names)) {
    PORVASHARE pShare = nullptr;
    // What is gone meanwhile is not shown.
    if (ORVAShareGet(strName.c_str(), &pShare) == 0) {
      shares.vecShare.emplace_back(pShare, &ORVAShareFree);
    }
  }
  return shares;
}

/// Why a share cannot be used, and what would mend it; empty when it can.
std::string whyUnusable(const ORVASHARE& share) {
  switch (share.iError) {
    case 0:
      return "";
    case ERR_VOLUME_UNUSABLE:
      return *share.szVolume != '\0' ? fmt::format("its volume is not there: mount '{}'", share.szVolume)
                                     : fmt::format("its volume gives errors: see ls '{}'", share.szPath);
    case ENOTDIR:
      return fmt::format("it has no folder: mkdir -p '{}'", share.szPath);
    case EINVAL:
      return fmt::format("its path leads to a folder whose name a shell would act on: see readlink -f '{}'",
                         share.szPath);
    default:
      return fmt::format("its path leads nowhere: {}", std::strerror(share.iError));
  }
}

std::string sizeText(unsigned long long cb) {
  constexpr std::array<const char*, 6> UNITS = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
  double nSize = static_cast<double>(cb) / 1024;
  std::size_t uUnit = 0;
  while (nSize >= 1024 && uUnit + 1 < UNITS.size()) {
    nSize /= 1024;
    ++uUnit;
  }
  return fmt::format("{:.1f} {}", nSize, UNITS.at(uUnit));
}

Json::Value shareForPrograms(const ORVASHARE& share) {
  const std::string strWhyNot = whyUnusable(share);
  Json::Value jShare(Json::objectValue);
  jShare["name"] = share.szName;
  jShare["path"] = share.szPath;
  jShare["volume"] = *share.szVolume != '\0' ? Json::Value(share.szVolume) : Json::Value();
  jShare["accessible"] = strWhyNot.empty();
  jShare["why_not"] = strWhyNot.empty() ? Json::Value() : Json::Value(strWhyNot);
  jShare["free"] = static_cast<Json::UInt64>(share.cbFree);
  return jShare;
}

void printSharesJson(const Shares& shares) {
  Json::Value jOut(Json::arrayValue);
  for (const SharePtr& pShare : shares.vecShare) {
    jOut.append(shareForPrograms(*pShare));
  }
  printJson(jOut);
}

void printShares(const Shares& shares, bool blColor) {
  Table table({{"SHARE"}, {"PATH"}, {"VOLUME"}, {"FREE", true}, {"ACCESSIBLE"}}, blColor);
  for (const SharePtr& pShare : shares.vecShare) {
    const std::string strWhyNot = whyUnusable(*pShare);
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
  const Shares shares = readShares();
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
