#pragma once
// `qx demo OUTPUT`: the built-in demo scene as a page.
namespace CLI {
class App;
}

namespace qx_tool {

void AddDemoCommand(CLI::App& app);

}  // namespace qx_tool
