#include "failing_new.h"

#include <cstdlib>
#include <new>
#include <utility>

namespace {

thread_local bool g_blCounts = false;
thread_local unsigned g_uLeft = 0;

}  // namespace

void* operator new(std::size_t cb) {
  if (g_blCounts && g_uLeft-- == 0) {
    g_blCounts = false;
    throw std::bad_alloc();
  }
  if (void* const p = std::malloc(cb == 0 ? 1 : cb)) {
    return p;
  }
  throw std::bad_alloc();
}

void* operator new(std::size_t cb, const std::nothrow_t&) noexcept {
  return std::malloc(cb == 0 ? 1 : cb);
}

void operator delete(void* p) noexcept {
  std::free(p);
}

void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}

namespace HostTest {

bool withFailingNew(unsigned uNumber, const std::function<void()>& fnDo) {
  g_uLeft = uNumber;
  g_blCounts = true;
  try {
    fnDo();
  } catch (...) {
    g_blCounts = false;
    throw;
  }
  // It failed, and nobody heard of it, or it was never reached.
  return !std::exchange(g_blCounts, false);
}

}  // namespace HostTest
