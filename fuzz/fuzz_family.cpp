// Fuzzes one family of exported functions. libFuzzer's bytes are the decisions of the request generator.

#include <cstdio>
#include <cstdlib>

#include "conformance/property/exports.h"
#include "fuzz/server.h"

namespace {

constexpr int CALLS_AT_MOST = 16;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  OrvaFuzz::enterServer();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pBytes, std::size_t cBytes) {
  OrvaTest::ByteChoices choices(pBytes, cBytes);
  OrvaTest::World world;
  world.setScene(choices);
  for (int i = 0; i < CALLS_AT_MOST && !choices.exhausted(); ++i) {
    const auto broken = OrvaTest::FUZZED_FAMILY(world, choices);
    for (const std::string& strBroken : broken) {
      std::fprintf(stderr, "%s\n", strBroken.c_str());
    }
    if (!broken.empty()) {
      std::abort();
    }
  }
  return 0;
}
