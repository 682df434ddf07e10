#include "launch_options.h"

#include <fmt/format.h>
#include <limits>

#include "common/support/failure.h"
#include "common/text/number_spec.h"
#include "common/text/variable.h"
#include "help_format.h"
#include "usage.h"

namespace {

Json::Value memoryLimitFrom(const std::string& strTyped) {
  const std::optional<std::uint64_t> cb = Host::sizeFrom(strTyped);
  if (!cb) {
    throw Host::UsageFailure(fmt::format(
        "--memory-limit: \"{}\" is no size: give a number of bytes, as in 500M or 2G, or 0 for no limit", strTyped));
  }
  return static_cast<Json::Int64>(*cb);
}

Json::Value environmentFrom(const std::vector<std::string>& vecTyped) {
  Json::Value jEnvironment(Json::objectValue);
  for (const std::string& strTyped : vecTyped) {
    const auto variable = Host::splitVariable(strTyped);
    if (!variable) {
      throw Host::UsageFailure(fmt::format("--environment: \"{}\" must have the form NAME=VALUE", strTyped));
    }
    jEnvironment[variable->first] = variable->second;
  }
  return jEnvironment;
}

}  // namespace

bool LaunchOptions::areSet() const {
  return strDirectory || iNice || strIoClass || strMemoryLimit || !vecEnvironment.empty() || blNoEnvironment ||
         blOnlyAfterSuccess || blAlsoAfterFailure || cRetries || cRetryAfter;
}

void LaunchOptions::setMembers(Json::Value& jTask) const {
  if (strDirectory) {
    jTask["directory"] = *strDirectory;
  }
  if (iNice) {
    jTask["nice"] = *iNice;
  }
  if (strIoClass) {
    jTask["io_class"] = *strIoClass;
  }
  if (strMemoryLimit) {
    jTask["memory_limit"] = memoryLimitFrom(*strMemoryLimit);
  }
  if (!vecEnvironment.empty() || blNoEnvironment) {
    jTask["environment"] = environmentFrom(vecEnvironment);
  }
  if (blOnlyAfterSuccess || blAlsoAfterFailure) {
    jTask["only_after_success"] = blOnlyAfterSuccess;
  }
  if (cRetries) {
    jTask["retries"] = *cRetries;
  }
  if (cRetryAfter) {
    jTask["retry_after"] = *cRetryAfter;
  }
}

void addLaunchOptions(CLI::App* pCommand, LaunchOptions& options) {
  CLI::Option* pOnly = pCommand->add_flag("--only-after-success", options.blOnlyAfterSuccess,
                                          "wait for a success; or --also-after-failure (default)");
  foldAway(
      pCommand->add_flag("--also-after-failure", options.blAlsoAfterFailure, "start also after a failure (default)")
          ->excludes(pOnly));
  pCommand->add_option("--retry", options.cRetries, "repeat a failed run so many times (default: 0)")
      ->type_name("NUMBER")
      ->check(wholeNumber(0));
  pCommand->add_option("--retry-after", options.cRetryAfter, "time until a run is repeated (default: 1m)")
      ->type_name("DURATION")
      ->transform(durationWithin(0, std::numeric_limits<long long>::max()));
  pCommand->add_option("--directory", options.strDirectory, "folder in which the script starts (default: /)")
      ->type_name("FOLDER");
  pCommand->add_option("--nice", options.iNice, "nice value of a run, from -20 to 19 (default: 0)")
      ->type_name("NUMBER")
      ->check(wholeNumber(std::numeric_limits<long long>::min()));
  pCommand->add_option("--io-class", options.strIoClass, "I/O class: idle or best-effort:7 (default: none)")
      ->type_name("CLASS");
  pCommand
      ->add_option("--memory-limit", options.strMemoryLimit, "memory for all processes: 500M; 0 (default): no limit")
      ->type_name("SIZE");
  CLI::Option* pSet =
      pCommand
          ->add_option("--environment", options.vecEnvironment, "set a variable; can be repeated; or --no-environment")
          ->type_name("NAME=VALUE")
          ->expected(1)
          ->take_all()
          ->allow_extra_args(false);
  foldAway(pCommand->add_flag("--no-environment", options.blNoEnvironment, "remove all variables of the task")
               ->excludes(pSet));
}
