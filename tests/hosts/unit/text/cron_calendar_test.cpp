/// Random schedules of cron, and when systemd would start them.

#include <array>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <regex>
#include <set>

#include "common/support/program.h"
#include "common/text/cron_schedule.h"

using namespace Host;

namespace {

constexpr std::size_t STARTS = 25;
constexpr std::time_t BEGIN = 1798761600;  // 2027-01-01, a Friday
constexpr int DAYS = 12 * 366;

/// A field as it is written, and the values that this means. A part is made of its values, so nothing is read here.
struct RandomField {
  std::vector<std::string> vecParts;
  std::set<int> setValues;

  std::string text() const { return fmt::format("{}", fmt::join(vecParts, ",")); }
  bool hasStar() const { return text().front() == '*'; }
};

class Generator {
public:
  explicit Generator(unsigned uSeed) : m_random(uSeed) {}

  int pick(int iFirst, int iLast) { return std::uniform_int_distribution<int>(iFirst, iLast)(m_random); }

  RandomField field(int iFirst, int iLast) {
    RandomField field;
    if (pick(0, 2) == 0) {
      addRange(field, "*", iFirst, iLast, 1);
      return field;
    }
    for (int c = pick(1, 3); c > 0; --c) {
      addPart(field, iFirst, iLast);
    }
    return field;
  }

private:
  void addPart(RandomField& field, int iFirst, int iLast) {
    const int iLow = pick(iFirst, iLast);
    switch (pick(0, 3)) {
      case 0:
        return addRange(field, "*", iFirst, iLast, pick(1, 9));
      case 1: {
        const int iHigh = pick(iLow, iLast);
        return addRange(field, fmt::format("{}-{}", iLow, iHigh), iLow, iHigh, pick(1, 4));
      }
      default:
        return addRange(field, std::to_string(iLow), iLow, iLow, 1);
    }
  }

  static void addRange(RandomField& field, const std::string& strText, int iFirst, int iLast, int iStep) {
    field.vecParts.push_back(iStep == 1 ? strText : fmt::format("{}/{}", strText, iStep));
    for (int i = iFirst; i <= iLast; i += iStep) {
      field.setValues.insert(i);
    }
  }

  std::mt19937 m_random;
};

struct Schedule {
  std::array<RandomField, 5> fields;

  explicit Schedule(Generator& generator)
      : fields{generator.field(0, 59), generator.field(0, 23), generator.field(1, 31), generator.field(1, 12),
               generator.field(0, 7)} {}

  std::string text() const {
    return fmt::format("{} {} {} {} {}", fields[0].text(), fields[1].text(), fields[2].text(), fields[3].text(),
                       fields[4].text());
  }

  bool hasDay(const tm& day) const {
    const bool blDay = fields[2].setValues.count(day.tm_mday) > 0;
    const bool blWeekday =
        fields[4].setValues.count(day.tm_wday) + (day.tm_wday == 0 ? fields[4].setValues.count(7) : 0) > 0;
    const bool blBoth = fields[2].hasStar() || fields[4].hasStar();
    return fields[3].setValues.count(day.tm_mon + 1) > 0 && (blBoth ? blDay && blWeekday : blDay || blWeekday);
  }

  /// The first starts, as systemd writes them.
  std::vector<std::string> starts() const {
    std::vector<std::string> vecStarts;
    for (int iDay = 0; iDay < DAYS && vecStarts.size() < STARTS; ++iDay) {
      const std::time_t iMidnight = BEGIN + std::time_t{iDay} * 86400;
      tm day{};
      gmtime_r(&iMidnight, &day);
      for (const int iHour : hasDay(day) ? fields[1].setValues : std::set<int>()) {
        for (const int iMinute : fields[0].setValues) {
          vecStarts.push_back(fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:00", day.tm_year + 1900, day.tm_mon + 1,
                                          day.tm_mday, iHour, iMinute));
        }
      }
    }
    vecStarts.resize(std::min(vecStarts.size(), STARTS));
    return vecStarts;
  }
};

/// The first starts by calendar expressions, which systemd computes.
std::vector<std::string> startsBySystemd(const std::vector<std::string>& vecCalendars) {
  std::vector<std::string> vecCommand = {"env", "TZ=UTC", "systemd-analyze", "calendar",
                                         fmt::format("--iterations={}", STARTS),
                                         // The base time itself counts, too.
                                         "--base-time=2026-12-31 23:59:59"};
  vecCommand.insert(vecCommand.end(), vecCalendars.begin(), vecCalendars.end());
  std::string strOutput;
  EXPECT_EQ(Program(vecCommand).run(strOutput), 0) << strOutput;
  std::set<std::string> setStarts;
  static const std::regex TIME(R"((\d{4}-\d\d-\d\d \d\d:\d\d:\d\d) UTC)");
  for (auto it = std::sregex_iterator(strOutput.begin(), strOutput.end(), TIME); it != std::sregex_iterator(); ++it) {
    setStarts.insert((*it)[1]);
  }
  std::vector<std::string> vecStarts(setStarts.begin(), setStarts.end());
  vecStarts.resize(std::min(vecStarts.size(), STARTS));
  return vecStarts;
}

}  // namespace

TEST(CronCalendar, SystemdStartsWhenCronWould) {
  Generator generator(20270101);
  for (int c = 0; c < 150; ++c) {
    const Schedule schedule(generator);
    const std::vector<std::string> vecCalendars = calendarsOfCron(schedule.text());
    EXPECT_EQ(startsBySystemd(vecCalendars), schedule.starts())
        << schedule.text() << " is translated to " << fmt::format("{}", fmt::join(vecCalendars, " and "));
  }
}
