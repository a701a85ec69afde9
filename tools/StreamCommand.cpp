#include "tools/StreamCommand.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>

#include "store/Cache.h"
#include "store/Logger.h"
#include "store/Model.h"
#include "tools/BundleCommand.h"

namespace qx_tool {
namespace {

// The engine's own lines, as they come.
class PrintingLogger final : public QX::Store::Logger {
 public:
  void Message(char const* text) override { std::fprintf(stderr, "%s\n", text); }
};

struct StreamArguments {
  std::string model;
  std::string output;  // empty: <name>.qxs in the model's directory, or beside its bundle
};

// Prepares a model directory unless it is prepared (preparation finds its
// tree and stops), then writes the stream. A bundle is read only, in place,
// and streams as it was prepared when it was packed.
void WriteStream(StreamArguments const& arguments) {
  PrintingLogger logger;
  QX::Store::Cache cache = QX::Store::Cache::Open(&logger);
  bool const bundle = IsBundlePath(arguments.model);
  if (bundle) UseTemporaryWorkspace(cache);
  QX::Store::Model model = cache.OpenModel(arguments.model.c_str(), bundle);
  if (!bundle) model.PrepareStream(1);
  model.GenerateStreamFile(arguments.output.empty() ? nullptr : arguments.output.c_str());
}

}  // namespace

void AddStreamCommand(CLI::App& app) {
  auto arguments = std::make_shared<StreamArguments>();
  CLI::App* command =
      app.add_subcommand("stream", "Write the stand-alone stream (.qxs) of a model directory or bundle");
  command->footer(
      "Prepare the model for streaming if it isn't, and write its stream: by default as "
      "<name>.qxs in the model's directory, or beside a bundle (.qxz), which is read in place "
      "and not prepared again. The engine's log lines go to stderr.\n"
      "Exit status: 0 stream written, 1 the model can't be opened, prepared or streamed.");
  command->add_option("model", arguments->model, "model directory or bundle (.qxz)")->required();
  command->add_option("output", arguments->output, "stream file to write");
  command->callback([arguments] {
    try {
      WriteStream(*arguments);
    } catch (std::exception const& failure) {
      std::fprintf(stderr, "qx stream: %s\n", failure.what());
      throw CLI::RuntimeError(1);
    }
  });
}

}  // namespace qx_tool
