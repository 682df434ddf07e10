// Checks that end a function and log their own text.

#pragma once

#include "support/log.h"

// Leaves an int function with -1 when cond holds, after logging the check's own text.
#define FAIL_IF(cond) FAIL_IF_AS(cond, #cond)

// The same with another text: where the condition as it is logged cannot be written as it stands.
#define FAIL_IF_AS(cond, text) \
  do {                         \
    if (cond) {                \
      LOG_FAILED(text);        \
      return -1;               \
    }                          \
  } while (false)
