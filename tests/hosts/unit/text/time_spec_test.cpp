/// Points in time as people type them.

#include "common/text/time_spec.h"

#include <gtest/gtest.h>
#include <string>

namespace {

constexpr std::time_t NOW = 1'795'000'000;

TEST(TimeSpec, EveryFormThatHelpShowsIsATime) {
  const std::string strForms = Host::TIME_SPEC_FORMS;
  int cForms = 0;
  for (std::size_t iBegin = strForms.find('"'); iBegin != std::string::npos; iBegin = strForms.find('"', iBegin)) {
    const std::size_t iEnd = strForms.find('"', iBegin + 1);
    ASSERT_NE(iEnd, std::string::npos) << strForms;
    const std::string strForm = strForms.substr(iBegin + 1, iEnd - iBegin - 1);
    EXPECT_TRUE(Host::readTimeSpec(strForm, NOW)) << strForm;
    ++cForms;
    iBegin = iEnd + 1;
  }
  EXPECT_EQ(cForms, 9);
}

}  // namespace
