/// \file mail_template.h
/// Mail templates: /usr/orva/share/mail/LANGUAGE/NAME.mail, in UTF-8.
///
///     Subject: %TASK% has ended
///     Cut: The rest was left out.
///
///     The body, to the end of the file.
///
/// `Subject` is required. `Cut` is the sentence that ends a body that was cut. Placeholders are allowed in all three.

#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace orva {

struct MailTemplate {
  std::string strSubject;
  std::string strCut;
  std::string strBody;
};

using PlaceholderValues = std::map<std::string, std::string, std::less<>>;

/// Reads a template in a language, or in English if that language has none.
/// \return nothing when the name is invalid, or the template is missing or malformed. This is logged.
std::optional<MailTemplate> loadMailTemplate(std::string_view strName, const std::string& strLanguage);

/// Reads a template from its text; nothing when it is malformed.
std::optional<MailTemplate> parseMailTemplate(std::string_view strText);

/// Replaces placeholders by their values in one pass, so a placeholder within a value stays. If two placeholders match,
/// the longer one is replaced. A placeholder without a value stays.
/// \param cbMax  the text ends soon after this number of bytes; the caller cuts the rest.
std::string filled(std::string_view strText, const PlaceholderValues& mapValue, std::size_t cbMax);

}  // namespace orva
