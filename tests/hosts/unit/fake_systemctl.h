/// \file fake_systemctl.h
/// A server where systemd runs, with a fake systemctl.

#pragma once

#include <string>

namespace HostTest {

class FakeSystemctl {
public:
  /// \param strScript  what it does, for a shell.
  explicit FakeSystemctl(const std::string& strScript);
  ~FakeSystemctl();
  FakeSystemctl(const FakeSystemctl&) = delete;
  FakeSystemctl& operator=(const FakeSystemctl&) = delete;

  /// The arguments of its calls, a line each.
  static std::string calls();

private:
  std::string m_strPath;
};

}  // namespace HostTest
