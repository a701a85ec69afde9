#include "tools/ExportCommand.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "tools/DemoScene.h"
#include "tools/PageExport.h"
#include "tools/importer/AssimpImporter.h"

namespace qx_tool {
namespace {

struct ExportArguments {
  std::vector<std::string> files;  // INPUT OUTPUT, or OUTPUT alone with --demo
  bool demo = false;
  PageExportOptions page;
};

void ExportFile(std::string const& input, PageExportOptions const& page) {
  std::fprintf(stderr, "qx: importing %s\n", input.c_str());
  ImportedScene scene;
  try {
    scene = AssimpImporter::Import(input);
  } catch (ImportError const& error) {
    throw ToolError(error.what(), kBadInput);
  }
  for (auto const& warning : scene.warnings) std::fprintf(stderr, "qx: warning: %s\n", warning.c_str());
  ExportPage(scene.root, page);
}

void Run(ExportArguments& arguments) {
  size_t const wanted = arguments.demo ? 1 : 2;
  if (arguments.files.size() != wanted) {
    throw ToolError(arguments.demo ? "--demo takes the page to write, and no input file"
                                   : "give the 3D file to read and the page to write",
                    kBadInput);
  }
  arguments.page.output = arguments.files.back();
  if (arguments.demo) {
    ExportPage(BuildDemoScene().root, arguments.page);
  } else {
    ExportFile(arguments.files.front(), arguments.page);
  }
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
      "one is complete.\n"
      "With --demo, a built-in demo scene (colored and textured shapes, lines, spheres, cylinders, "
      "a NURBS surface, an assembly of repeated parts) takes the place of the input file.");
  command->add_option("files", arguments->files, "INPUT OUTPUT: the 3D file to read, the page to write")
      ->required()
      ->expected(1, 2);
  command->add_flag("--demo", arguments->demo, "export the built-in demo scene: OUTPUT only");
  command->add_option("--template", arguments->page.page_template, "page template with the model marker")
      ->default_str(DefaultTemplatePath());
  command->add_flag("--split-point-clouds", arguments->page.split_point_clouds,
                    "send large point clouds coarse first, as one mesh per octree node");
  command->add_flag("--assembly-tree", arguments->page.assembly_tree,
                    "carry the scene's product structure, a tree of named parts, in the page");
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
