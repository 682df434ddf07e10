/// \file run_test.h
/// A run to be ended, without an execution. A child of this process stands for the process of the run, and has a child
/// that stands for its script.

#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

namespace HostTest {

/// Has the calling process end with its parent, whenever that ends.
void endWith(pid_t pidParent);

class RunTest : public testing::Test {
protected:
  void SetUp() override;
  void TearDown() override;

  /// Lets the script begin; the run ends with it.
  /// \return its process.
  pid_t beginScript() const;

  /// What the script does.
  [[noreturn]] virtual void beTheScript();

  pid_t m_pid = 0;  ///< of run 1, which is of the task "a"

private:
  [[noreturn]] void beTheRun();
  void addRun() const;

  int m_go[2] = {-1, -1};
};

}  // namespace HostTest
