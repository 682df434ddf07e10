#include "run_files.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <string_view>
#include <utility>
#include <vector>

#include "common/support/failure.h"
#include "common/support/files.h"
#include "common/text/amounts.h"
#include "common/text/json_members.h"
#include "output_place.h"
#include "retention.h"

namespace Host {

namespace {

/// Says where a file was looked for, or why there is none.
std::string lookedText(const Json::Value& jRun, const std::vector<std::string>& vecLooked,
                       const std::vector<std::string>& vecUnknown) {
  if (const Json::Int64 iRemoved = intOf(memberOf(jRun, "extra"), OUTPUT_REMOVED); iRemoved != 0) {
    return fmt::format("it was removed to save space, {}", timeText(iRemoved));
  }
  std::string strText =
      vecLooked.empty() ? "no output folder is set" : fmt::format("it is not in {}", fmt::join(vecLooked, " or "));
  for (const std::string& strPlace : vecUnknown) {
    strText += fmt::format("; the share of \"{}\" no longer exists", strPlace);
  }
  return strText;
}

}  // namespace

std::optional<UniqueFd> findRunFile(const Json::Value& jRun, const char* szFile, std::string& strLooked) {
  const std::string strTask = textOf(jRun, "task_name");
  const Json::Int64 iStart = intOf(jRun, "start_time");
  std::vector<std::string> vecUnknown;
  std::vector<std::string> vecLooked;
  for (const OutputPlace& place : OutputPlace::places(vecUnknown)) {
    if (std::optional<UniqueFd> file = place.findRunFile(strTask, iStart, szFile)) {
      return file;
    }
    vecLooked.push_back(fmt::format("{}/{}/{}", place.path(), strTask, iStart));
  }
  strLooked = lookedText(jRun, vecLooked, vecUnknown);
  return std::nullopt;
}

UniqueFd requireRunFile(const Json::Value& jRun, const char* szFile) {
  std::string strLooked;
  std::optional<UniqueFd> file = findRunFile(jRun, szFile, strLooked);
  if (!file) {
    throw Failure(fmt::format("run {} has no {}: {}", intOf(jRun, "result_id"), szFile, strLooked));
  }
  return std::move(*file);
}

std::string textOfRunFile(const Json::Value& jRun, const char* szFile) {
  constexpr std::size_t CB_MAX = std::size_t{16} << 20;
  const char* const szWhat = std::string_view(szFile) == SCRIPT_FILE ? "script" : "output";
  return readAll(requireRunFile(jRun, szFile).get(), fmt::format("the {} of run {}", szWhat, intOf(jRun, "result_id")),
                 CB_MAX);
}

FileFollower::End endOfRunFile(const Json::Value& jRun, const char* szFile, unsigned cLines) {
  constexpr std::size_t CB_MAX = std::size_t{1} << 20;
  FileFollower::End end = FileFollower(requireRunFile(jRun, szFile), szFile, cLines).end(CB_MAX);
  std::size_t cbCut = 0;
  while (end.blCut && cbCut < end.strText.size() && cbCut < 3 && (end.strText[cbCut] & 0xC0) == 0x80) {
    ++cbCut;
  }
  end.strText.erase(0, cbCut);
  end.iStart += static_cast<off_t>(cbCut);
  return end;
}

}  // namespace Host
