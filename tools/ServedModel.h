#pragma once
// The model that `qx serve` streams from: a model directory as given
// (prepared for streaming if it isn't and may be written), a bundle as
// given, or a 3D file converted into a model in a work directory of its own
// that goes when the server stops.
#include <string>

#include "scene/SegmentKey.h"

namespace qx_tool {

class ServedModel {
 public:
  // Throws ToolError (kBadInput) if the input can't be read or converted.
  static ServedModel FromInput(std::string const& input);
  static ServedModel FromScene(KZV::SegmentKey const& root);

  ServedModel(ServedModel&& other) noexcept;
  ServedModel& operator=(ServedModel&&) = delete;
  ~ServedModel();

  // The model directory or bundle, for the workers to open read-only.
  std::string const& Path() const { return path_; }

 private:
  ServedModel() = default;

  std::string path_;
  std::string work_directory_;  // removed with this object; empty if none
};

}  // namespace qx_tool
