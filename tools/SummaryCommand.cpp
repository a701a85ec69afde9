#include "tools/SummaryCommand.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

#include "files/FileSystem.h"
#include "store/Cache.h"
#include "store/Logger.h"
#include "store/Model.h"
#include "store/ModelSummary.h"
#include "stream/StreamSummary.h"
#include "tools/BundleCommand.h"

namespace qx_tool {
namespace {

// A stream file: what its records hold.
void InspectStream(std::string const& path) {
  auto const summary = QX::Store::SummarizeStreamFile(QX::Store::DefaultFiles(), path);
  if (!summary) {
    std::fprintf(stderr, "qx inspect: can't read %s\n", path.c_str());
    throw CLI::RuntimeError(1);
  }
  std::fputs(QX::Store::FormatSummary(*summary).c_str(), stdout);
  if (!summary->error.empty()) throw CLI::RuntimeError(2);
}

// A model directory or bundle, opened read-only: its objects, files and problems.
void InspectModel(std::string const& path) {
  QX::Store::Cache cache = QX::Store::Cache::Open(nullptr);
  if (IsBundlePath(path)) UseTemporaryWorkspace(cache);
  QX::Store::ModelSummary summary;
  try {
    QX::Store::Model model = cache.OpenModel(path.c_str(), true);
    summary = QX::Store::SummarizeModel(model.Impl());
  } catch (QX::Store::Exception const& failure) {
    std::fprintf(stderr, "qx inspect: %s\n", failure.what());
    throw CLI::RuntimeError(1);
  }
  std::fputs(QX::Store::FormatModelSummary(summary).c_str(), stdout);
  if (!summary.problems.empty()) throw CLI::RuntimeError(2);
}

}  // namespace

void AddSummaryCommand(CLI::App& app) {
  CLI::App* command =
      app.add_subcommand("inspect", "Summarise a stream file (.qxs), a model directory or a bundle (.qxz)");
  auto path = std::make_shared<std::string>();
  command->add_option("path", *path, "the stream file, model directory or bundle")->required();
  command->callback([path] {
    if (std::filesystem::is_directory(*path) || IsBundlePath(*path)) {
      InspectModel(*path);
    } else {
      InspectStream(*path);
    }
  });
}

}  // namespace qx_tool
