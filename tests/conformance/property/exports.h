/// \file exports.h
/// Every exported function that takes JSON, called with generated arguments.

#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include "conformance/property/choices.h"
#include "conformance/property/world.h"

namespace OrvaTest {

/// How often each documented result of each function occurred. This shows whether the generator reaches all code.
using ResultCounts = std::map<std::string, std::map<int, int>>;
ResultCounts& resultCounts();

/// One call of one function, and the checks of it.
class Watch {
public:
  Watch(World& world, const char* szFunction) : m_world(world), m_strFunction(szFunction) {}

  /// Makes the call, which must not throw.
  template <class Operation>
  int run(Operation operation) {
    try {
      m_iResult = operation();
    } catch (const std::exception& thrown) {
      m_iResult = -1;
      complain(std::string("threw ") + thrown.what());
    } catch (...) {
      m_iResult = -1;
      complain("threw something");
    }
    return m_iResult;
  }

  /// The result must be one of these; a negative one must have been logged.
  void expectOneOf(std::initializer_list<int> results);
  /// The two texts must be equal: an out value that a failure must not change.
  void expectUntouched(const char* szWhat, const std::string& strBefore, const std::string& strAfter);
  void expect(bool blHolds, const std::string& strPromise);

  int result() const { return m_iResult; }
  bool failed() const { return m_iResult < 0; }
  /// The broken promises, including leftovers.
  std::vector<std::string> broken();

private:
  void complain(const std::string& strProblem) { m_broken.push_back(m_strFunction + ": " + strProblem); }

  World& m_world;
  std::string m_strFunction;
  std::vector<std::string> m_broken;
  int m_iResult = 0;
};

/// Calls one function in the present scene; `choices` selects the function and its arguments. \return the broken
/// promises.
using FamilyCall = std::vector<std::string> (*)(World& world, Choices& choices);

/// One of several functions, chosen by `choices`.
template <std::size_t N>
std::vector<std::string> callOneOf(const FamilyCall (&calls)[N], World& world, Choices& choices) {
  const FamilyCall call = calls[choices.below(static_cast<std::uint32_t>(N))];
  world.prepareCall(choices);
  return call(world, choices);
}

/// \name The families
/// @{
std::vector<std::string> callConfiguration(World& world, Choices& choices);
std::vector<std::string> callCatalogue(World& world, Choices& choices);
std::vector<std::string> callExecution(World& world, Choices& choices);
std::vector<std::string> callPresentation(World& world, Choices& choices);
/// @}

}  // namespace OrvaTest
