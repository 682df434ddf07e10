/// \file choices.h
/// The decisions of the generator of hostile requests.

#pragma once

#include <cstddef>
#include <cstdint>

namespace OrvaTest {

/// A stream of decisions: a seeded generator in the property test, a fuzzer's bytes in the fuzz targets. The same
/// stream always leads to the same requests.
class Choices {
public:
  virtual ~Choices() = default;

  /// A number from 0 to cBound - 1. A stream that has run out gives the last number, which is always the harmless
  /// choice.
  std::uint32_t below(std::uint32_t cBound) {
    if (exhausted()) {
      return cBound - 1;
    }
    std::uint32_t uValue = nextByte();
    for (std::uint32_t uRest = (cBound - 1) >> 8; uRest != 0; uRest >>= 8) {
      uValue = (uValue << 8) | nextByte();
    }
    return uValue % cBound;
  }

  /// True once in cBound times.
  bool oneIn(std::uint32_t cBound) { return below(cBound) == 0 && cBound > 1; }

  /// True when no decisions are left.
  virtual bool exhausted() const = 0;

protected:
  virtual std::uint8_t nextByte() = 0;
};

/// Endless decisions from a seed (splitmix64).
class SeededChoices : public Choices {
public:
  explicit SeededChoices(std::uint64_t uSeed) : m_uState(uSeed) {}

  bool exhausted() const override { return false; }

protected:
  std::uint8_t nextByte() override {
    if (m_cLeft == 0) {
      m_uState += 0x9e3779b97f4a7c15U;
      std::uint64_t uMixed = (m_uState ^ (m_uState >> 30)) * 0xbf58476d1ce4e5b9U;
      uMixed = (uMixed ^ (uMixed >> 27)) * 0x94d049bb133111ebU;
      m_uBits = uMixed ^ (uMixed >> 31);
      m_cLeft = sizeof m_uBits;
    }
    const auto uByte = static_cast<std::uint8_t>(m_uBits);
    m_uBits >>= 8;
    --m_cLeft;
    return uByte;
  }

private:
  std::uint64_t m_uState;
  std::uint64_t m_uBits = 0;
  std::size_t m_cLeft = 0;
};

/// Decisions from a fuzzer's block of bytes.
class ByteChoices : public Choices {
public:
  ByteChoices(const std::uint8_t* pBytes, std::size_t cBytes) : m_pBytes(pBytes), m_cBytes(cBytes) {}

  bool exhausted() const override { return m_cBytes == 0; }

protected:
  std::uint8_t nextByte() override {
    if (m_cBytes == 0) {
      return 0xff;
    }
    --m_cBytes;
    return *m_pBytes++;
  }

private:
  const std::uint8_t* m_pBytes;
  std::size_t m_cBytes;
};

}  // namespace OrvaTest
