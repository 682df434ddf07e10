// The location of a run's script and output.

#pragma once

#include <json/value.h>
#include <string>

// Results of getOutputPath(), besides -1.
constexpr int OUTPUT_FOLDER_READY = 0;
constexpr int OUTPUT_NO_FOLDER = 1;
constexpr int OUTPUT_SHARE_NOT_ACCESSIBLE = -2;

// Creates the run's folder below the configured output folder, and gives the paths of the two files in it. pOut
// receives the output file; pScript, which may be null, the script file. Without an output folder, the result is 1,
// pScript receives the temporary script of this process, and pOut is unchanged. Returns -2 when the share is not
// available and -1 on any other failure; the paths are then unchanged.
int getOutputPath(Json::Value& jConfig, const std::string& strTaskName, long iStartTime, std::string* pOut,
                  std::string* pScript);
