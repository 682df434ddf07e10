/// \file patience.h
/// Work that nobody ends halfway.

#pragma once

#include <csignal>

namespace Host {

/// While it lives, whoever wants to end this command has to wait; its signal ends the command afterwards.
class Patience {
public:
  Patience();
  ~Patience();
  Patience(const Patience&) = delete;
  Patience& operator=(const Patience&) = delete;

private:
  sigset_t m_before{};
};

}  // namespace Host
