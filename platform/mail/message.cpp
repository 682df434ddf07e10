#include "mail/message.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <fmt/format.h>
#include <sys/random.h>
#include <unistd.h>

#include "mail/encoding.h"
#include "settings/text_line.h"
#include "texts/utf8.h"

namespace orva {
namespace {

constexpr std::size_t CB_SUBJECT_MAX = 200;
constexpr std::size_t CB_CUT_MAX = 1000;

// Not strftime, because the names of days and months must be English in every locale.
std::string mailDate(std::time_t now) {
  constexpr std::array<const char*, 7> DAYS = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  constexpr std::array<const char*, 12> MONTHS = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                  "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  std::tm local{};
  localtime_r(&now, &local);
  const long lOffset = local.tm_gmtoff / 60;
  return fmt::format("{}, {:02} {} {} {:02}:{:02}:{:02} {}{:02}{:02}", DAYS.at(static_cast<std::size_t>(local.tm_wday)),
                     local.tm_mday, MONTHS.at(static_cast<std::size_t>(local.tm_mon)), local.tm_year + 1900,
                     local.tm_hour, local.tm_min, local.tm_sec, lOffset < 0 ? '-' : '+', std::abs(lOffset) / 60,
                     std::abs(lOffset) % 60);
}

std::string messageId(std::time_t now, const std::string& strMailName) {
  unsigned long long uRandom = 0;
  if (getrandom(&uRandom, sizeof uRandom, GRND_NONBLOCK) != static_cast<ssize_t>(sizeof uRandom)) {
    uRandom = static_cast<unsigned long long>(std::clock());
  }
  return fmt::format("<{}.{}.{:016x}@{}>", now, getpid(), uRandom, strMailName);
}

// An address in a message always has a domain. A local user gets the server's name.
std::string withDomain(const std::string& strAddress, const std::string& strMailName) {
  return strAddress.find('@') == std::string::npos ? strAddress + "@" + strMailName : strAddress;
}

std::string subjectOf(const std::string& strTemplate, const PlaceholderValues& mapValue) {
  const std::string strFilled = repairedUtf8(filled(strTemplate, mapValue, CB_SUBJECT_MAX));
  const std::string_view strCut = utf8Prefix(strFilled, CB_SUBJECT_MAX);
  return encodedHeader(strCut.size() < strFilled.size() ? std::string(strCut) + "..." : strFilled);
}

// Makes all lines end with "\n", and removes bytes that end a text for some programs.
void normalizeLines(std::string& strText) {
  std::size_t uTo = 0;
  for (std::size_t uFrom = 0; uFrom < strText.size(); ++uFrom) {
    const bool blPair = strText[uFrom] == '\r' && uFrom + 1 < strText.size() && strText[uFrom + 1] == '\n';
    if (!blPair) {
      strText[uTo++] = strText[uFrom] == '\0' ? ' ' : strText[uFrom];
    }
  }
  strText.resize(uTo);
}

std::string bodyOf(const MailTemplate& mail, const PlaceholderValues& mapValue) {
  std::string strBody = filled(mail.strBody, mapValue, CB_BODY_MAX);
  // The rest of a longer text is already missing, even if the next steps make the text short enough.
  const bool blIncomplete = strBody.size() > CB_BODY_MAX;
  normalizeLines(strBody);
  strBody = repairedUtf8(strBody);
  if (!blIncomplete && strBody.size() <= CB_BODY_MAX) {
    return strBody;
  }
  std::string strCut(utf8Prefix(strBody, CB_BODY_MAX));
  // A line that is longer than the limit is cut in its middle.
  if (const std::size_t uEnd = strCut.rfind('\n'); uEnd != std::string::npos) {
    strCut.resize(uEnd + 1);
  } else {
    strCut += '\n';
  }
  return strCut + "\n" + repairedUtf8(inOneLine(filled(mail.strCut, mapValue, CB_CUT_MAX))) + "\n";
}

std::string withCrlf(std::string_view strText) {
  std::string strResult;
  strResult.reserve(strText.size() + strText.size() / 16);
  for (const char ch : strText) {
    strResult += ch == '\n' ? "\r\n" : std::string_view(&ch, 1);
  }
  return strResult;
}

}  // namespace

std::string composeMessage(const MessageHead& head, const MailTemplate& mail, const PlaceholderValues& mapValue) {
  const std::time_t now = std::time(nullptr);
  const std::string strBody = bodyOf(mail, mapValue);
  const bool blBase64 = wantsBase64(strBody);
  return fmt::format(
             "Date: {}\nFrom: {}\nTo: {}\nSubject: {}\nMessage-ID: {}\nList-Id: <{}.{}>\n"
             "Auto-Submitted: auto-generated\nMIME-Version: 1.0\nContent-Type: text/plain; charset=UTF-8\n"
             "Content-Transfer-Encoding: {}\n\n",
             mailDate(now), withDomain(head.strFrom, head.strMailName), withDomain(head.strTo, head.strMailName),
             subjectOf(mail.strSubject, mapValue), messageId(now, head.strMailName), head.strListId, head.strMailName,
             blBase64 ? "base64" : "quoted-printable") +
         (blBase64 ? base64Lines(withCrlf(strBody)) : quotedPrintable(strBody));
}

}  // namespace orva
