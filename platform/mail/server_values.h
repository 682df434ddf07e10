/// \file server_values.h
/// The placeholders that the platform fills itself.

#pragma once

#include "mail/mail_template.h"

namespace orva {

/// Adds the values that the caller has not given: `%HOST%`, the server's name; and, if there is an `%EXIT_CODE%`,
/// `%RESULT%`, which tells in the server's language whether a task ended well.
PlaceholderValues withServerValues(PlaceholderValues mapValue);

}  // namespace orva
