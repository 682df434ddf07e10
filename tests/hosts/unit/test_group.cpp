#include "test_group.h"

#include <string>
#include <unistd.h>

#include "wait_until.h"

using namespace Host;

namespace HostTest {

TestGroup::TestGroup() : m_group(ControlGroup::own().value().below("host_test-" + std::to_string(getpid()))) {
  m_group.create();
}

TestGroup::~TestGroup() {
  m_group.kill();
  waitUntil([&] { return !m_group.isPopulated(); });
  m_group.remove();
}

std::string TestGroup::whyNone() {
  return ControlGroup::own() ? "" : "this process is in no control group of version 2";
}

}  // namespace HostTest
