#pragma once
// Writes the scene below a segment as one self-contained page: the step
// that `qx export` and `qx demo` share.
#include <stdexcept>
#include <string>

#include "scene/SegmentKey.h"

namespace qx_tool {

// Exit codes of the commands, as their help lists them.
enum ExitCode : int { kBadInput = 1, kBadTemplate = 2, kExportFailed = 3 };

// A failure in plain words, with the exit code it ends the tool with.
class ToolError : public std::runtime_error {
 public:
  ToolError(std::string const& message, ExitCode code) : std::runtime_error(message), code_(code) {}
  ExitCode Code() const { return code_; }

 private:
  ExitCode code_;
};

struct PageExportOptions {
  std::string output;
  std::string page_template;  // empty for the viewer's default template
  bool keep_workdir = false;  // keep the model and stream files the export leaves
  bool split_point_clouds = false;  // large point clouds as one mesh per octree node
  bool assembly_tree = false;  // the tree of named parts goes into the model
};

// The viewer's page template in the source tree this tool was built from.
std::string DefaultTemplatePath();

// Writes the page beside the output and renames it into place, so that a
// failed export leaves an older page as it was. Progress goes to stderr.
// Throws ToolError.
void ExportPage(KZV::SegmentKey const& root, PageExportOptions const& options);

}  // namespace qx_tool
