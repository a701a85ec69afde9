#include "tools/ExportCommand.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>

#include "tools/PageExport.h"
#include "tools/importer/AssimpImporter.h"

namespace qx_tool {
namespace {

struct ExportArguments {
  std::string input;
  PageExportOptions page;
};

void Run(ExportArguments const& arguments) {
  std::fprintf(stderr, "qx: importing %s\n", arguments.input.c_str());
  ImportedScene scene;
  try {
    scene = AssimpImporter::Import(arguments.input);
  } catch (ImportError const& error) {
    throw ToolError(error.what(), kBadInput);
  }
  for (auto const& warning : scene.warnings) std::fprintf(stderr, "qx: warning: %s\n", warning.c_str());
  ExportPage(scene.root, arguments.page);
}

}  // namespace

void AddExportCommand(CLI::App& app) {
  auto arguments = std::make_shared<ExportArguments>();
  CLI::App* command = app.add_subcommand("export", "Turn a 3D file into one self-contained HTML page");
  command->footer(
      "Turn a 3D file (glTF, GLB, OBJ, STL, PLY, FBX and the other formats Assimp reads) into one "
      "self-contained HTML page that shows it in a web browser.\n"
      "Exit status: 0 page written, 1 the input can't be read, 2 the template is missing or has no "
      "marker, 3 the page can't be made or written. An existing page is replaced only when the new "
      "one is complete.");
  command->add_option("input", arguments->input, "3D file to read")->required();
  command->add_option("output", arguments->page.output, "HTML page to write")->required();
  command->add_option("--template", arguments->page.page_template, "page template with the model marker")
      ->default_str(DefaultTemplatePath());
  command->add_flag("--keep-workdir", arguments->page.keep_workdir,
                    "keep the model and stream files of the export, and print where they are");
  command->callback([arguments] {
    try {
      Run(*arguments);
    } catch (ToolError const& error) {
      std::fprintf(stderr, "qx export: %s\n", error.what());
      throw CLI::RuntimeError(error.Code());
    }
  });
}

}  // namespace qx_tool
