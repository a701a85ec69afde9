#pragma once
// Runs the built qx tool (QX_TOOL, set by the test target) as a user would,
// catching what it prints and its exit status.
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <regex>
#include <string>

#include <gtest/gtest.h>

namespace qx_tool_test {

inline std::filesystem::path const kModels = std::filesystem::path(QX_SHARED_DIR) / "models";

struct QxRun {
  int code;
  std::string output;  // stdout and stderr
};

inline QxRun Qx(std::string const& arguments) {
  std::string const command = std::string("'") + QX_TOOL + "' " + arguments + " 2>&1";
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return {-1, "popen failed"};
  QxRun run{0, {}};
  char buffer[4096];
  while (size_t n = fread(buffer, 1, sizeof buffer, pipe)) run.output.append(buffer, n);
  int const status = pclose(pipe);
  run.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

inline std::string Quoted(std::filesystem::path const& path) { return "'" + path.string() + "'"; }

// Runs `qx export ARGUMENTS PAGE --keep-workdir` and returns the work
// directory that it kept; empty, with a failure, where it kept none.
inline std::filesystem::path ExportKeepingWork(std::string const& arguments, std::filesystem::path const& page) {
  QxRun const run = Qx("export " + arguments + " " + Quoted(page) + " --keep-workdir");
  EXPECT_EQ(run.code, 0) << run.output;
  std::smatch kept;
  if (std::regex_search(run.output, kept, std::regex("kept the model and stream in (\\S+)"))) return kept[1].str();
  ADD_FAILURE() << run.output;
  return {};
}

// The first file below `dir` whose name or extension is `name`.
inline std::filesystem::path FindBelow(std::filesystem::path const& dir, std::string const& name) {
  if (dir.empty()) return {};
  for (auto const& entry : std::filesystem::recursive_directory_iterator(dir))
    if (entry.path().filename() == name || entry.path().extension() == name) return entry.path();
  return {};
}

}  // namespace qx_tool_test
