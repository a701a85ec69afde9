// The export of a synthetic assembly, stage by stage: 1,000 distinct parts
// of 100 triangles each, every part included N times through segments with
// matrices of their own (20 by default: 20,000 instances, 2,000,000
// triangles drawn). The stages run as the export runs them: walk (model
// opened, scene converted), prepare, stream file, embedding into a page.
// Reports seconds per stage and the peak resident memory so far. Given
// several counts (default "20 40"), runs each on the same parts, so that the
// walk times show what the instances cost next to the parts.
//
//   export_bench [includes_per_part...]
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "bench/GridPart.h"
#include "conversion/ConverterOptions.h"
#include "conversion/SceneConverter.h"
#include "conversion/WalkScene.h"
#include "export/TemplateEmbedding.h"
#include "scene/Database.h"
#include "scene/IncludeKey.h"
#include "scene/KeyPath.h"
#include "scene/MatrixKit.h"
#include "scene/SegmentKey.h"
#include "scene/ShellKey.h"
#include "store/Cache.h"
#include "store/Logger.h"
#include "store/Model.h"
#include "store/ModelImpl.h"
#include "stream/StreamSummary.h"

namespace {

using namespace KZV;
using Clock = std::chrono::steady_clock;

constexpr int kParts = 1000;
constexpr int kGrid = 6;  // 6 x 6 points: 25 quads, 50 triangles a side
constexpr int kWalkRuns = 3;

double SecondsOf(std::function<void()> const& work) {
  Clock::time_point const start = Clock::now();
  work();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double PeakMiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return double(usage.ru_maxrss) / 1024.0;  // kilobytes on Linux
}

// The assembly: one segment a part, holding `includes` placed copies of it.
SegmentKey BuildAssembly(std::vector<SegmentKey> const& parts, int includes) {
  SegmentKey const root = Database::CreateRootSegment("assembly");
  for (size_t p = 0; p < parts.size(); ++p) {
    SegmentKey const group = root.Subsegment();
    for (int c = 0; c < includes; ++c) {
      group.Subsegment()
          .SetModellingMatrix(MatrixKit().Translate(float(p % 40) * 8, float(p / 40) * 8, float(c) * 2))
          .IncludeSegment(parts[p]);
    }
  }
  return root;
}

struct StageTimes {
  double walk = 0, prepare = 0, stream = 0, embed = 0;
};

// Opens a fresh model in `directory` and converts the assembly into it.
QX::Store::Model Walk(QX::Store::Cache& cache, QX::Store::Logger& logger, SegmentKey const& root,
                      std::string const& directory) {
  std::filesystem::remove_all(directory);
  QX::Store::Model model = cache.OpenModel(directory.c_str(), false);
  uint32_t const inclusion = model.Include(model, 0);
  ConverterOptions options;
  options.SegmentFilter = [root](SegmentKey const& segment) { return segment != root; };
  options.ForceNormals = true;
  SceneConverter converter(root, options, logger, model, inclusion);
  WalkScene(KeyPath({root}), converter, logger, true);  // with progress, as the export runs it
  return model;
}

StageTimes RunStages(SegmentKey const& root, std::filesystem::path const& work) {
  QX::Store::NullLogger logger;
  QX::Store::Cache cache = QX::Store::Cache::Open(&logger, nullptr);
  std::string const directory = (work / "model").string();
  StageTimes t;
  QX::Store::Model model;
  t.walk = 1e30;
  for (int run = 0; run < kWalkRuns; ++run) {
    model = QX::Store::Model();
    t.walk = std::min(t.walk, SecondsOf([&] { model = Walk(cache, logger, root, directory); }));
  }
  // Key 0 of the meshes is the model's own empty mesh.
  std::printf("  model: %zu meshes, %zu instances\n", model.Impl().meshes.size() - 1,
              model.Impl().instances.size());
  t.prepare = SecondsOf([&] { model.PrepareStream(1); });
  std::string stream_path;
  t.stream = SecondsOf([&] { stream_path = model.GenerateStreamFile(nullptr); });
  std::string const page_template = (work / "template.html").string();
  std::ofstream(page_template) << "<html><body><!-- QX_MODEL_DATA --></body></html>\n";
  std::string const page = (work / "page.html").string();
  uint32_t result = 0;
  t.embed = SecondsOf([&] {
    result = KZVI::EmbedStreamInTemplate(stream_path.c_str(), page_template.c_str(), page.c_str(), nullptr);
  });
  if (result != KZVI::kEmbedOk) std::fprintf(stderr, "embedding failed: %u\n", result);
  std::ifstream in(stream_path, std::ios::binary);
  std::vector<uint8_t> const bytes{std::istreambuf_iterator<char>(in), {}};
  QX::Store::StreamSummary const summary = QX::Store::SummarizeStream(bytes);
  std::printf("  stream file %.1f MiB (%llu instances, %llu meshes, %llu triangles, %zu unresolved), "
              "page %.1f MiB\n",
              double(bytes.size()) / 1048576.0, static_cast<unsigned long long>(summary.instances),
              static_cast<unsigned long long>(summary.mesh_definitions),
              static_cast<unsigned long long>(summary.triangles), summary.dangling.size(),
              double(std::filesystem::file_size(page)) / 1048576.0);
  return t;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<int> counts;
  for (int i = 1; i < argc; ++i) counts.push_back(std::atoi(argv[i]));
  if (counts.empty()) counts = {20, 40};

  std::filesystem::path const work =
      std::filesystem::temp_directory_path() / ("qx-export-bench-" + std::to_string(getpid()));
  std::filesystem::create_directories(work);
  std::vector<SegmentKey> const parts = BuildGridParts(kParts, kGrid);
  std::vector<double> walks;
  for (int includes : counts) {
    SegmentKey root = BuildAssembly(parts, includes);
    std::printf("%d parts x %d includes = %d instances, %d triangles\n", kParts, includes,
                kParts * includes, kParts * includes * 2 * (kGrid - 1) * (kGrid - 1) * 2);
    StageTimes const t = RunStages(root, work);
    std::printf("  walk %.3f s (best of %d), prepare %.3f s, stream %.3f s, embed %.3f s\n", t.walk,
                kWalkRuns, t.prepare, t.stream, t.embed);
    std::printf("  peak memory so far %.1f MiB\n", PeakMiB());
    walks.push_back(t.walk);
    root.Delete();
  }
  if (walks.size() >= 2)
    std::printf("walk time, last count against the first: %+.1f%%\n", 100.0 * (walks.back() / walks.front() - 1));
  std::filesystem::remove_all(work);
  return 0;
}
