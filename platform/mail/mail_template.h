/// \file mail_template.h
/// Mail templates: /usr/orva/share/mail/LANGUAGE/NAME.mail, in UTF-8.
///
///     Subject: %TASK% has ended
///     Cut: The rest was left out.
///
///     The body, to the end of the file.
///
/// `Cut` is the sentence that ends a body that was too long. `Subject` is required. All three have placeholders.

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

/// Reads a template in a language, or in English when that language has none.
/// \return nothing when the name is none, or the template is missing or malformed; that is logged.
std::optional<MailTemplate> loadMailTemplate(std::string_view strName, const std::string& strLanguage);

/// Reads a template from its text; nothing when it is malformed.
std::optional<MailTemplate> parseMailTemplate(std::string_view strText);

/// Puts the values in the place of their placeholders, in one pass: what a value brings in is not looked at again.
/// Where two placeholders fit, the longer one is meant. What has no value stays as it is.
/// \param cbMax  it ends soon after so many bytes; the caller cuts the rest.
std::string filled(std::string_view strText, const PlaceholderValues& mapValue, std::size_t cbMax);

}  // namespace orva
