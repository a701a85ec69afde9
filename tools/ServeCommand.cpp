#include "tools/ServeCommand.h"

#include <signal.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "export/TemplateEmbedding.h"
#include "server/LiveServer.h"
#include "store/Logger.h"
#include "tools/DemoScene.h"
#include "tools/PageExport.h"
#include "tools/ServedModel.h"

namespace qx_tool {
namespace {

// What the page holds in place of stream data: the viewer connects back to
// the server that served it.
constexpr char kLiveToken[] = "QX_LIVE";

struct ServeArguments {
  std::string input;
  bool demo = false;
  std::string host = "127.0.0.1";
  uint16_t port = 8080;
  std::string page_template;
  size_t workers = 0;
  bool verbose = false;
};

// The engine's lines of all workers, one at a time.
class LockedLogger final : public QX::Store::Logger {
 public:
  void Message(char const* text) override {
    std::lock_guard lock(lock_);
    std::fprintf(stderr, "qx: %s\n", text);
  }

 private:
  std::mutex lock_;
};

std::string LivePage(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw ToolError("cannot read the page template " + path, kBadTemplate);
  std::string page{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  size_t const at = page.find(KZVI::kModelDataMarker);
  if (at == std::string::npos)
    throw ToolError("the page template " + path + " has no " + KZVI::kModelDataMarker + " marker", kBadTemplate);
  return page.replace(at, sizeof KZVI::kModelDataMarker - 1, kLiveToken);
}

std::string Url(std::string const& host, uint16_t port) {
  std::string shown = host;
  if (host == "0.0.0.0" || host == "::") shown = "localhost";
  else if (host.find(':') != std::string::npos) shown = "[" + host + "]";
  return "http://" + shown + ":" + std::to_string(port) + "/";
}

void Serve(ServeArguments const& arguments) {
  if (arguments.demo == !arguments.input.empty())
    throw ToolError(arguments.demo ? "--demo takes no input file" : "give the 3D file or model to serve", kBadInput);
  // Ctrl-C and kill are taken by sigwait below: no thread made from here
  // on gets them.
  sigset_t stop_signals;
  sigemptyset(&stop_signals);
  sigaddset(&stop_signals, SIGINT);
  sigaddset(&stop_signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);
  signal(SIGPIPE, SIG_IGN);

  QX::Server::ServerOptions options;
  options.page = LivePage(arguments.page_template.empty() ? DefaultTemplatePath() : arguments.page_template);
  ServedModel const model = arguments.demo ? ServedModel::FromScene(BuildDemoScene().root)
                                           : ServedModel::FromInput(arguments.input);
  LockedLogger logger;
  options.host = arguments.host;
  options.port = arguments.port;
  options.model_path = model.Path();
  options.workers = arguments.workers;
  options.engine_log = arguments.verbose ? &logger : nullptr;
  std::optional<QX::Server::LiveServer> server;
  try {
    server.emplace(std::move(options));
  } catch (std::exception const& error) {
    throw ToolError(error.what(), kExportFailed);
  }
  server->Start();
  std::fprintf(stderr, "qx: serving %s\nqx: open %s in a browser; Ctrl-C stops\n",
               arguments.demo ? "the demo scene" : arguments.input.c_str(),
               Url(arguments.host, server->Port()).c_str());
  int received = 0;
  sigwait(&stop_signals, &received);
  std::fprintf(stderr, "qx: stopping\n");
  server->Stop();
}

}  // namespace

void AddServeCommand(CLI::App& app) {
  auto arguments = std::make_shared<ServeArguments>();
  CLI::App* command = app.add_subcommand("serve", "Stream a model live to web browsers");
  command->footer(
      "Serve INPUT live: a 3D file (converted once into a model in a work directory that goes when "
      "the server stops), a model directory, or a .qxz bundle. The viewer page is at / and each "
      "viewer streams over a WebSocket at /stream what matters most on its screen now. Listens on "
      "127.0.0.1 unless --host says otherwise; Ctrl-C stops.\n"
      "Exit status: 0 stopped by Ctrl-C or kill, 1 the input can't be read, 2 bad template, 3 the "
      "port can't be opened.");
  command->add_option("input", arguments->input, "3D file, model directory or .qxz bundle");
  command->add_flag("--demo", arguments->demo, "serve the built-in demo scene");
  command->add_option("--host", arguments->host, "address to listen on")->default_str("127.0.0.1");
  command->add_option("--port", arguments->port, "port to listen on; 0 picks a free one")->default_str("8080");
  command->add_option("--template", arguments->page_template, "page template with the model marker")
      ->default_str(DefaultTemplatePath());
  command->add_option("--workers", arguments->workers, "stream threads; 0 is one per core")->default_str("0");
  command->add_flag("--verbose", arguments->verbose, "print the engine's line for every pass");
  command->callback([arguments] {
    try {
      Serve(*arguments);
    } catch (ToolError const& error) {
      std::fprintf(stderr, "qx serve: %s\n", error.what());
      throw CLI::RuntimeError(error.Code());
    }
  });
}

}  // namespace qx_tool
