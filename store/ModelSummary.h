#pragma once
// A readable account of an open model: the objects of each kind with their
// key ranges, the sizes of its files, and the problems found in it: keys
// referenced that the model doesn't know, and objects whose bytes aren't in
// their file.
#include <cstdint>
#include <string>
#include <vector>

namespace QX::Store {

class ModelImpl;

struct ModelSummary {
  struct Kind {
    std::string name;
    size_t count = 0;
    bool ranged = false;  // whether first and last hold the smallest and largest key
    uint32_t first = 0;
    uint32_t last = 0;
  };
  struct FileSize {
    std::string name;
    int64_t size = -1;  // -1 for a file that isn't there
  };

  std::string path;
  std::vector<Kind> kinds;
  std::vector<FileSize> files;
  std::vector<std::string> problems;
};

ModelSummary SummarizeModel(ModelImpl& model);

// One line per kind, file and problem, under the headings "Objects:",
// "Files:" and "Problems:".
std::string FormatModelSummary(ModelSummary const& summary);

}  // namespace QX::Store
