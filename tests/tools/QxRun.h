#pragma once
// Runs the built qx tool (QX_TOOL, set by the test target) as a user would,
// catching what it prints and its exit status.
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <string>

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

}  // namespace qx_tool_test
