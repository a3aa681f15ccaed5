// Fields and rows of CSV.

#include "tools/output/csv.h"

#include <cstddef>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

using oznatool::csvField;
using oznatool::CsvRow;
using oznatool::csvRowsOf;

TEST(CsvField, IsQuotedWhereItMust) {
  EXPECT_EQ(csvField("a b"), "a b");
  EXPECT_EQ(csvField("a,b"), "\"a,b\"");
  EXPECT_EQ(csvField("a\"b"), "\"a\"\"b\"");
  EXPECT_EQ(csvField("a\nb"), "\"a\nb\"");
  EXPECT_EQ(csvField(""), "");
}

TEST(CsvRowsOf, GivesBackWhatWasWritten) {
  const std::vector<std::string> fields = {"a", "a,b", "\"", "a\"\"b", "a\nb", "\"a,\n\"", ""};
  std::string text;
  for (const std::string& field : fields) text += csvField(field) + ",2,\"x,\ny\"\n";
  for (const std::string& half : {std::string(), std::string("half,"), std::string("\"half\n")}) {
    const std::vector<CsvRow> rows = csvRowsOf(text + half, 2);
    ASSERT_EQ(rows.size(), fields.size());
    for (std::size_t i = 0; i < fields.size(); ++i) {
      EXPECT_EQ(rows[i].fields, (std::vector<std::string>{fields[i], "2"}));
      EXPECT_EQ(text[rows[i].end - 1], '\n');
    }
    EXPECT_EQ(rows.back().end, text.size());
  }
  EXPECT_EQ(csvRowsOf("a\n\nb,c\n", 5)[2].fields, (std::vector<std::string>{"b", "c"}));
  EXPECT_EQ(csvRowsOf("a\n\nb,c\n", 5)[1].fields, std::vector<std::string>{""});
}

TEST(SafeCell, BeginsAsNoFormulaDoesAndNamesTheSameFile) {
  for (const char* name : {"=a", "+a", "-a", "@a", "\ta", "\ra", "\na",
                           "\xEF\xBC\x9D"
                           "a",
                           "\xEF\xBC\x8B"
                           "a",
                           "\xEF\xBC\x8D"
                           "a",
                           "\xEF\xBC\xA0"
                           "a"}) {
    EXPECT_EQ(oznatool::safeCell(name), std::string("./") + name);
  }
  for (const char* name : {"", "a=b", "/=a", "./=a", " =a",
                           "\xEF\xBC\x8C"
                           "a"}) {
    EXPECT_EQ(oznatool::safeCell(name), name);
  }
}

}  // namespace
}  // namespace ozna_test
