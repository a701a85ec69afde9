#pragma once
// `qx stream MODEL_DIR [OUT.qxs]`: the stand-alone stream of a model directory.
namespace CLI {
class App;
}

namespace qx_tool {

void AddStreamCommand(CLI::App& app);

}  // namespace qx_tool
