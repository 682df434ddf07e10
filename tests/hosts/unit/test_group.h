/// \file test_group.h
/// A control group for the processes of one test.

#pragma once

#include <string>

#include "common/support/control_group.h"

namespace HostTest {

/// Is below the group of this process, where there are control groups. Its processes are killed at the end.
class TestGroup {
public:
  TestGroup();
  ~TestGroup();
  TestGroup(const TestGroup&) = delete;
  TestGroup& operator=(const TestGroup&) = delete;

  /// Why there is none; empty when there is one.
  static std::string whyNone();

  const Host::ControlGroup& group() const { return m_group; }
  const std::string& path() const { return m_group.path(); }

private:
  Host::ControlGroup m_group;
};

}  // namespace HostTest
