// What names may do to a terminal.

#include "tools/process/terminal_text.h"

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

using oznatool::escapedForTerminal;
using oznatool::escapedInJson;

std::string escaped(const std::string& text) {
  return escapedForTerminal(text, /*keeps_lines=*/false);
}

TEST(TerminalText, ControlsMarksAndSeparatorsAreEscaped) {
  EXPECT_EQ(escaped("a\x1b[2J\n\x7f"), "a\\x1b[2J\\x0a\\x7f");
  // The second set of controls, as characters and as bytes of an old terminal.
  EXPECT_EQ(escaped("\xC2\x9B"
                    "2J \xC2\x80 \xC2\x9F \xC2\xA0"),
            "\\x9b2J \\x80 \\x9f \xC2\xA0");
  EXPECT_EQ(escaped("\x9B"
                    "2J"),
            "\\x9b2J");
  // U+061C, U+200E, U+200F, U+2028 to U+202E, U+2066 to U+2069, and their neighbours.
  EXPECT_EQ(escaped("\xD8\x9B\xD8\x9C\xD8\x9D"), "\xD8\x9B\\u061c\xD8\x9D");
  EXPECT_EQ(escaped("\xE2\x80\x8D\xE2\x80\x8E\xE2\x80\x8F\xE2\x80\x90"),
            "\xE2\x80\x8D\\u200e\\u200f\xE2\x80\x90");
  EXPECT_EQ(escaped("\xE2\x80\xA7\xE2\x80\xA8\xE2\x80\xA9\xE2\x80\xAA\xE2\x80\xAE\xE2\x80\xAF"),
            "\xE2\x80\xA7\\u2028\\u2029\\u202a\\u202e\xE2\x80\xAF");
  EXPECT_EQ(escaped("\xE2\x81\xA5\xE2\x81\xA6\xE2\x81\xA9\xE2\x81\xAA"),
            "\xE2\x81\xA5\\u2066\\u2069\xE2\x81\xAA");
  EXPECT_EQ(escaped("Jos\xC3\xA9 \xE6\x97\xA5 \xF0\x9F\x98\x80"),
            "Jos\xC3\xA9 \xE6\x97\xA5 \xF0\x9F\x98\x80");
}

TEST(TerminalText, BytesThatAreNoTextAreEscaped) {
  // Cut short, overlong, half a pair, beyond the last character.
  EXPECT_EQ(escaped("\xE2\x80"), "\\xe2\\x80");
  EXPECT_EQ(escaped("\xC0\x9B"), "\\xc0\\x9b");
  EXPECT_EQ(escaped("\xE0\x82\x9B"), "\\xe0\\x82\\x9b");
  EXPECT_EQ(escaped("\xED\xA0\x80"), "\\xed\\xa0\\x80");
  EXPECT_EQ(escaped("\xF4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");
  EXPECT_EQ(escaped("\xFFz"), "\\xffz");
  EXPECT_TRUE(oznatool::isUtf8("Jos\xC3\xA9"));
  EXPECT_FALSE(oznatool::isUtf8("Jos\xE9"));
  EXPECT_FALSE(oznatool::isUtf8("\xED\xA0\x80"));
}

TEST(TerminalText, EscapedTwiceIsTheSame) {
  const std::string once = escaped("\x1b \xE2\x80\xAE \xFF \\x1b");
  EXPECT_EQ(escaped(once), once);
  EXPECT_EQ(escapedForTerminal("a\nb\x1b", /*keeps_lines=*/true), "a\nb\\x1b");
}

TEST(TerminalText, JsonKeepsItsValues) {
  const std::string name = "\xC2\x9B \x7f \xE2\x80\xAE \xE2\x80\xA8 \xC3\xA9 \" \\";
  const std::string json = escapedInJson(nlohmann::json(name).dump() + "\n");
  EXPECT_EQ(json, "\"\\u009b \\u007f \\u202e \\u2028 \xC3\xA9 \\\" \\\\\"\n");
  EXPECT_EQ(nlohmann::json::parse(json).get<std::string>(), name);
}

class Terminal : public ProgramTest {
 protected:
  // What the program writes where its standard output is a terminal.
  std::string onTerminal(const std::string& options) const {
    return outputOf("cd '" + directory_.string() + "' && script -qec \"'" OZNA_PROGRAM "' detect " +
                    options + " -r in\" /dev/null < /dev/null");
  }
};

TEST_F(Terminal, SeesNoByteOfANameThatItWouldObey) {
  makePicture(
      "in/\xC2\x9B"
      "31m\xE2\x80\xAEgnp.png");
  writeFile(at("in/\x9B"
               "31m\xE2\x80\xA8.jpg"),
            "no photograph");
  for (const std::string options : {"", "--json", "--format csv"}) {
    SCOPED_TRACE(options);
    const std::string shown = onTerminal(options);
    EXPECT_NE(shown.find("31m"), std::string::npos) << shown;
    for (const char* active : {"\xC2\x9B", "\x9B", "\xE2\x80\xAE", "\xE2\x80\xA8"}) {
      EXPECT_EQ(shown.find(active), std::string::npos) << shown;
    }
  }
  // Elsewhere CSV has the names as they are.
  const Outcome run = runOzna({"detect", "--format", "csv", "-r", at("in")});
  EXPECT_NE(run.out.find("\xC2\x9B"
                         "31m\xE2\x80\xAEgnp.png"),
            std::string::npos);
  EXPECT_EQ(run.err.find("\xE2\x80\xA8"), std::string::npos) << run.err;
}

}  // namespace
}  // namespace ozna_test
