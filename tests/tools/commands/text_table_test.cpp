// Texts in columns, and values as lines of JSON.

#include "tools/commands/text_table.h"

#include <gtest/gtest.h>

namespace {

using oznatool::columnsOf;
using oznatool::lineOf;

TEST(TextTable, PutsColumnsInLineAndEndsRowsWithoutBlanks) {
  EXPECT_EQ(columnsOf({{"a", "bb", "c"}, {"long", "b", ""}}), "  a     bb  c\n  long  b   \n");
  // The last text of a row needs no room below it.
  EXPECT_EQ(columnsOf({{"a", "a very long remark"}, {"b", "c", "d"}}),
            "  a  a very long remark\n  b  c  d\n");
  EXPECT_EQ(columnsOf({}), "");
  EXPECT_EQ(columnsOf({{}}), "\n");
}

TEST(TextTable, ValuesAreOneLineEachWithTheirTextAsItIs) {
  EXPECT_EQ(lineOf({{"b", 1}, {"a", "\xC3\xA4\n"}}), "{\"b\":1,\"a\":\"\xC3\xA4\\n\"}\n");
  // A byte that is no text is replaced and ends nothing.
  EXPECT_EQ(lineOf("\xFF"), "\"\xEF\xBF\xBD\"\n");
}

}  // namespace
