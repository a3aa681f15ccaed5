// Commands, their options, and what follows from them.

#include "tools/arguments/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <functional>
#include <tuple>

#include "tools/arguments/help.h"
#include "tools/arguments/nearest_word.h"
#include "tools/arguments/option_values.h"
#include "tools/arguments/search_options.h"
#include "tools/process/exit_code.h"
#include "tools/process/streams.h"
#include "tools/run/inputs.h"

namespace oznatool {
namespace {

// The options of all commands as the user typed them; an option that was not given is empty, one
// that was given cannot be.
struct Typed {
  std::vector<std::string> photographs;
  bool recursive = false, null = false, json = false, quiet = false, biggest = false, best = false;
  bool safe_cells = false, with_faces = false, without_faces = false;
  bool overwrite = false, skip_existing = false, strict = false, embed = false;
  bool details = false;
  std::string min_score, turns;
  std::vector<std::string> pictures;
  std::string format, jobs, progress, resume, shard, memory, models, annotate, xmp, xmp_name,
      output, size, points;
  std::string box, rounds, preset, min_face, margin;
  std::string max_upscale, max_image_side, min_face_fraction;
  std::string pyramid_levels, pyramid_factor, window_size;
};

// The parts of the command line that the user can mistype.
struct Parser {
  Typed typed;
  CLI::App app{"", "ozna"};
  std::vector<CLI::App*> commands;

  Parser();
  CLI::App& add(const std::string& name) {
    commands.push_back(app.add_subcommand(name));
    return *commands.back();
  }
};

// An option with a value, which must not be empty: that would silently stand for no option.
CLI::Option* addValue(CLI::App& command, const std::string& names, std::string& value) {
  return command.add_option(names, value)->check([](const std::string& text) {
    return text.empty() ? std::string("must not be empty") : std::string();
  });
}

void addModels(CLI::App& command, Typed& typed) { addValue(command, "--models", typed.models); }

void addFormat(CLI::App& command, Typed& typed) {
  CLI::Option* const format = addValue(command, "--format", typed.format);
  command.add_flag("--json", typed.json)->excludes(format);
}

void addInputs(CLI::App& command, Typed& typed) {
  command.add_option("PHOTO", typed.photographs);
  command.add_flag("-r,--recursive", typed.recursive);
  command.add_flag("-0,--null", typed.null);
  command.add_option("-i,--input", typed.pictures)
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  addValue(command, "--memory", typed.memory);
}

void addSearch(CLI::App& command, Typed& typed) {
  addValue(command, "--preset", typed.preset);
  addValue(command, "--margin", typed.margin);
  addValue(command, "--turns", typed.turns);
  CLI::Option* const min_face = addValue(command, "--min-face", typed.min_face);
  // These say the same in other words.
  addValue(command, "--max-upscale", typed.max_upscale)->excludes(min_face);
  addValue(command, "--max-image-side", typed.max_image_side)->excludes(min_face);
  addValue(command, "--min-face-fraction", typed.min_face_fraction)->excludes(min_face);
  addValue(command, "--pyramid-levels", typed.pyramid_levels)->excludes(min_face);
  addValue(command, "--pyramid-factor", typed.pyramid_factor)->excludes(min_face);
  addValue(command, "--window-size", typed.window_size)->excludes(min_face);
}

// What detect, align, annotate and crop share.
void addRun(CLI::App& command, Typed& typed) {
  addInputs(command, typed);
  addFormat(command, typed);
  command.add_flag("--safe-cells", typed.safe_cells);
  CLI::Option* const format = command.get_option("--format");
  CLI::Option* const json = command.get_option("--json");
  CLI::Option* const with = command.add_flag("-l,--with-faces", typed.with_faces);
  with->excludes(format)->excludes(json);
  command.add_flag("-L,--without-faces", typed.without_faces)
      ->excludes(format)
      ->excludes(json)
      ->excludes(with);
  command.add_flag("-q,--quiet", typed.quiet);
  addValue(command, "-j,--jobs", typed.jobs);
  addValue(command, "--progress", typed.progress);
  addValue(command, "--resume", typed.resume);
  addValue(command, "--shard", typed.shard);
  addValue(command, "--xmp", typed.xmp);
  addValue(command, "--xmp-name", typed.xmp_name)->needs(command.get_option("--xmp"));
  command.add_flag("--embed", typed.embed);
  command.add_flag("--strict", typed.strict);
  CLI::Option* const overwrite = command.add_flag("--overwrite", typed.overwrite);
  command.add_flag("--skip-existing", typed.skip_existing)->excludes(overwrite);
  CLI::Option* const biggest = command.add_flag("--biggest", typed.biggest);
  command.add_flag("--best", typed.best)->excludes(biggest);
  addValue(command, "--min-score", typed.min_score);
  command.add_flag("--details", typed.details);
  addSearch(command, typed);
  addModels(command, typed);
}

Parser::Parser() {
  app.require_subcommand(1);
  app.set_version_flag("-V,--version", "ozna " OZNA_VERSION);
  CLI::App& detect = add("detect");
  CLI::App& align = add("align");
  CLI::App& annotate = add("annotate");
  CLI::App& crop = add("crop");
  CLI::App& report = add("report");
  CLI::App& models = add("models");
  CLI::App& info = add("info");
  CLI::App& bench = add("bench");
  for (CLI::App* const command : {&detect, &align, &annotate, &crop, &report}) {
    addRun(*command, typed);
  }
  for (CLI::App* const command : {&detect, &align}) {
    addValue(*command, "--annotate", typed.annotate);
  }
  for (CLI::App* const command : {&align, &annotate, &bench}) {
    addValue(*command, "--points", typed.points);
  }
  addValue(align, "--box", typed.box);
  for (CLI::App* const command : {&annotate, &crop, &report}) {
    addValue(*command, "-o,--output", typed.output)->required();
  }
  addValue(crop, "--size", typed.size);
  for (CLI::App* const command : {&models, &info}) {
    addFormat(*command, typed);
    addModels(*command, typed);
  }
  addInputs(bench, typed);
  addFormat(bench, typed);
  addSearch(bench, typed);
  addModels(bench, typed);
  addValue(bench, "--rounds", typed.rounds);
}

std::vector<std::string> namesIn(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    for (const std::string& name : option->get_snames()) names.push_back("-" + name);
  }
  return names;
}

std::string guess(const std::string& word, const std::vector<std::string>& known) {
  const std::string near = nearestWord(word, known);
  return near.empty() ? "" : "; did you mean " + near + "?";
}

[[noreturn]] void refuseCommand(const std::string& name) {
  throw Failure(kExitUsage, "unknown command " + printable(name) + guess(name, commandNames()) +
                                " (see ozna --help)");
}

[[noreturn]] void refuseOption(const std::string& typed, const std::string& command) {
  const std::string option = typed.substr(0, typed.find('='));
  std::string hint;
  for (const std::string& other : commandNames()) {
    const std::vector<std::string> names = optionNames(other);
    if (std::find(names.begin(), names.end(), option) == names.end()) continue;
    if (command.empty()) {
      throw Failure(kExitUsage, option + " stands behind a command, as in ozna " + other + " " +
                                    option + " (see ozna --help)");
    }
    hint += (hint.empty() ? "; it belongs to " : ", ") + other;
  }
  if (hint.empty()) hint = guess(option, optionNames(command));
  throw Failure(kExitUsage, "unknown option " + printable(option) + hint + " (see ozna " +
                                (command.empty() ? "" : command + " ") + "--help)");
}

bool isCommand(const std::string& word) {
  const std::vector<std::string>& names = commandNames();
  return std::find(names.begin(), names.end(), word) != names.end();
}

// Whether a word that is no command names a photograph or a folder of them.
bool namesAPhotograph(const std::string& word) {
  std::error_code error;
  return std::filesystem::exists(word, error) || hasPhotographEnding(word);
}

// ozna help, ozna help detect
void writeHelp(const std::vector<char*>& words) {
  const std::string command = words.size() > 2 ? words[2] : "";
  if (!command.empty() && command != "help" && !isCommand(command)) refuseCommand(command);
  writeData(helpText(command));
}

// Runs the parser. Returns the name of the command, or nothing where help or version was printed.
std::optional<std::string> parse(Parser& parser, int argc, char** argv) {
  if (argc < 2) throw Failure(kExitUsage, "no command or PHOTO given (see ozna --help)");
  std::vector<char*> words(argv, argv + argc);
  std::string detect = "detect";
  if (argc > 1 && argv[1][0] != '-' && !isCommand(argv[1])) {
    if (std::string(argv[1]) == "help") {
      writeHelp(words);
      return std::nullopt;
    }
    if (!namesAPhotograph(argv[1])) refuseCommand(argv[1]);
    words.insert(words.begin() + 1, detect.data());
  }
  CLI::App& app = parser.app;
  const auto command = [&app] {
    return app.get_subcommands().empty() ? "" : app.get_subcommands().front()->get_name();
  };
  try {
    app.parse(static_cast<int>(words.size()), words.data());
  } catch (const CLI::CallForHelp&) {
    writeData(helpText(command()));
    return std::nullopt;
  } catch (const CLI::CallForVersion&) {
    writeData(app.version() + "\n");
    return std::nullopt;
  } catch (const CLI::ParseError& error) {
    for (const std::string& rest : app.remaining(/*recurse=*/true)) {
      if (rest.size() > 1 && rest[0] == '-') refuseOption(rest, command());
    }
    throw Failure(kExitUsage, std::string(error.what()) + " (see ozna " + command() +
                                  (command().empty() ? "" : " ") + "--help)");
  }
  return command();
}

InputOptions inputsOf(const Typed& typed) {
  InputOptions inputs;
  inputs.names = typed.photographs;
  for (const std::string& picture : typed.pictures) {
    inputs.names.push_back(picture == "-" ? "/dev/stdin" : picture);
  }
  inputs.recursive = typed.recursive;
  if (typed.null) inputs.list_end = '\0';
  if (!typed.shard.empty()) inputs.shard = shard("--shard", typed.shard);
  const bool has_list =
      std::find(inputs.names.begin(), inputs.names.end(), "-") != inputs.names.end();
  if (inputs.names.empty() && typed.null) inputs.names.push_back("-");
  if (typed.null && !typed.photographs.empty() && !has_list) {
    throw Failure(kExitUsage,
                  "--null is about names on standard input: add - or leave the other "
                  "names out");
  }
  if (inputs.names.empty()) {
    throw Failure(kExitUsage,
                  "no PHOTO given: name files, folders with --recursive, or - for a "
                  "list on standard input (-i - for a picture there)");
  }
  return inputs;
}

oznakit::SearchOptions searchOf(const Typed& typed) {
  const std::string name =
      typed.preset.empty() ? "balanced" : word("--preset", typed.preset, presetNames());
  oznakit::SearchOptions search = preset(name);
  oznakit_scan scan = scanOf(search.preset);
  // Setters by option: those that were given are called. The ranges are those of the library.
  const std::vector<std::tuple<std::string, const std::string*, std::function<void()>>> sizes = {
      {"--max-upscale", &typed.max_upscale,
       [&] { scan.max_upscale = number("--max-upscale", typed.max_upscale); }},
      {"--max-image-side", &typed.max_image_side,
       [&] {
         scan.max_image_side = wholeNumber("--max-image-side", typed.max_image_side, 1, 1000000);
       }},
      {"--min-face-fraction", &typed.min_face_fraction,
       [&] { scan.min_face_fraction = number("--min-face-fraction", typed.min_face_fraction); }},
      {"--pyramid-levels", &typed.pyramid_levels,
       [&] {
         scan.pyramid_levels = wholeNumber("--pyramid-levels", typed.pyramid_levels, 1, 1000);
       }},
      {"--pyramid-factor", &typed.pyramid_factor,
       [&] { scan.pyramid_factor = number("--pyramid-factor", typed.pyramid_factor); }},
      {"--window-size", &typed.window_size,
       [&] { scan.window_size = wholeNumber("--window-size", typed.window_size, 4, 10000); }},
  };
  for (const auto& [option, text, set] : sizes) {
    if (text->empty()) continue;
    if (search.preset == oznakit::Preset::Thorough) {
      throw Failure(kExitUsage, option + " cannot be combined with --preset " + name +
                                    ", which scans by --min-face");
    }
    set();
    search.scan = scan;
  }
  if (search.scan) checkScan(*search.scan);
  if (!typed.min_face.empty()) setMinFace(typed.min_face, search);
  if (!typed.margin.empty()) search.margin = percent("--margin", typed.margin, 100) / 100;
  if (!typed.turns.empty()) search.turns = std::stoi(word("--turns", typed.turns, {"1", "4"}));
  search.details = typed.details;
  if (!typed.min_score.empty()) search.least_score = score("--min-score", typed.min_score);
  return search;
}

Format formatOf(const Typed& typed, bool has_csv) {
  if (typed.with_faces) return Format::kWithFaces;
  if (typed.without_faces) return Format::kWithoutFaces;
  if (typed.json) return Format::kJson;
  if (typed.format.empty()) return Format::kText;
  const std::vector<std::string> words =
      has_csv ? std::vector<std::string>{"text", "json", "csv", "coco"}
              : std::vector<std::string>{"text", "json"};
  const std::string chosen = word("--format", typed.format, words);
  if (chosen == "coco") return Format::kCoco;
  return chosen == "json" ? Format::kJson : chosen == "csv" ? Format::kCsv : Format::kText;
}

int pointsOf(const Typed& typed, Command command) {
  if (command == Command::kDetect || command == Command::kReport) return 0;
  if (command == Command::kCrop) return 5;
  if (typed.points.empty()) return 68;
  const std::vector<std::string> words = command == Command::kAlign
                                             ? std::vector<std::string>{"68", "5"}
                                             : std::vector<std::string>{"68", "5", "0"};
  return std::stoi(word("--points", typed.points, words));
}

ProgressMode progressOf(const Typed& typed) {
  if (typed.progress.empty()) return ProgressMode::kAuto;
  const std::string chosen = word("--progress", typed.progress, {"auto", "always", "never"});
  return chosen == "auto"     ? ProgressMode::kAuto
         : chosen == "always" ? ProgressMode::kAlways
                              : ProgressMode::kNever;
}

FindOptions findOf(const Typed& typed, Command command) {
  FindOptions find;
  find.models = typed.models;
  find.search = searchOf(typed);
  find.points = pointsOf(typed, command);
  find.choice = typed.biggest ? Choice::kBiggest : typed.best ? Choice::kBest : Choice::kAll;
  if (!typed.box.empty()) find.box = box("--box", typed.box);
  return find;
}

ReportOptions reportOf(const Typed& typed, const Options& options) {
  ReportOptions report = options.run.report;
  const FindOptions& find = options.find;
  report.columns = {find.points, find.search.turns > 1, find.search.details};
  report.lists_points = !typed.points.empty();
  report.safe_cells = typed.safe_cells;
  if (report.safe_cells && report.format != Format::kCsv) {
    throw Failure(kExitUsage, "--safe-cells is about --format csv");
  }
  if (options.command == Command::kReport && report.format == Format::kText) {
    report.format = Format::kNothing;
  }
  return report;
}

int jobsOf(const Typed& typed) {
  constexpr int kMostJobs = 1024;
  if (typed.jobs.empty() || typed.jobs == "auto") return 0;
  return wholeNumber("--jobs (or auto)", typed.jobs, 1, kMostJobs);
}

std::string resumeOf(const Typed& typed, Format format) {
  const bool has_records = format == Format::kJson || format == Format::kCsv;
  if (!typed.resume.empty() && !has_records && !typed.quiet) {
    throw Failure(kExitUsage, "--resume needs --format json or csv: the others are for reading");
  }
  return typed.resume;
}

FileOptions filesOf(const Typed& typed, const Options& options) {
  FileOptions files;
  const std::vector<std::string>& photographs = options.run.inputs.names;
  files.embed = typed.embed;
  if (files.embed &&
      std::find(photographs.begin(), photographs.end(), "/dev/stdin") != photographs.end()) {
    throw Failure(kExitUsage, "--embed writes into files, and standard input is not a file");
  }
  files.xmp = typed.xmp;
  if (!typed.xmp_name.empty()) {
    files.xmp_by_stem = word("--xmp-name", typed.xmp_name, {"full", "stem"}) == "stem";
  }
  files.annotate = options.command == Command::kAnnotate ? typed.output : typed.annotate;
  if (options.command == Command::kCrop) files.chips = typed.output;
  if (options.command == Command::kReport) files.report = typed.output;
  if (!typed.size.empty()) files.chip_side = wholeNumber("--size", typed.size, 16, 4096);
  return files;
}

Existing existingOf(const Typed& typed, const FileOptions& files) {
  if (!typed.overwrite && !typed.skip_existing) return Existing::kAnotherName;
  if (files.annotate.empty() && files.chips.empty() && files.xmp.empty() && !files.embed) {
    throw Failure(kExitUsage, "--overwrite and --skip-existing are about files that are written");
  }
  return typed.overwrite ? Existing::kOverwrite : Existing::kSkip;
}

}  // namespace

const std::vector<std::string>& commandNames() {
  // In the order of Command.
  static const std::vector<std::string> names = {"detect", "align",  "annotate", "crop",
                                                 "report", "models", "info",     "bench"};
  return names;
}

std::vector<std::string> optionNames(const std::string& command) {
  const Parser parser;
  return namesIn(command.empty() ? parser.app : *parser.app.get_subcommand(command));
}

std::optional<Options> parseOptions(int argc, char** argv) {
  Parser parser;
  const std::optional<std::string> command = parse(parser, argc, argv);
  if (!command) return std::nullopt;
  const Typed& typed = parser.typed;
  const std::vector<std::string>& names = commandNames();

  Options options;
  options.command =
      static_cast<Command>(std::find(names.begin(), names.end(), *command) - names.begin());
  RunOptions& run = options.run;
  const bool is_bench = options.command == Command::kBench;
  const bool describes = options.command == Command::kModels || options.command == Command::kInfo;
  options.find.models = typed.models;
  run.report.format = formatOf(typed, /*has_csv=*/!is_bench && !describes);
  if (describes) return options;

  run.inputs = inputsOf(typed);
  options.find = findOf(typed, options.command);
  if (!typed.memory.empty()) {
    run.memory_mib = wholeNumber("--memory", typed.memory, 64, 1 << 20);
  }
  if (!typed.rounds.empty()) options.rounds = wholeNumber("--rounds", typed.rounds, 1, 1000);
  if (is_bench) return options;

  run.quiet = typed.quiet;
  run.strict = typed.strict;
  run.report = reportOf(typed, options);
  run.progress = progressOf(typed);
  run.jobs = jobsOf(typed);
  run.resume = resumeOf(typed, run.report.format);
  options.files = filesOf(typed, options);
  run.existing = existingOf(typed, options.files);
  return options;
}

}  // namespace oznatool
