#pragma once
// A server on a free loopback port over one test model, made once per suite.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

#include "server/LiveServer.h"
#include "tests/server/LiveTestModel.h"
#include "tests/server/TestClient.h"
#include "tests/stream/StreamRecords.h"
#include "tests/support/TempDir.h"

namespace qx_server_test {

class LiveServerTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    directory_ = new qx_test::TempDir();
    model_ = new LiveTestModel(BuildLiveTestModel((directory_->Path() / "model").string()));
  }
  static void TearDownTestSuite() {
    delete model_;
    delete directory_;
  }

  // Starts the server with `limits`; the page is a stand-in.
  void StartServer(QX::Server::ServerLimits limits = {}, size_t workers = 2) {
    QX::Server::ServerOptions options;
    options.port = 0;
    options.model_path = model_->path;
    options.page = "<html>live page</html>";
    options.workers = workers;
    options.limits = limits;
    server_ = std::make_unique<QX::Server::LiveServer>(std::move(options));
    server_->Start();
  }

  uint16_t Port() const { return server_->Port(); }
  LiveTestModel const& Model() const { return *model_; }

  // A camera message looking down the z axis at (x, y), seeing `size` units.
  static std::string CameraAt(double x, double y, double size) {
    std::ostringstream text;
    text.precision(17);
    text << "{\"type\":\"camera\",\"projection\":0,\"position\":[" << x << "," << y << ",20000],\"target\":["
         << x << "," << y << ",0],\"up\":[0,1,0],\"width\":" << size << ",\"height\":" << size
         << ",\"aspect\":1,\"screen_width\":800,\"screen_height\":800}";
    return text.str();
  }

  std::unique_ptr<QX::Server::LiveServer> server_;

 private:
  static inline qx_test::TempDir* directory_ = nullptr;
  static inline LiveTestModel* model_ = nullptr;
};

}  // namespace qx_server_test
