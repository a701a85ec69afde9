#pragma once
// `qx export INPUT OUTPUT`: a 3D file as one self-contained page.
namespace CLI {
class App;
}

namespace qx_tool {

void AddExportCommand(CLI::App& app);

}  // namespace qx_tool
