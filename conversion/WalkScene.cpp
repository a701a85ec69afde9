#include "conversion/WalkScene.h"

#include <cstdio>

#include "conversion/SceneConverter.h"
#include "scene/ConditionalExpression.h"
#include "scene/IncludeKey.h"
#include "scene/SceneWalker.h"
#include "store/Logger.h"

namespace KZV {

namespace {

using KZVI::Helpers::GrownKeyPath;
using KZVI::Helpers::SceneWalker;

// An include is followed when it has no condition or the conditions in force
// at it satisfy it.
bool FollowInclude(GrownKeyPath const& path) {
  ConditionalExpression condition;
  if (!IncludeKey(path.Peek()).ShowConditionalExpression(condition)) return true;
  UTF8Array conditions;
  path.ShowNetConditions(conditions);
  return condition.IsSatisfiedBy(conditions);
}

void LogLine(QX::Store::Logger& logger, char const* format, uint32_t value) {
  char line[64];
  std::snprintf(line, sizeof line, format, value);
  logger.Message(line);
}

uint32_t CountSegmentPaths(KeyPath const& path) {
  uint32_t count = 0;
  SceneWalker const counter(FollowInclude, [](GrownKeyPath const&) { return true; },
                            [&count](GrownKeyPath const&) { ++count; });
  counter.Walk(path);
  return count;
}

}  // namespace

void WalkScene(KeyPath const& path, SceneConverter& converter, QX::Store::Logger& logger, bool show_progress) {
  uint32_t total = 0;
  if (show_progress) {
    total = CountSegmentPaths(path);
    LogLine(logger, "Total segment paths: %u", total);
  }
  uint32_t visited = 0;
  uint32_t last_percent = 0;
  SceneWalker const walker(
      FollowInclude, [&converter](GrownKeyPath const& p) { return converter.ShouldEnter(p); },
      [&](GrownKeyPath const& p) {
        converter.Visit(p);
        if (!show_progress) return;
        ++visited;
        uint32_t const percent = visited * 100u / total;
        if (percent > last_percent) LogLine(logger, "Walk progress: %u%%", percent);
        last_percent = percent;
      });
  logger.Message("Walking ZTR segment tree.");
  walker.Walk(path);
  logger.Message("Walk complete.");
}

}  // namespace KZV
