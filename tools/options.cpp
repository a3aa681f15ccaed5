// Commands and options, and the reading of their values.

#include "tools/options.h"

#include <CLI/CLI.hpp>
#include <array>
#include <charconv>
#include <cmath>

#include "tools/exit_code.h"
#include "tools/streams.h"

namespace oznatool {
namespace {

oznalib::Rectangle<float> parseBox(const std::string& text) {
  constexpr float kFarthest = 1e6F;  // In pixels. No photograph is as large.
  const Failure failure(
      kExitUsage,
      "--box takes left,top,right,bottom with left below right and top below bottom, not " +
          printable(text));
  std::array<float, 4> edges;
  const char* at = text.data();
  const char* const end = text.data() + text.size();
  for (size_t i = 0; i < edges.size(); ++i) {
    if (i > 0 && (at == end || *at++ != ',')) throw failure;
    const std::from_chars_result result = std::from_chars(at, end, edges[i]);
    // The comparison also turns not-a-number away.
    if (result.ec != std::errc() || !(std::abs(edges[i]) <= kFarthest)) throw failure;
    at = result.ptr;
  }
  if (at != end || edges[0] >= edges[2] || edges[1] >= edges[3]) throw failure;
  return {edges[0], edges[1], edges[2], edges[3]};
}

// An empty value would silently stand for an option that was not given.
std::string refuseEmpty(const std::string& value) {
  return value.empty() ? "must not be empty" : "";
}

void addCommonOptions(CLI::App* command, Options* options) {
  command->add_option("PHOTO", options->photographs, "photographs to work on")
      ->required()
      ->type_name("");
  command->add_flag("--json", options->json, "print a line of JSON a photograph");
  command->add_option("--annotate", options->annotate, "draw into this file or directory")
      ->check(refuseEmpty)
      ->type_name("OUT");
  command->add_option("--models", options->models, "directory of the models")
      ->check(refuseEmpty)
      ->type_name("DIR");
}

void addSearchOptions(CLI::App* command, oznalib::CascadeParameter* parameter) {
  command->add_option("--max-upscale", parameter->maxUpscale, "largest enlargement (2.0)")
      ->type_name("X");
  command->add_option("--max-image-side", parameter->maxImageSide, "longer side searched (640)")
      ->type_name("PIXELS");
  command
      ->add_option("--min-face-fraction", parameter->minFaceFraction,
                   "smallest face, of that side (0.05)")
      ->type_name("X");
  command->add_option("--pyramid-levels", parameter->pyramidLevels, "number of sizes searched (12)")
      ->type_name("N");
  command
      ->add_option("--pyramid-factor", parameter->pyramidFactor,
                   "ratio of the sizes, above 1 (1.26)")
      ->type_name("X");
  command->add_option("--window-size", parameter->windowSize, "window of the first network (13)")
      ->type_name("PIXELS");
}

}  // namespace

std::optional<Options> parseOptions(int argc, char** argv) {
  Options options;
  std::string box;
  CLI::App app("Finds faces in photographs and places landmarks on them.", "ozna");
  app.require_subcommand(1);
  app.set_version_flag("--version", "ozna " OZNA_VERSION);
  app.get_formatter()->column_width(34);
  app.footer(
      "Exit status: 0 done, 1 some photographs failed, 2 wrong arguments,\n"
      "             3 model missing or damaged, 4 output not written.");

  CLI::App* const detect = app.add_subcommand("detect", "Finds the faces in photographs.");
  CLI::App* const align =
      app.add_subcommand("align", "Finds the faces and places landmarks on them.");
  for (CLI::App* const command : {detect, align}) addCommonOptions(command, &options);
  align->add_option("--points", options.points, "landmarks a face, 68 or 5 (68)")
      ->type_name("N")
      ->check(CLI::IsMember({68, 5}));
  align->add_option("--box", box, "align left,top,right,bottom alone")->type_name("BOX");
  for (CLI::App* const command : {detect, align}) addSearchOptions(command, &options.parameter);

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    const std::vector<CLI::App*> chosen = app.get_subcommands();
    writeData(chosen.empty() ? app.help() : chosen.front()->help("ozna"));
    return std::nullopt;
  } catch (const CLI::CallForVersion&) {
    writeData(app.version() + "\n");
    return std::nullopt;
  } catch (const CLI::ParseError& error) {
    throw Failure(kExitUsage, std::string(error.what()) + " (see ozna --help)");
  }

  options.command = align->parsed() ? Command::kAlign : Command::kDetect;
  if (align->count("--box") > 0) options.box = parseBox(box);
  checkParameter(options.parameter);
  return options;
}

}  // namespace oznatool
