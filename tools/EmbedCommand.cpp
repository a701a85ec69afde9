#include "tools/EmbedCommand.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>

#include "export/TemplateEmbedding.h"

namespace qx_tool {
namespace {

struct EmbedArguments {
  std::string stream;
  std::string page_template;
  std::string output;
};

}  // namespace

char const* DescribeEmbedResult(unsigned code) {
  switch (code) {
    case KZVI::kEmbedOk: return "page written";
    case KZVI::kEmbedNoTemplate: return "the template does not exist";
    case KZVI::kEmbedNoMarker: return "the template has no <!-- QX_MODEL_DATA --> marker";
    case KZVI::kEmbedWriteFailed: return "the output could not be written in full";
    case KZVI::kEmbedReadFailed: return "the template or the stream could not be read";
    default: return "unknown result";
  }
}

void AddEmbedCommand(CLI::App& app) {
  auto arguments = std::make_shared<EmbedArguments>();
  CLI::App* command = app.add_subcommand("embed", "Embed a stream file (.qxs) into an HTML template");
  command->add_option("stream", arguments->stream, "stream file")->required();
  command->add_option("template", arguments->page_template, "HTML template with the marker")->required();
  command->add_option("output", arguments->output, "page to write")->required();
  command->callback([arguments] {
    unsigned const code = KZVI::EmbedStreamInTemplate(
        arguments->stream.c_str(), arguments->page_template.c_str(), arguments->output.c_str(),
        nullptr);
    std::FILE* const out = code == 0 ? stdout : stderr;
    std::fprintf(out, "qx embed: %s (%u)\n", DescribeEmbedResult(code), code);
    if (code != 0) throw CLI::RuntimeError(static_cast<int>(code));
  });
}

}  // namespace qx_tool
