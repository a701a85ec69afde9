#include "tools/BundleCommand.h"

#include <CLI/CLI.hpp>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <memory>

#include "files/BundleWriter.h"
#include "files/FileSystem.h"
#include "store/Cache.h"
#include "store/Logger.h"
#include "store/Model.h"
#include "store/ModelImpl.h"

namespace qx_tool {
namespace {

namespace fs = std::filesystem;
using QX::Store::DefaultFiles;

// The files of a model, the digest first; those a model lacks are left out.
constexpr char const* kModelFiles[] = {
    QX::Store::kDigestName,          QX::Store::kMeshesName,
    QX::Store::kImagesName,          QX::Store::kDataName,
    QX::Store::kStreamMeshesName,    QX::Store::kStreamMeshesTocName,
    QX::Store::kStreamImagesName,    QX::Store::kStreamImagesTocName,
    QX::Store::kStreamBoundingName,
};

struct BundleArguments {
  std::string model;
  std::string output;
};

// A bundle is read only, so its model must be prepared for streaming before
// it is packed. A model with a tree file is prepared already and is left
// untouched.
void EnsurePrepared(fs::path const& model) {
  if (fs::exists(model / QX::Store::kStreamBoundingName)) return;
  QX::Store::Cache cache = QX::Store::Cache::Open(nullptr);
  QX::Store::Model opened = cache.OpenModel(model.string().c_str(), false);
  opened.PrepareStream(1);
}

std::vector<std::string> PresentFiles(fs::path const& model) {
  std::vector<std::string> names;
  for (char const* name : kModelFiles)
    if (fs::is_regular_file(model / name)) names.emplace_back(name);
  return names;
}

void WriteModelBundle(BundleArguments const& arguments) {
  fs::path const model = arguments.model;
  if (!fs::is_regular_file(model / QX::Store::kDigestName))
    throw QX::Store::Exception("Not a model directory: " + arguments.model);
  EnsurePrepared(model);
  std::vector<std::string> const names = PresentFiles(model);
  QX::Store::WriteBundle(model, names, fs::absolute(arguments.output), DefaultFiles(), nullptr);
  std::fprintf(stderr, "Bundled %zu files of %s as %s (%ju bytes)\n", names.size(),
               arguments.model.c_str(), arguments.output.c_str(),
               uintmax_t(fs::file_size(arguments.output)));
}

}  // namespace

bool IsBundlePath(std::string const& path) {
  return path.size() > 4 && path.ends_with(".qxz");
}

void UseTemporaryWorkspace(QX::Store::Cache& cache) {
  std::string pattern = (fs::temp_directory_path() / "qx-bundle-XXXXXX").string();
  if (mkdtemp(pattern.data())) cache.SetWorkspace(pattern.c_str());
}

void AddBundleCommand(CLI::App& app) {
  auto arguments = std::make_shared<BundleArguments>();
  CLI::App* command =
      app.add_subcommand("bundle", "Pack a model directory into one bundle file (.qxz)");
  command->footer(
      "Prepare the model for streaming if it isn't, and write its files into one bundle that "
      "`qx stream` and `qx inspect` read in place. The bundle is written beside OUT.qxz and "
      "renamed into place, so a failed run leaves no partial bundle.\n"
      "Exit status: 0 bundle written, 1 the model can't be read or prepared, or the bundle "
      "can't be written.");
  command->add_option("model", arguments->model, "model directory")->required();
  command->add_option("output", arguments->output, "bundle file to write")->required();
  command->callback([arguments] {
    try {
      WriteModelBundle(*arguments);
    } catch (std::exception const& failure) {
      std::fprintf(stderr, "qx bundle: %s\n", failure.what());
      throw CLI::RuntimeError(1);
    }
  });
}

}  // namespace qx_tool
