#pragma once
// `qx bundle MODEL_DIR OUT.qxz`: a model directory as one bundle file.
#include <string>

namespace CLI {
class App;
}

namespace qx_tool {

void AddBundleCommand(CLI::App& app);

// Whether a path names a bundle (.qxz) rather than a model directory.
bool IsBundlePath(std::string const& path);

}  // namespace qx_tool
