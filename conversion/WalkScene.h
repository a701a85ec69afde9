#pragma once
// The walk of the scene below a key path that converts each segment path.
#include "scene/KeyPath.h"

namespace QX::Store {
class Logger;
}

namespace KZV {

class SceneConverter;

// Walks twice when `show_progress` is set: once to count segment paths, once
// to convert them, logging the progress by whole percents.
void WalkScene(KeyPath const& path, SceneConverter& converter, QX::Store::Logger& logger, bool show_progress);

}  // namespace KZV
