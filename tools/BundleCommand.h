#pragma once
// `qx bundle MODEL_DIR OUT.qxz`: a model directory as one bundle file.
#include <string>

namespace CLI {
class App;
}
namespace QX::Store {
class Cache;
}

namespace qx_tool {

void AddBundleCommand(CLI::App& app);

// Whether a path names a bundle (.qxz) rather than a model directory.
bool IsBundlePath(std::string const& path);

// Gives the cache a fresh temporary workspace, which it removes when it
// closes: a bundle of the old form is unpacked there, not beside the bundle.
void UseTemporaryWorkspace(QX::Store::Cache& cache);

}  // namespace qx_tool
