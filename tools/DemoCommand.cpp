#include "tools/DemoCommand.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>

#include "tools/DemoScene.h"
#include "tools/PageExport.h"

namespace qx_tool {

void AddDemoCommand(CLI::App& app) {
  auto options = std::make_shared<PageExportOptions>();
  CLI::App* command = app.add_subcommand("demo", "Write a page of the built-in demo scene");
  command->footer(
      "Build a demo scene in memory (colored and textured shapes, lines, spheres, cylinders, a NURBS "
      "surface, an assembly of repeated parts) and write it as one self-contained HTML page.\n"
      "Exit status: 0 page written, 2 the template is missing or has no marker, 3 the page can't be "
      "made or written.");
  command->add_option("output", options->output, "HTML page to write")->required();
  command->add_option("--template", options->page_template, "page template with the model marker")
      ->default_str(DefaultTemplatePath());
  command->add_flag("--keep-workdir", options->keep_workdir,
                    "keep the model and stream files of the export, and print where they are");
  command->callback([options] {
    try {
      ExportPage(BuildDemoScene().root, *options);
    } catch (ToolError const& error) {
      std::fprintf(stderr, "qx demo: %s\n", error.what());
      throw CLI::RuntimeError(error.Code());
    }
  });
}

}  // namespace qx_tool
