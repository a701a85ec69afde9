#include "tools/InspectCommand.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>

#include "files/FileSystem.h"
#include "stream/StreamInspector.h"

namespace qx_tool {

void AddInspectCommand(CLI::App& app) {
  CLI::App* command = app.add_subcommand("inspect", "Summarise a stream file (.qxs)");
  auto path = std::make_shared<std::string>();
  command->add_option("file", *path, "the stream file")->required();
  command->callback([path] {
    auto const summary = QX::Store::SummarizeStreamFile(QX::Store::DefaultFiles(), *path);
    if (!summary) {
      std::fprintf(stderr, "qx inspect: can't read %s\n", path->c_str());
      throw CLI::RuntimeError(1);
    }
    std::fputs(QX::Store::FormatSummary(*summary).c_str(), stdout);
    if (!summary->error.empty()) throw CLI::RuntimeError(2);
  });
}

}  // namespace qx_tool
