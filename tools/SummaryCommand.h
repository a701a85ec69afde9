#pragma once
// `qx inspect PATH`: a summary of what a stream file (.qxs) or a model
// directory holds.
namespace CLI {
class App;
}

namespace qx_tool {

void AddSummaryCommand(CLI::App& app);

}  // namespace qx_tool
