// The list of the tasks that a task waits for.

#include "catalogue/depend_list.h"

#include "fakes/eorva_test.h"

using namespace OrvaTest;
using testing::ElementsAre;

namespace {

const std::string PARSE_CHECK = "string::npos == (posEnd = strTaskDepend.find(\"]\", posStart))";

class DependList : public EorvaTest {};

}  // namespace

TEST_F(DependList, YieldsTheNamesInTheirOrder) {
  const std::pair<std::string, std::vector<std::string>> CASES[] = {
      {"", {}},
      {"[a]", {"a"}},
      {"[a][b]", {"a", "b"}},
      {"[a]x[b]", {"a", "b"}},
      {"[a][b]x[d]", {"a", "b", "d"}},
      {"x", {}},
      {"a]b]", {}},
      {"]x[a]y", {"a"}},
      {"[]", {""}},
      {"[][a][]", {"", "a", ""}},
      {"[ a b ]", {" a b "}},
      {"[a,b]", {"a,b"}},
      {"[[a]]", {"[a"}},
      {"[a[b]", {"a[b"}},
      {"[b][a][b]", {"b", "a", "b"}},
      {"[\\]]", {"\\"}},
      {"[Grüße]", {"Grüße"}},
  };
  for (const auto& [strList, expected] : CASES) {
    std::vector<std::string> names;
    EXPECT_EQ(Orva::parseDependList(strList, names), 0) << strList;
    EXPECT_EQ(names, expected) << strList;
  }
}

TEST_F(DependList, BracketThatIsNotClosedFails) {
  const std::pair<std::string, std::vector<std::string>> CASES[] = {{"[", {}},  {"[a", {}},       {"x[", {}},
                                                                    {"][", {}}, {"[a][b", {"a"}}, {"[a]x[", {"a"}}};
  for (const auto& [strList, before] : CASES) {
    std::vector<std::string> names;
    expectFailure(PARSE_CHECK, LIB);
    EXPECT_EQ(Orva::parseDependList(strList, names), -1) << strList;
    EXPECT_EQ(names, before) << strList;
  }
}

TEST_F(DependList, EntryIsTheNameBetweenBrackets) {
  EXPECT_EQ(Orva::dependEntry("backup"), "[backup]");
  EXPECT_EQ(Orva::dependEntry(""), "[]");
}
