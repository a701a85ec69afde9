#pragma once
// `qx serve INPUT`: a live streaming server for one model, with the viewer
// page at / and a WebSocket per viewer at /stream.
namespace CLI {
class App;
}

namespace qx_tool {

void AddServeCommand(CLI::App& app);

}  // namespace qx_tool
