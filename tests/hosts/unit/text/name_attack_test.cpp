/// Names with a special meaning in a path, a shell, a pattern or a terminal.

#include <array>
#include <gtest/gtest.h>
#include <string>

#include "common/text/name_rules.h"

using namespace Host;

namespace {

constexpr int ATTACKS = 10000;

const std::array<std::string, 40> HOSTILE = {"/",
                                             ";",
                                             "$",
                                             "`",
                                             "|",
                                             "&",
                                             "<",
                                             ">",
                                             "*",
                                             "?",
                                             "[",
                                             "]",
                                             "%",
                                             "\\",
                                             "~",
                                             "#",
                                             "=",
                                             ",",
                                             "\"",
                                             "(",
                                             ")",
                                             "{",
                                             "}",
                                             "!",
                                             "^",
                                             ":",
                                             "@",
                                             "+",
                                             "'",
                                             "\n",
                                             "\t",
                                             "\a",
                                             "\x7f",
                                             "\xff",
                                             "\xc0\xaf",
                                             "\xe2\x80\xae",
                                             "\xe2\x80\x8b",
                                             "$(x)",
                                             "`x`",
                                             "\x1b[2J"};

}  // namespace

TEST(NameAttacks, NoneOfTenThousandIsTaken) {
  for (int i = 0; i < ATTACKS; ++i) {
    const std::string& strHostile = HOSTILE.at(static_cast<std::size_t>(i) % HOSTILE.size());
    std::string strName = "ordinary name-" + std::to_string(i);
    ASSERT_EQ(whyNotTaskName(strName), "") << strName;
    strName.insert(static_cast<std::size_t>(i) % (strName.size() + 1), strHostile);
    ASSERT_NE(whyNotTaskName(strName), "") << strName;
    // A slash leads into a folder there, and that is meant.
    if (strHostile != "/") {
      ASSERT_NE(whyNotOutputPath("share/" + strName), "") << strName;
    }
  }
}
