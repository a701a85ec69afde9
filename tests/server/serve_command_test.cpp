// `qx serve` as a user runs it: what it refuses with which exit code, and a
// server that says where it listens and stops on Ctrl-C.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <cstdio>
#include <string>

#include "tests/support/TempDir.h"

namespace {

struct CommandResult {
  int code;
  std::string output;
};

CommandResult RunCommand(std::string const& command) {
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  if (!pipe) return {-1, "popen failed"};
  CommandResult run{0, {}};
  char buffer[4096];
  while (size_t n = fread(buffer, 1, sizeof buffer, pipe)) run.output.append(buffer, n);
  int const status = pclose(pipe);
  run.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

CommandResult Serve(std::string const& arguments) { return RunCommand(std::string("'") + QX_TOOL + "' serve " + arguments); }

TEST(ServeCommand, RefusesWhatItCannotServe) {
  qx_test::TempDir dir;
  std::filesystem::create_directory(dir / "empty");
  qx_test::WriteText(dir / "plain.html", "<html>no marker</html>");
  qx_test::WriteText(dir / "broken.glb", "glTF but not really");
  // A port that is taken.
  boost::asio::io_context io;
  boost::asio::ip::tcp::acceptor taken(io, {boost::asio::ip::make_address("127.0.0.1"), 0});
  std::string const port = std::to_string(taken.local_endpoint().port());
  struct Case {
    std::string arguments;
    int code;
    std::string says;
  } const cases[] = {
      {"", 1, "give the 3D file or model to serve"},
      {"--demo '" + (dir / "broken.glb").string() + "'", 1, "--demo takes no input file"},
      {"'" + (dir / "missing.glb").string() + "'", 1, "no such file or directory"},
      {"'" + (dir / "empty").string() + "'", 1, "is a directory but not a model"},
      {"'" + (dir / "broken.glb").string() + "'", 1, "qx serve: "},
      {"--demo --template '" + (dir / "plain.html").string() + "'", 2, "has no <!-- QX_MODEL_DATA --> marker"},
      {"--demo --host nowhere", 3, "not an IP address: nowhere"},
      {"--demo --port " + port, 3, "cannot listen on 127.0.0.1:" + port},
  };
  for (Case const& c : cases) {
    CommandResult const run = Serve(c.arguments);
    EXPECT_EQ(run.code, c.code) << c.arguments << "\n" << run.output;
    EXPECT_NE(run.output.find(c.says), std::string::npos) << c.arguments << "\n" << run.output;
  }
}

TEST(ServeCommand, PrintsItsUrlAndStopsCleanlyOnCtrlC) {
  CommandResult const run = RunCommand(std::string("timeout --preserve-status -s INT 20 '") + QX_TOOL + "' serve --demo --port 0");
  EXPECT_EQ(run.code, 0) << run.output;
  EXPECT_NE(run.output.find("qx: open http://127.0.0.1:"), std::string::npos) << run.output;
  EXPECT_NE(run.output.find("qx: stopping"), std::string::npos) << run.output;
}

}  // namespace
