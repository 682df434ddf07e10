/// \file copy_out.h
/// Copies texts to buffers of callers.

#pragma once

#include <cstring>
#include <string_view>

namespace orva {

/// Copies a text into a caller's buffer, with its final NUL.
/// \return false when it does not fit or contains a NUL; the buffer is then unchanged.
inline bool copyOut(std::string_view strText, char* szBuffer, int cbBuffer) {
  if (!szBuffer || cbBuffer <= 0 || strText.size() >= static_cast<std::size_t>(cbBuffer) ||
      strText.find('\0') != std::string_view::npos) {
    return false;
  }
  std::memcpy(szBuffer, strText.data(), strText.size());
  szBuffer[strText.size()] = '\0';
  return true;
}

}  // namespace orva
