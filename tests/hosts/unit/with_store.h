/// \file with_store.h
/// A new store for each test, with the task "a" of root.

#pragma once

#include <optional>

#include "common/store/session.h"
#include "fresh_host.h"
#include "stored.h"

namespace HostTest {

/// \tparam Fixture  what the tests need otherwise.
template <typename Fixture>
class WithStore : public Fixture {
protected:
  void SetUp() override {
    Fixture::SetUp();
    freshHost();
    m_session.emplace(Host::Session::Store::CREATE);
    addTask(*m_session, "a");
  }

  std::optional<Host::Session> m_session;
};

}  // namespace HostTest
