// qx: the command line front of the toolkit.
#include <CLI/CLI.hpp>

#include "tools/EmbedCommand.h"

int main(int argc, char** argv) {
  CLI::App app{"qx: turn 3D scenes into self-contained web pages"};
  app.require_subcommand(1);
  qx_tool::AddEmbedCommand(app);
  CLI11_PARSE(app, argc, argv);
  return 0;
}
