// The export module as a host loads it: by dlopen, looking up its entry
// points and flat functions by name, with the scene in the shared core
// library.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "scene/Database.h"
#include "scene/KeyPath.h"
#include "scene/ShellKey.h"
#include "tests/export/Base64Reference.h"
#include "tests/support/TempDir.h"

namespace {

using Callback = void (*)(char const*, int);

std::set<std::string> const kExported = {
    "CSharp_KZVRegisterExceptionCallbacks", "CSharp_KZV_HTML_File_Export", "CSharp_KZV_HTML_File_File",
    "CSharp_KZV_HTML_HTML", "CSharp_KZV_HTML_File_delete", "CSharp_KZV_HTML_delete",
    "Init", "Cleanup", "Pinioner"};

// Names of the symbols that the module defines for others to link to.
std::set<std::string> DefinedDynamicSymbols(char const* path) {
  FILE* pipe = popen(("nm -D --defined-only --extern-only '" + std::string(path) + "'").c_str(), "r");
  EXPECT_NE(pipe, nullptr);
  std::set<std::string> names;
  char line[1024];
  while (pipe && fgets(line, sizeof line, pipe)) {
    std::istringstream fields(line);
    std::string address, kind, name;
    if (fields >> address >> kind >> name) names.insert(name);
  }
  if (pipe) pclose(pipe);
  return names;
}

std::vector<std::pair<int, std::string>> reports;

template <int Slot>
void Report(char const* text, int code) {
  reports.push_back({Slot, std::string(text) + " / " + std::to_string(code)});
}

class Module : public testing::Test {
 protected:
  void SetUp() override {
    handle_ = dlopen(QX_MODULE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(handle_, nullptr) << dlerror();
    reports.clear();
    auto const registrar = Find<void (*)(Callback, Callback, Callback, Callback, Callback, Callback, Callback,
                                         Callback)>("CSharp_KZVRegisterExceptionCallbacks");
    registrar(Report<1>, Report<2>, Report<3>, Report<4>, Report<5>, Report<6>, Report<7>, Report<8>);
  }
  void TearDown() override {
    if (handle_) dlclose(handle_);
  }

  template <class Function>
  Function Find(char const* name) {
    void* symbol = dlsym(handle_, name);
    EXPECT_NE(symbol, nullptr) << name;
    return reinterpret_cast<Function>(symbol);
  }

  void Export(KZV::KeyPath const& path, std::wstring const& output, std::wstring const& page_template) {
    Find<void (*)(void*, wchar_t const*, wchar_t const*)>("CSharp_KZV_HTML_File_Export")(
        const_cast<KZV::KeyPath*>(&path), output.c_str(), page_template.c_str());
  }

  void* handle_ = nullptr;
};

TEST_F(Module, ExportsExactlyTheBindingAndTheEntryPoints) {
  EXPECT_EQ(DefinedDynamicSymbols(QX_MODULE), kExported);
  EXPECT_TRUE(Find<bool (*)()>("Init")());
  Find<void (*)()>("Cleanup")();
  void* file = Find<void* (*)()>("CSharp_KZV_HTML_File_File")();
  void* html = Find<void* (*)()>("CSharp_KZV_HTML_HTML")();
  EXPECT_NE(file, nullptr);
  EXPECT_NE(html, file);
  Find<void (*)(void*)>("CSharp_KZV_HTML_File_delete")(file);
  Find<void (*)(void*)>("CSharp_KZV_HTML_delete")(html);
}

// The host's wide paths reach the export as UTF-8, and a failure reaches the
// host through the callback of its class.
TEST_F(Module, ExportsASceneOfTheHostThroughTheFlatFunction) {
  KZV::SegmentKey scene = KZV::Database::CreateRootSegment("module scene");
  scene.InsertShell({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}, {4, 0, 1, 2, 3});
  qx_test::TempDir dir;
  qx_test::WriteText(dir / "template.html", "<html><!-- QX_MODEL_DATA --></html>");
  Export(KZV::KeyPath({scene}), dir.Path().wstring() + L"/caf\u00e9.html", (dir / "template.html").wstring());
  EXPECT_TRUE(reports.empty()) << reports.front().second;
  std::string const page = qx_test::ReadText(dir / "caf\xC3\xA9.html");
  ASSERT_TRUE(page.starts_with("<html>") && page.ends_with("</html>"));
  auto const stream = qx_test::DecodeBase64(page.substr(6, page.size() - 13));
  ASSERT_TRUE(stream.has_value() && stream->size() >= 20u);
  EXPECT_EQ((*stream)[0], 'V');  // the stream head

  Export(KZV::KeyPath({scene}), (dir / "other.html").wstring(), (dir / "missing.html").wstring());
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_EQ(reports[0].first, 8);
  EXPECT_NE(reports[0].second.find("missing.html / 2"), std::string::npos) << reports[0].second;
  scene.Delete();
}

}  // namespace
