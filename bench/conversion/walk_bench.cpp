// The walk alone (scene converted into a fresh model) over an assembly of
// 1,000 distinct parts of 100 triangles, each included N times and then 2N
// times. Every included copy sits five segments deep below the assembly's
// root, under subassemblies that set matrices, colours and visibility, as a
// real assembly does. The first path to a part converts its mesh; every
// further path should cost no more than a matrix and an instance, so the
// ratio of the two walks tells how much a path costs next to a part.
//
//   walk_bench [N...]      (default: 1 20, so 1 against 2 and 20 against 40)
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/GridPart.h"
#include "conversion/ConverterOptions.h"
#include "conversion/SceneConverter.h"
#include "conversion/WalkScene.h"
#include "scene/Database.h"
#include "scene/IncludeKey.h"
#include "scene/KeyPath.h"
#include "scene/MaterialMappingKit.h"
#include "scene/MatrixKit.h"
#include "scene/SegmentKey.h"
#include "scene/ShellKey.h"
#include "scene/VisibilityKit.h"
#include "store/Cache.h"
#include "store/Logger.h"
#include "store/Model.h"
#include "store/ModelImpl.h"

namespace {

using namespace KZV;
using Clock = std::chrono::steady_clock;

constexpr int kParts = 1000;
constexpr int kSubassemblies = 10;
constexpr int kGrid = 6;  // 6 x 6 points a side: 100 triangles a part
constexpr int kRuns = 5;

// Distinct parts, every seventh with a colour of its own.
std::vector<SegmentKey> BuildParts() {
  std::vector<SegmentKey> parts = BuildGridParts(kParts, kGrid);
  for (size_t p = 0; p < parts.size(); p += 7)
    parts[p].SetMaterialMapping(MaterialMappingKit().SetFaceColor({0.8f, 0.2f, 0.2f, 1}));
  return parts;
}

// root / subassembly / slot of a part / copy / include of the part.
SegmentKey BuildAssembly(std::vector<SegmentKey> const& parts, int copies) {
  SegmentKey const root = Database::CreateRootSegment("assembly");
  root.SetMaterialMapping(MaterialMappingKit().SetFaceColor({0.6f, 0.6f, 0.65f, 1}));
  root.SetVisibility(VisibilityKit().SetLines(false));
  int const per_subassembly = kParts / kSubassemblies;
  for (int s = 0; s < kSubassemblies; ++s) {
    SegmentKey const sub = root.Subsegment();
    sub.SetModellingMatrix(MatrixKit().Translate(0, float(s) * 100, 0));
    for (int k = 0; k < per_subassembly; ++k) {
      int const p = s * per_subassembly + k;
      SegmentKey const slot = sub.Subsegment();
      slot.SetModellingMatrix(MatrixKit().Rotate(0, 0, float(p % 4) * 90));
      for (int c = 0; c < copies; ++c)
        slot.Subsegment()
            .SetModellingMatrix(MatrixKit().Translate(float(k) * 8, 0, float(c) * 2))
            .IncludeSegment(parts[p]);
    }
  }
  return root;
}

// Best of several walks, each into a model opened fresh (the opening isn't
// timed).
double WalkSeconds(SegmentKey const& root, std::string const& directory, size_t& instances) {
  QX::Store::NullLogger logger;
  QX::Store::Cache cache = QX::Store::Cache::Open(&logger, nullptr);
  double best = 1e30;
  for (int run = 0; run < kRuns; ++run) {
    std::filesystem::remove_all(directory);
    QX::Store::Model model = cache.OpenModel(directory.c_str(), false);
    uint32_t const inclusion = model.Include(model, 0);
    ConverterOptions options;
    options.SegmentFilter = [root](SegmentKey const& segment) { return segment != root; };
    options.ForceNormals = true;
    Clock::time_point const start = Clock::now();
    {
      SceneConverter converter(root, options, logger, model, inclusion);
      WalkScene(KeyPath({root}), converter, logger, true);
    }
    best = std::min(best, std::chrono::duration<double>(Clock::now() - start).count());
    instances = model.Impl().instances.size();
  }
  return best;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<int> counts;
  for (int i = 1; i < argc; ++i) counts.push_back(std::max(1, std::atoi(argv[i])));
  if (counts.empty()) counts = {1, 20};

  std::string const directory =
      (std::filesystem::temp_directory_path() / ("qx-walk-bench-" + std::to_string(::getpid()))).string();
  std::vector<SegmentKey> const parts = BuildParts();
  for (int n : counts) {
    double seconds[2] = {0, 0};
    for (int twice = 0; twice < 2; ++twice) {
      int const copies = n << twice;
      SegmentKey root = BuildAssembly(parts, copies);
      size_t instances = 0;
      seconds[twice] = WalkSeconds(root, directory, instances);
      std::printf("%d parts x %d includes: walk %.4f s (best of %d), %zu instances\n", kParts, copies,
                  seconds[twice], kRuns, instances);
      root.Delete();
    }
    std::printf("  doubling %d -> %d includes: walk x%.3f (%+.1f%%)\n", n, 2 * n, seconds[1] / seconds[0],
                100.0 * (seconds[1] / seconds[0] - 1));
  }
  std::filesystem::remove_all(directory);
  return 0;
}
