// Manual and completions know every option of every command.

#include <algorithm>
#include <cstddef>
#include <map>

#include "tests/tools/program.h"
#include "tools/arguments/options.h"

namespace ozna_test {
namespace {

const std::string kBash = OZNA_SOURCE_DIR "/tools/completions/ozna.bash";
const std::string kZsh = OZNA_SOURCE_DIR "/tools/completions/_ozna";
const std::string kFish = OZNA_SOURCE_DIR "/tools/completions/ozna.fish";
const std::string kManual = OZNA_SOURCE_DIR "/docs/ozna.1";

class Completion : public ProgramTest {
 protected:
  // What bash offers for the last of these words.
  std::vector<std::string> offered(const std::string& words) const {
    const std::string script = at("complete.sh");
    writeFile(script, "compopt() { :; }\n. '" + kBash + "'\nCOMP_WORDS=(" + words +
                          ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_ozna\n"
                          "printf '%s\\n' \"${COMPREPLY[@]}\"\n");
    std::vector<std::string> found;
    for (const std::string& line : linesOf(outputOf("bash '" + script + "'"))) {
      if (!line.empty()) found.push_back(line);
    }
    return found;
  }
};

// Terminals of paper made bold letters by printing them twice: letter, backspace, letter.
std::string withoutOverstriking(const std::string& text) {
  std::string plain;
  for (const char c : text) c == '\b' ? plain.pop_back() : plain.push_back(c);
  return plain;
}

bool hasWord(const std::vector<std::string>& words, const std::string& word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

TEST_F(Completion, BashOffersCommandsAndAllLongOptions) {
  EXPECT_EQ(offered("ozna de"), std::vector<std::string>{"detect"});
  for (const std::string& command : oznatool::commandNames()) {
    SCOPED_TRACE(command);
    EXPECT_TRUE(hasWord(offered("ozna ''"), command));
    const std::vector<std::string> known = oznatool::optionNames(command);
    const std::vector<std::string> found = offered("ozna " + command + " --");
    for (const std::string& option : known) {
      if (option.rfind("--", 0) == 0) {
        EXPECT_TRUE(hasWord(found, option)) << option;
      }
    }
    for (const std::string& option : found) EXPECT_TRUE(hasWord(known, option)) << option;
  }
}

TEST_F(Completion, BashOffersValuesAndFiles) {
  EXPECT_EQ(offered("ozna detect --preset th"), std::vector<std::string>{"thorough"});
  EXPECT_EQ(offered("ozna detect --format cs"), std::vector<std::string>{"csv"});
  EXPECT_TRUE(offered("ozna bench --format c").empty());
  makePicture("photograph.png");
  EXPECT_EQ(offered("ozna detect '" + at("photo") + "'"),
            std::vector<std::string>{at("photograph.png")});
}

TEST_F(Completion, ZshKnowsCommandsAndOptions) {
  EXPECT_EQ(outputOf("zsh -n '" + kZsh + "' 2>&1"), "");
  const std::string text = readFile(kZsh);
  for (const std::string& command : oznatool::commandNames()) {
    EXPECT_NE(text.find("'" + command + ":"), std::string::npos) << command;
    for (const std::string& option : oznatool::optionNames(command)) {
      if (option == "-h") continue;
      EXPECT_NE(text.find(option), std::string::npos) << option;
    }
  }
}

TEST_F(Completion, ZshCompletesCommandsOptionsAndValues) {
  // A shell on a terminal of its own: control T completes the line and writes down what became of
  // it.
  const std::string folder = std::filesystem::path(kZsh).parent_path().string();
  writeFile(at("complete.zsh"),
            "zmodload zsh/zpty\n"
            "zpty shell TERM=dumb zsh -f -i\n"
            "zpty -w shell \"fpath=('" +
                folder +
                "' \\$fpath); autoload -Uz compinit; compinit -u -D; "
                "told() { zle complete-word; print -r -- \\\"\\$BUFFER|\\\" >> '" +
                at("told") +
                "'; BUFFER= }; zle -N told; bindkey '^T' told\"\n"
                "while IFS= read -r line; do zpty -w -n shell \"$line\"$'\\x14'; done <<'END'\n"
                "ozna cro\n"
                "ozna crop --si\n"
                "ozna detect --preset th\n"
                "ozna detect --format cs\n"
                "ozna bench --format c\n"
                "ozna models --li\n"
                "END\n"
                "zpty -w shell exit\n"
                "while zpty -r shell chunk; do :; done\n");
  outputOf("zsh -f '" + at("complete.zsh") + "' 2>&1");
  // What nothing known begins with stays as it was typed.
  EXPECT_EQ(linesOf(readFile(at("told"))),
            (std::vector<std::string>{
                "ozna crop |", "ozna crop --size |", "ozna detect --preset thorough |",
                "ozna detect --format csv |", "ozna bench --format c|", "ozna models --li|"}));
}

TEST_F(Completion, FishOffersCommandsOptionsAndValues) {
  EXPECT_EQ(outputOf("fish --no-execute '" + kFish + "' 2>&1"), "");
  makePicture("photograph.png");
  std::string script = "source '" + kFish + "'\n";
  std::vector<std::string> asked;
  const auto ask = [&](const std::string& words) {
    asked.push_back(words);
    // Each offer is a word and what it is for, with a tabulator between them.
    script += "echo '?'; complete -C \"" + words + "\"\n";
  };
  for (const std::string& command : oznatool::commandNames()) ask("ozna " + command + " --");
  ask("ozna ");
  ask("ozna detect --preset th");
  ask("ozna detect --format cs");
  ask("ozna bench --format c");
  ask("ozna help cr");
  ask("ozna detect '" + at("photo"));
  writeFile(at("complete.fish"), script);
  const std::vector<std::string> lines = linesOf(
      outputOf("HOME='" + at("") + "' fish --no-config '" + at("complete.fish") + "' 2>&1"));
  std::map<std::string, std::vector<std::string>> offers;
  std::size_t number = 0;
  for (const std::string& line : lines) {
    if (line == "?") {
      ++number;
    } else {
      ASSERT_TRUE(number > 0 && number <= asked.size()) << line;
      offers[asked[number - 1]].push_back(line.substr(0, line.find('\t')));
    }
  }
  for (const std::string& command : oznatool::commandNames()) {
    SCOPED_TRACE(command);
    EXPECT_TRUE(hasWord(offers["ozna "], command));
    const std::vector<std::string> known = oznatool::optionNames(command);
    const std::vector<std::string>& found = offers["ozna " + command + " --"];
    for (const std::string& option : known) {
      if (option.rfind("--", 0) == 0) {
        EXPECT_TRUE(hasWord(found, option)) << option;
      }
    }
    for (const std::string& option : found) EXPECT_TRUE(hasWord(known, option)) << option;
  }
  using Words = std::vector<std::string>;
  EXPECT_EQ(offers["ozna detect --preset th"], Words{"thorough"});
  EXPECT_EQ(offers["ozna detect --format cs"], Words{"csv"});
  EXPECT_EQ(offers["ozna bench --format c"], Words{});
  EXPECT_EQ(offers["ozna help cr"], Words{"crop"});
  EXPECT_EQ(offers["ozna detect '" + at("photo")], Words{at("photograph.png")});
}

TEST_F(Completion, ManualTellsEveryOptionAndIsSound) {
  EXPECT_EQ(outputOf("mandoc -Tlint -W warning '" + kManual + "' 2>&1"), "");
  EXPECT_EQ(outputOf("groff -mandoc -Tutf8 -ww -z '" + kManual + "' 2>&1"), "");
  const std::string text = withoutOverstriking(outputOf("mandoc -Tascii '" + kManual + "'"));
  for (const std::string& command : oznatool::commandNames()) {
    EXPECT_NE(text.find("     " + command), std::string::npos) << command;
    for (const std::string& option : oznatool::optionNames(command)) {
      if (option == "-h") continue;
      EXPECT_NE(text.find(option), std::string::npos) << option;
    }
  }
}

TEST_F(Completion, UnknownWordsAreReportedWithTheNearestKnownOne) {
  expectFailure(runOzna({"detct", "a.png"}), 2, "unknown command detct; did you mean detect?");
  expectFailure(runOzna({"recognise", "a.png"}), 2, "unknown command recognise (see ozna --help)");
  expectFailure(runOzna({"detect", "--jsno", "a.png"}), 2,
                "unknown option --jsno; did you mean --json? (see ozna detect --help)");
  expectFailure(runOzna({"detect", "--min-fase=40", "a.png"}), 2,
                "unknown option --min-fase; did you mean --min-face?");
  expectFailure(runOzna({"detect", "--points", "5", "a.png"}), 2,
                "unknown option --points; it belongs to align, annotate, bench");
  expectFailure(runOzna({"--verison"}), 2, "unknown option --verison; did you mean --version?");
}

}  // namespace
}  // namespace ozna_test
