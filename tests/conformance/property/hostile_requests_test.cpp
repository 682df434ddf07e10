// With any JSON from a host, no exception is thrown, the result is documented, and nothing is left behind.

#include <gtest/gtest.h>
#include <ostream>

#include "conformance/property/exports.h"
#include "conformance/property/read_only_root.h"

namespace OrvaTest {

namespace {

// 201,600 calls in total; families with slow calls get fewer.
constexpr int SHARES = 4;
constexpr int CALLS_PER_SCENE = 6;
constexpr int COMPLAINTS_AT_MOST = 5;

struct Family {
  const char* szName;
  FamilyCall call;
  int cScenes;  // in each share
};

constexpr Family FAMILIES[] = {{"Configuration", callConfiguration, 2'500},
                               {"Catalogue", callCatalogue, 1'700},
                               {"Execution", callExecution, 1'000},
                               {"Presentation", callPresentation, 3'200}};

std::ostream& operator<<(std::ostream& out, const Family& family) {
  return out << family.szName;
}

class HostileRequests : public testing::TestWithParam<std::tuple<Family, int>> {
protected:
  static void SetUpTestSuite() { makeRootReadOnly(); }
};

TEST_P(HostileRequests, BreakNoPromise) {
  const auto& [family, iShare] = GetParam();
  World world;
  resultCounts().clear();
  int cComplaints = 0;
  for (int i = 0; i < family.cScenes && cComplaints < COMPLAINTS_AT_MOST; ++i) {
    // Each scene has its own seed, so that a failing scene can be repeated alone.
    SeededChoices choices(static_cast<std::uint64_t>(iShare) * static_cast<std::uint64_t>(family.cScenes) +
                          static_cast<std::uint64_t>(i));
    world.setScene(choices);
    for (int iCall = 0; iCall < CALLS_PER_SCENE; ++iCall) {
      for (const std::string& strBroken : family.call(world, choices)) {
        ++cComplaints;
        ADD_FAILURE() << "scene " << i << ", call " << iCall << ": " << strBroken;
      }
    }
  }
  for (const auto& [strFunction, counts] : resultCounts()) {
    for (const auto& [iResult, cSeen] : counts) {
      EXPECT_GT(cSeen, 0) << strFunction << " never gave " << iResult;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Every, HostileRequests,
                         testing::Combine(testing::ValuesIn(FAMILIES), testing::Range(0, SHARES)),
                         [](const auto& instance) {
                           return std::string(std::get<0>(instance.param).szName) + "Share" +
                                  std::to_string(std::get<1>(instance.param));
                         });

}  // namespace

}  // namespace OrvaTest
