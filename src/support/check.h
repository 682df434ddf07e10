// Checks that return from a function and log their own text.

#pragma once

#include "support/log.h"

// Logs the check's own text and returns -1 from an int function if cond is true.
#define FAIL_IF(cond) FAIL_IF_AS(cond, #cond)

// The same with another text, for a condition that cannot be written as it is logged.
#define FAIL_IF_AS(cond, text) \
  do {                         \
    if (cond) {                \
      LOG_FAILED(text);        \
      return -1;               \
    }                          \
  } while (false)
