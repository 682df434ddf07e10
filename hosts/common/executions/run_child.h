/// \file run_child.h
/// The first and the last step of the process of a run.

#pragma once

#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

#include "common/tasks/run_settings.h"

namespace Host {

/// The data with which the process of a run begins.
struct RunStart {
  std::string strFile;              ///< the file of the execution, see execution_file.h
  std::string strGroup;             ///< folder of the execution's control group; empty where there are none
  unsigned cMaxProcesses = 0;       ///< for the run
  int fdEnds = -1;                  ///< where it tells its end, see end_reports.h
  std::vector<int> vecParentOnly;   ///< descriptors that belong to the execution alone
  std::uint64_t cbOutputLimit = 0;  ///< for the output of the run; 0 for none
  std::string strTask = {};         ///< the task
  RunSettings settings = {};        ///< of this task
};

/// Makes the calling process of a run, just forked and still root's, ready for the script: it enters its control group
/// and reports itself. From now on it reports its end, too. It ends at once when it is not to run the script: without a
/// group, when nobody watches it, or when the execution is being ended.
void beginRun(const RunStart& start, pid_t pidExecution, bool blEnding);

}  // namespace Host
