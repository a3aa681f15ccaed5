// ozna info.

#include "tools/commands/commands.h"
#include "tools/commands/defaults.h"
#include "tools/commands/machine_description.h"
#include "tools/commands/text_table.h"
#include "tools/process/streams.h"

namespace oznatool {
namespace {

std::vector<std::vector<std::string>> rowsOf(const NamedTexts& texts) {
  std::vector<std::vector<std::string>> rows;
  for (const auto& [name, text] : texts) rows.push_back({name, printable(text)});
  return rows;
}

std::string asText(const std::vector<Default>& defaults) {
  std::vector<std::vector<std::string>> rows = {{"option", "value", "source"}};
  for (const Default& one : defaults) {
    rows.push_back({one.option, printable(one.value), one.source});
  }
  return "ozna " OZNA_VERSION "\n\ninstruction set\n" + columnsOf(rowsOf(instructionSets())) +
         "\nlibraries\n" + columnsOf(rowsOf(libraryVersions())) + "\ndefaults\n" + columnsOf(rows);
}

nlohmann::ordered_json pairsOf(const NamedTexts& texts) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const auto& [name, text] : texts) list.push_back({{"name", name}, {"value", text}});
  return list;
}

nlohmann::ordered_json asJson(const std::vector<Default>& defaults) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const Default& one : defaults) {
    list.push_back({{"option", one.option}, {"value", one.value}, {"source", one.source}});
  }
  return {{"version", OZNA_VERSION},
          {"instruction_set", pairsOf(instructionSets())},
          {"libraries", pairsOf(libraryVersions())},
          {"defaults", list}};
}

}  // namespace

ExitCode infoCommand(const Options& options) {
  const std::vector<Default> defaults = defaultsOf(options);
  writeData(options.run.report.format == Format::kJson ? lineOf(asJson(defaults))
                                                       : asText(defaults));
  return kExitOk;
}

}  // namespace oznatool
