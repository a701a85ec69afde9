#include "tools/ServedModel.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <utility>

#include "conversion/ConverterOptions.h"
#include "conversion/SceneConverter.h"
#include "conversion/WalkScene.h"
#include "scene/KeyPath.h"
#include "store/Cache.h"
#include "store/Logger.h"
#include "store/Model.h"
#include "tools/PageExport.h"
#include "tools/importer/AssimpImporter.h"

namespace qx_tool {

namespace {

namespace fs = std::filesystem;

class ProgressLogger final : public QX::Store::Logger {
 public:
  void Message(char const* text) override { std::fprintf(stderr, "qx: %s\n", text); }
};

// Converts the scene below `root` into a new model at `path` and prepares
// it for streaming, as an export does before it writes its stream.
void ConvertScene(KZV::SegmentKey const& root, std::string const& path) {
  ProgressLogger logger;
  QX::Store::Cache cache = QX::Store::Cache::Open(&logger);
  QX::Store::Model model = cache.OpenModel(path.c_str(), false);
  uint32_t const inclusion = model.Include(model, 0);
  KZV::ConverterOptions options;
  options.ForceNormals = true;
  options.SegmentFilter = [root](KZV::SegmentKey const& segment) { return segment != root; };
  {
    KZV::SceneConverter converter(root, options, logger, model, inclusion);
    KZV::WalkScene(KZV::KeyPath({root}), converter, logger, true);
  }
  model.PrepareStream(1);
}

// Prepares a model directory that may be written; one on read-only storage
// is prepared in memory by each stream that attaches it.
void PrepareIfWritable(std::string const& path) {
  if (access(path.c_str(), W_OK) != 0) return;
  ProgressLogger logger;
  QX::Store::Cache cache = QX::Store::Cache::Open(&logger);
  cache.OpenModel(path.c_str(), false).PrepareStream(1);
}

bool IsModelDirectory(std::string const& path) {
  std::error_code error;
  return fs::is_directory(path, error) && fs::exists(fs::path(path) / "_digest.qxi", error);
}

}  // namespace

ServedModel::ServedModel(ServedModel&& other) noexcept
    : path_(std::move(other.path_)), work_directory_(std::exchange(other.work_directory_, {})) {}

ServedModel::~ServedModel() {
  if (work_directory_.empty()) return;
  std::error_code error;
  fs::remove_all(work_directory_, error);
}

ServedModel ServedModel::FromScene(KZV::SegmentKey const& root) {
  ServedModel served;
  std::string pattern = (fs::temp_directory_path() / "qx-serve-XXXXXX").string();
  if (!mkdtemp(pattern.data())) throw ToolError("cannot make a work directory", kBadInput);
  served.work_directory_ = pattern;
  served.path_ = pattern + "/model";
  try {
    ConvertScene(root, served.path_);
  } catch (std::exception const& error) {
    throw ToolError(std::string("the conversion failed: ") + error.what(), kBadInput);
  }
  return served;
}

ServedModel ServedModel::FromInput(std::string const& input) {
  std::error_code error;
  if (!fs::exists(input, error)) throw ToolError("no such file or directory: " + input, kBadInput);
  if (fs::is_directory(input, error)) {
    if (!IsModelDirectory(input)) throw ToolError(input + " is a directory but not a model (no _digest.qxi)", kBadInput);
    try {
      PrepareIfWritable(input);
    } catch (std::exception const& failure) {
      throw ToolError(std::string("cannot prepare the model: ") + failure.what(), kBadInput);
    }
    ServedModel served;
    served.path_ = input;
    return served;
  }
  if (input.ends_with(".qxz")) {
    ServedModel served;
    served.path_ = input;
    return served;
  }
  std::fprintf(stderr, "qx: importing %s\n", input.c_str());
  ImportedScene scene;
  try {
    scene = AssimpImporter::Import(input);
  } catch (ImportError const& failure) {
    throw ToolError(failure.what(), kBadInput);
  }
  for (auto const& warning : scene.warnings) std::fprintf(stderr, "qx: warning: %s\n", warning.c_str());
  return FromScene(scene.root);
}

}  // namespace qx_tool
