#include "run_rows.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "rows.h"
#include "session.h"

namespace Host {

std::vector<RunRow> listRunRows(Session& session, const std::string& strWhere, unsigned cLimit) {
  Rows rows(session,
            fmt::format("SELECT result_id, start_time FROM task_result WHERE {} ORDER BY result_id DESC LIMIT {}",
                        strWhere, cLimit));
  std::vector<RunRow> vecRuns;
  while (rows.next()) {
    vecRuns.push_back({rows.number(0), rows.number(1)});
  }
  return vecRuns;
}

Json::Int64 lastOfNewest(Session& session, const std::string& strWhere, unsigned cRuns) {
  Rows rows(session, fmt::format("SELECT result_id FROM task_result WHERE {} ORDER BY result_id DESC LIMIT 1 OFFSET {}",
                                 strWhere, cRuns - 1));
  return rows.next() ? rows.number(0) : 0;
}

void deleteRuns(Session& session, const std::vector<Json::Int64>& vecRuns) {
  WriteLock lock(session);
  Rows(session, fmt::format("DELETE FROM task_result WHERE result_id IN ({})", fmt::join(vecRuns, ", "))).next();
  lock.commit();
}

}  // namespace Host
