/// \file host_function.h
/// A function of the host that the platform calls.

#pragma once

namespace orva {

/// None until the host has set one.
/// \tparam Function  pointer to a function whose first argument is the host's context.
template <typename Function>
class HostFunction {
public:
  void set(Function pfn, void* pContext) {
    m_pfn = pfn;
    m_pContext = pContext;
  }
  bool isSet() const { return m_pfn != nullptr; }

  template <typename... Arguments>
  auto operator()(Arguments... arguments) const {
    return m_pfn(m_pContext, arguments...);
  }

private:
  Function m_pfn = nullptr;
  void* m_pContext = nullptr;
};

}  // namespace orva
