#pragma once
// `qx inspect FILE`: a summary of what a stream file (.qxs) holds.
namespace CLI {
class App;
}

namespace qx_tool {

void AddInspectCommand(CLI::App& app);

}  // namespace qx_tool
