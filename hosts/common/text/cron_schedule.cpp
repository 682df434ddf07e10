#include "cron_schedule.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <set>

#include "common/support/failure.h"
#include "number_spec.h"

namespace Host {

namespace {

constexpr std::string_view BLANKS = " \t";

struct FieldRule {
  std::string_view strName;
  int iFirst;
  int iLast;
  std::string_view strNames;  ///< three letters each; the first one means iFirst
};

constexpr std::array<FieldRule, 5> RULES = {{{"minute", 0, 59, ""},
                                             {"hour", 0, 23, ""},
                                             {"day of the month", 1, 31, ""},
                                             {"month", 1, 12, "janfebmaraprmayjunjulaugsepoctnovdec"},
                                             // 0 and 7 are Sunday.
                                             {"day of the week", 0, 7, "sunmontuewedthufrisat"}}};

struct Field {
  std::set<int> setValues;
  bool blStar = false;  ///< begins with "*": does not restrict the day, even with a step
};

constexpr std::array<std::pair<std::string_view, std::string_view>, 7> WORDS = {{{"@yearly", "0 0 1 1 *"},
                                                                                 {"@annually", "0 0 1 1 *"},
                                                                                 {"@monthly", "0 0 1 * *"},
                                                                                 {"@weekly", "0 0 * * 0"},
                                                                                 {"@daily", "0 0 * * *"},
                                                                                 {"@midnight", "0 0 * * *"},
                                                                                 {"@hourly", "0 * * * *"}}};

// --- reading ---------------------------------------------------------------------------------------------------

[[noreturn]] void refuse(const FieldRule& rule, std::string_view strText) {
  throw Failure(fmt::format("\"{}\" is not a valid {}", strText, rule.strName));
}

std::vector<std::string_view> split(std::string_view strText, std::string_view strSeparators) {
  std::vector<std::string_view> vecParts;
  for (std::size_t cb = 0; cb != std::string_view::npos;) {
    cb = strText.find_first_of(strSeparators);
    vecParts.push_back(strText.substr(0, cb));
    strText.remove_prefix(cb == std::string_view::npos ? 0 : cb + 1);
  }
  return vecParts;
}

/// \return -1 when the text is none of the names.
int valueOfName(const FieldRule& rule, std::string_view strText) {
  std::string strName(strText);
  std::transform(strName.begin(), strName.end(), strName.begin(), [](unsigned char c) { return std::tolower(c); });
  const std::size_t cb = strName.size() == 3 ? rule.strNames.find(strName) : std::string_view::npos;
  return cb == std::string_view::npos || cb % 3 != 0 ? -1 : rule.iFirst + static_cast<int>(cb / 3);
}

int valueOf(const FieldRule& rule, std::string_view strText, std::string_view strWhole) {
  const int iNamed = valueOfName(rule, strText);
  if (iNamed >= 0) {
    return iNamed;
  }
  const std::optional<std::uint64_t> number = numberFrom(strText);
  if (!number || *number < static_cast<std::uint64_t>(rule.iFirst) ||
      *number > static_cast<std::uint64_t>(rule.iLast)) {
    refuse(rule, strWhole);
  }
  return static_cast<int>(*number);
}

/// Reads a part between commas: "*", a value, or a range; "*" and a range may have a step.
void addPart(const FieldRule& rule, std::string_view strPart, std::set<int>& setValues) {
  const std::vector<std::string_view> vecStep = split(strPart, "/");
  const std::vector<std::string_view> vecRange = split(vecStep[0], "-");
  const bool blAll = vecStep[0] == "*";
  if (vecStep.size() > 2 || vecRange.size() > 2 || (vecStep.size() == 2 && !blAll && vecRange.size() == 1)) {
    refuse(rule, strPart);
  }
  const int iFirst = blAll ? rule.iFirst : valueOf(rule, vecRange.front(), strPart);
  const int iLast = blAll ? rule.iLast : valueOf(rule, vecRange.back(), strPart);
  const std::uint64_t cStep = vecStep.size() == 1 ? 1 : numberFrom(vecStep[1]).value_or(0);
  if (iFirst > iLast || cStep < 1 || cStep > 100) {
    refuse(rule, strPart);
  }
  for (int i = iFirst; i <= iLast; i += static_cast<int>(cStep)) {
    setValues.insert(i);
  }
}

Field readField(const FieldRule& rule, std::string_view strText) {
  Field field;
  field.blStar = strText.substr(0, 1) == "*";
  for (const std::string_view strPart : split(strText, ",")) {
    addPart(rule, strPart, field.setValues);
  }
  return field;
}

// --- writing ---------------------------------------------------------------------------------------------------

/// The step of values that go on evenly beyond the last one, as in "00/15"; 0 when there is none. Other steps are
/// listed: systemd does not begin them again at the first value.
int stepOf(const std::set<int>& setValues, int iFirst, int iLast) {
  const int cAll = iLast - iFirst + 1;
  const int iStep = cAll / static_cast<int>(setValues.size());
  const auto isOnStep = [iFirst, iStep](int i) { return (i - iFirst) % iStep == 0; };
  const bool blEven = static_cast<int>(setValues.size()) * iStep == cAll && setValues.size() > 2;
  return blEven && std::all_of(setValues.begin(), setValues.end(), isOnStep) ? iStep : 0;
}

/// Values with ranges, as in "01,03..05".
template <typename Form>
std::string listText(const std::set<int>& setValues, Form form) {
  std::vector<std::string> vecParts;
  for (auto it = setValues.begin(); it != setValues.end();) {
    auto itLast = it;
    while (std::next(itLast) != setValues.end() && *std::next(itLast) == *itLast + 1) {
      ++itLast;
    }
    vecParts.push_back(it == itLast ? form(*it) : form(*it) + ".." + form(*itLast));
    it = std::next(itLast);
  }
  return fmt::format("{}", fmt::join(vecParts, ","));
}

std::string twoDigits(int i) {
  return fmt::format("{:02}", i);
}

std::string numbersText(const Field& field, const FieldRule& rule) {
  if (static_cast<int>(field.setValues.size()) == rule.iLast - rule.iFirst + 1) {
    return "*";
  }
  const int iStep = stepOf(field.setValues, rule.iFirst, rule.iLast);
  return iStep == 0 ? listText(field.setValues, twoDigits) : fmt::format("{:02}/{}", rule.iFirst, iStep);
}

/// systemd counts from Monday.
std::string weekdaysText(const Field& field) {
  static constexpr std::array<const char*, 8> NAMES = {"", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
  std::set<int> setDays = field.setValues;
  if (setDays.erase(0) > 0) {
    setDays.insert(7);
  }
  return setDays.size() == 7
             ? ""
             : listText(setDays, [](int i) { return std::string(NAMES.at(static_cast<std::size_t>(i))); }) + " ";
}

}  // namespace

std::vector<std::string> calendarsOfCron(std::string_view strSchedule) {
  const auto* const pWord =
      std::find_if(WORDS.begin(), WORDS.end(), [strSchedule](const auto& word) { return word.first == strSchedule; });
  std::array<Field, 5> fields;
  std::string_view strRest = pWord == WORDS.end() ? strSchedule : pWord->second;
  for (std::size_t c = 0; c < fields.size(); ++c) {
    strRest.remove_prefix(std::min(strRest.find_first_not_of(BLANKS), strRest.size()));
    const std::string_view strField = strRest.substr(0, strRest.find_first_of(BLANKS));
    if (strField.empty()) {
      throw Failure(fmt::format("\"{}\" is no schedule: it has {} of 5 fields", strSchedule, c));
    }
    fields[c] = readField(RULES[c], strField);
    strRest.remove_prefix(strField.size());
  }
  const auto& [minute, hour, day, month, weekday] = fields;
  const auto calendar = [&](const std::string& strWeekdays, const std::string& strDays) {
    return fmt::format("{}*-{}-{} {}:{}:00", strWeekdays, numbersText(month, RULES[3]), strDays,
                       numbersText(hour, RULES[1]), numbersText(minute, RULES[0]));
  };
  const std::string strDays = numbersText(day, RULES[2]);
  const std::string strWeekdays = weekdaysText(weekday);
  if (!day.blStar && !weekday.blStar && strDays != "*" && !strWeekdays.empty()) {
    return {calendar("", strDays), calendar(strWeekdays, "*")};
  }
  // A day field that has all days, without a star, makes the command start on every day.
  const bool blAnyDay = !day.blStar && !weekday.blStar;
  return {calendar(blAnyDay ? "" : strWeekdays, blAnyDay ? "*" : strDays)};
}

}  // namespace Host
