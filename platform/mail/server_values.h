/// \file server_values.h
/// The values of every mail that the platform knows.

#pragma once

#include "mail/mail_template.h"

namespace orva {

/// Keeps a value for the mails of this process; see ORVAMailAddValue().
void addMailValue(const std::string& strKey, const std::string& strValue);
void forgetMailValue(const std::string& strKey);
void forgetMailValues();

/// Adds to the values of a mail: those that a host has set, %HOST%, %RESULT%, and texts for what is not known. A value
/// of the mail itself stays.
PlaceholderValues withServerValues(PlaceholderValues mapValue);

}  // namespace orva
