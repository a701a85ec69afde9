// qx: the command line front of the toolkit.
#include <CLI/CLI.hpp>

#include "tools/BundleCommand.h"
#include "tools/EmbedCommand.h"
#include "tools/ExportCommand.h"
#include "tools/ServeCommand.h"
#include "tools/StreamCommand.h"
#include "tools/SummaryCommand.h"

int main(int argc, char** argv) {
  CLI::App app{"qx: turn 3D scenes into self-contained web pages"};
  app.require_subcommand(1);
  app.set_version_flag("--version", "qx 0.1");
  qx_tool::AddExportCommand(app);
  qx_tool::AddEmbedCommand(app);
  qx_tool::AddStreamCommand(app);
  qx_tool::AddSummaryCommand(app);
  qx_tool::AddBundleCommand(app);
  qx_tool::AddServeCommand(app);
  CLI11_PARSE(app, argc, argv);
  return 0;
}
