#include "tools/PageExport.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>

#include "conversion/ConverterOptions.h"
#include "export/HtmlExport.h"
#include "export/TemplateEmbedding.h"
#include "scene/KeyPath.h"
#include "store/Logger.h"

namespace qx_tool {
namespace {

namespace fs = std::filesystem;

void CheckTemplate(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  std::error_code error;
  if (!in || fs::is_directory(path, error)) throw ToolError("cannot read the page template " + path, kBadTemplate);
  std::string const text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  if (text.find(KZVI::kModelDataMarker) == std::string::npos)
    throw ToolError("the page template " + path + " has no " + KZVI::kModelDataMarker + " marker", kBadTemplate);
}

// A new empty file beside the output; mkstemp makes its name unique.
std::string CreatePartFile(std::string const& output) {
  std::error_code error;
  if (fs::is_directory(output, error)) throw ToolError(output + " is a directory", kExportFailed);
  std::string name = output + ".part-XXXXXX";
  int const fd = mkstemp(name.data());
  if (fd < 0) throw ToolError("cannot write beside " + output + ": " + std::strerror(errno), kExportFailed);
  // A page is for others to read: the usual mode of a new file, not
  // mkstemp's private one.
  mode_t const mask = umask(0);
  umask(mask);
  fchmod(fd, 0666 & ~mask);
  close(fd);
  return name;
}

// The export leaves its model and stream in a new directory under the
// temporary directory; pointing TMPDIR at a directory of our own while it
// runs lets us find that and remove it.
class WorkDirectory {
 public:
  WorkDirectory() {
    std::string pattern = (fs::temp_directory_path() / "qx-export-XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw ToolError("cannot make a work directory", kExportFailed);
    path_ = pattern;
    if (char const* old = std::getenv("TMPDIR")) old_tmpdir_ = old;
    setenv("TMPDIR", path_.c_str(), 1);
  }
  ~WorkDirectory() {
    if (old_tmpdir_) setenv("TMPDIR", old_tmpdir_->c_str(), 1);
    else unsetenv("TMPDIR");
    if (keep_) return;
    std::error_code error;
    fs::remove_all(path_, error);
  }
  WorkDirectory(WorkDirectory const&) = delete;
  WorkDirectory& operator=(WorkDirectory const&) = delete;

  std::string const& Path() const { return path_; }
  void Keep() { keep_ = true; }

 private:
  std::string path_;
  std::optional<std::string> old_tmpdir_;
  bool keep_ = false;
};

// The export's own lines (walk progress, stage timings) on stderr.
class ProgressLogger final : public QX::Store::Logger {
 public:
  void Message(char const* text) override { std::fprintf(stderr, "qx: %s\n", text); }
};

void RunExport(KZV::SegmentKey const& root, std::string const& part, std::string const& page_template,
               PageExportOptions const& page) {
  try {
    ProgressLogger logger;
    KZV::ConverterOptions options;
    options.ForceNormals = true;
    options.SplitPointClouds = page.split_point_clouds;
    options.BuildAssemblyTree = page.assembly_tree;
    KZVI::ExportPage(KZV::KeyPath({root}), part.c_str(), page_template.c_str(), logger,
                     std::move(options));
  } catch (std::exception const& error) {
    throw ToolError(std::string("the export failed: ") + error.what(), kExportFailed);
  }
  std::error_code error;
  if (fs::file_size(part, error) == 0 || error) throw ToolError("the export wrote no page", kExportFailed);
}

}  // namespace

// An installed qx finds the template under its prefix (bin/../share/qx); a qx
// run from its build tree finds the viewer's in the source tree.
std::string DefaultTemplatePath() {
  std::error_code error;
  fs::path const executable = fs::read_symlink("/proc/self/exe", error);
  if (!error) {
    fs::path const installed = executable.parent_path().parent_path() / "share/qx/default.html";
    if (fs::is_regular_file(installed, error)) return installed.string();
  }
  return QX_SOURCE_DIR "/viewer/templates/default.html";
}

void ExportPage(KZV::SegmentKey const& root, PageExportOptions const& options) {
  std::string const page_template = options.page_template.empty() ? DefaultTemplatePath() : options.page_template;
  CheckTemplate(page_template);
  std::string const part = CreatePartFile(options.output);
  WorkDirectory work;
  if (options.keep_workdir) work.Keep();
  std::fprintf(stderr, "qx: exporting to %s\n", options.output.c_str());
  try {
    RunExport(root, part, page_template, options);
  } catch (...) {
    fs::remove(part);
    throw;
  }
  std::error_code error;
  fs::rename(part, options.output, error);
  if (error) {
    fs::remove(part, error);
    throw ToolError("cannot put the page in place at " + options.output, kExportFailed);
  }
  if (options.keep_workdir) std::fprintf(stderr, "qx: kept the model and stream in %s\n", work.Path().c_str());
  std::fprintf(stderr, "qx: wrote %s (%ju bytes)\n", options.output.c_str(),
               static_cast<uintmax_t>(fs::file_size(options.output, error)));
}

}  // namespace qx_tool
