// `qx serve` as a user runs it: what it refuses with which exit code, and a
// server that says where it listens and stops on Ctrl-C.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <chrono>
#include <csignal>
#include <string>

#include "tests/support/TempDir.h"
#include "tests/tools/QxRun.h"

namespace {

using namespace std::chrono_literals;
using qx_tool_test::Quoted;

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
      {"--demo " + Quoted(dir / "broken.glb"), 1, "--demo takes no input file"},
      {Quoted(dir / "missing.glb"), 1, "no such file or directory"},
      {Quoted(dir / "empty"), 1, "is a directory but not a model"},
      {Quoted(dir / "broken.glb"), 1, "qx serve: "},
      {"--demo --template " + Quoted(dir / "plain.html"), 2, "has no <!-- QX_MODEL_DATA --> marker"},
      {"--demo --host nowhere", 3, "not an IP address: nowhere"},
      {"--demo --port " + port, 3, "cannot listen on 127.0.0.1:" + port},
  };
  for (Case const& c : cases) {
    qx_tool_test::QxRun const run = qx_tool_test::Qx("serve " + c.arguments);
    EXPECT_EQ(run.code, c.code) << c.arguments << "\n" << run.output;
    EXPECT_NE(run.output.find(c.says), std::string::npos) << c.arguments << "\n" << run.output;
  }
}

// The server is interrupted as soon as it says where it listens: it must
// stop cleanly, with exit code 0.
TEST(ServeCommand, PrintsItsUrlAndStopsCleanlyOnCtrlC) {
  int pipe_ends[2];
  ASSERT_EQ(pipe(pipe_ends), 0);
  pid_t const pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    dup2(pipe_ends[1], 1);
    dup2(pipe_ends[1], 2);
    close(pipe_ends[0]);
    close(pipe_ends[1]);
    execl(QX_TOOL, QX_TOOL, "serve", "--demo", "--port", "0", static_cast<char*>(nullptr));
    _exit(127);
  }
  close(pipe_ends[1]);
  std::string output;
  auto const start = std::chrono::steady_clock::now();
  int signal_sent = 0;
  for (;;) {
    pollfd ready{pipe_ends[0], POLLIN, 0};
    if (poll(&ready, 1, 100) > 0) {
      char buffer[4096];
      ssize_t const n = read(pipe_ends[0], buffer, sizeof buffer);
      if (n <= 0) break;
      output.append(buffer, size_t(n));
    }
    auto const waited = std::chrono::steady_clock::now() - start;
    if (signal_sent == 0 && (output.find("qx: open http://127.0.0.1:") != std::string::npos || waited > 60s))
      kill(pid, signal_sent = SIGINT);
    else if (signal_sent == SIGINT && waited > 120s)
      kill(pid, signal_sent = SIGKILL);  // hung: fail rather than wait forever
  }
  close(pipe_ends[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << output;
  EXPECT_NE(output.find("qx: open http://127.0.0.1:"), std::string::npos) << output;
  EXPECT_NE(output.find("qx: stopping"), std::string::npos) << output;
}

}  // namespace
