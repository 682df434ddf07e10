/// Names are found as the store finds them with LIKE, whatever they are.

#include "common/tasks/name_patterns.h"

#include <gmock/gmock.h>
#include <random>

#include "common/tasks/name_match.h"

using namespace Host;

namespace {

/// Letters that mean something, in names, lists or patterns; "\xC3\xA9" is one character of two bytes.
const std::vector<std::string> LETTERS = {"a", "b", "A", "_", "_", "%", "[", "]", "\xC3\xA9", "-"};

std::string randomName(std::mt19937& random, std::size_t cLetters) {
  std::string strName;
  for (std::size_t i = 1 + random() % 4; i > 0; --i) {
    strName += LETTERS[random() % cLetters];
  }
  return strName;
}

/// \param cLetters  how many of the letters occur: without the last ones, all names are sound.
void compareWithLike(std::mt19937& random, std::size_t cLetters) {
  NamePatterns::Names names;
  while (names.size() < 12) {
    names.insert(randomName(random, cLetters));
  }
  const NamePatterns patterns(names);
  const std::string strName = randomName(random, cLetters);
  const std::string strDepend = "[" + randomName(random, cLetters) + "][" + randomName(random, cLetters) + "]" +
                                randomName(random, LETTERS.size());
  NamePatterns::Names expectedLike;
  NamePatterns::Names expectedIn;
  for (const std::string& strOther : names) {
    if (matches(strName, strOther) || matches(strOther, strName)) {
      expectedLike.insert(strOther);
    }
    if (matches(dependantPattern(strOther), strDepend)) {
      expectedIn.insert(strOther);
    }
  }
  EXPECT_EQ(patterns.namesLike(strName), expectedLike) << strName;
  EXPECT_EQ(patterns.namesIn(strDepend), expectedIn) << strDepend;
}

}  // namespace

TEST(NamePatterns, FindWhatLikeFinds) {
  std::mt19937 random(4711);
  for (int i = 0; i < 3000; ++i) {
    compareWithLike(random, i % 2 == 0 ? 5 : LETTERS.size());
    ASSERT_FALSE(testing::Test::HasFailure()) << "round " << i;
  }
}
