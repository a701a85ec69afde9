#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "export/HtmlExport.h"
#include "export/binding/CSharpBinding.h"
#include "export/value_types/Exceptions.h"
#include "scene/KeyPath.h"

namespace {

struct Call {
  int slot;
  std::string text;
  int code;
};

std::vector<Call> calls;
std::function<void(KZV::KeyPath const&, char const*, char const*)> export_body;

template <int Slot>
void Record(char const* text, int code) {
  calls.push_back({Slot, text, code});
}

class CSharpBindingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    calls.clear();
    CSharp_KZVRegisterExceptionCallbacks(Record<1>, Record<2>, Record<3>, Record<4>, Record<5>, Record<6>,
                                         Record<7>, Record<8>);
  }
  void ExportThrowing(std::function<void()> thrower) {
    export_body = [thrower](KZV::KeyPath const&, char const*, char const*) { thrower(); };
    CSharp_KZV_HTML_File_Export(&path, L"out.html", L"template.html");
  }
  KZV::KeyPath path;
};

}  // namespace

// Stands in for the export so that the wrapper's handling can be watched.
void KZV::HTML::File::Export(KeyPath const& key_path, char const* output, char const* template_name) {
  export_body(key_path, output, template_name);
}

TEST_F(CSharpBindingTest, PassesPathsAsUTF8AndNullAsNull) {
  std::string seen_output, seen_template;
  bool template_null = false;
  export_body = [&](KZV::KeyPath const&, char const* output, char const* template_name) {
    seen_output = output;
    template_null = template_name == nullptr;
  };
  CSharp_KZV_HTML_File_Export(&path, L"caf\u00e9.html", nullptr);
  EXPECT_EQ(seen_output, "caf\xC3\xA9.html");
  EXPECT_TRUE(template_null);
  EXPECT_TRUE(calls.empty());
}

// Each exception class of the module reaches the host through its own slot,
// with its message and, for file errors, the result code.
TEST_F(CSharpBindingTest, ModuleExceptionsGoToTheirCallbacks) {
  ExportThrowing([] { throw KZV::InvalidObjectException("object"); });
  ExportThrowing([] { throw KZV::IndexOutOfRangeException("index"); });
  ExportThrowing([] { throw KZV::InvalidSpecificationException("condition"); });
  ExportThrowing([] { throw KZV::InvalidOperationException("operation"); });
  ExportThrowing([] { throw KZV::IOException("HTML Export Failed", 1); });
  ExportThrowing([] { throw KZV::IOException("", 2); });
  std::vector<std::tuple<int, std::string, int>> seen;
  for (Call const& call : calls) seen.emplace_back(call.slot, call.text, call.code);
  EXPECT_EQ(seen, (std::vector<std::tuple<int, std::string, int>>{{3, "object", 0},
                                                                   {4, "index", 0},
                                                                   {5, "condition", 0},
                                                                   {7, "operation", 0},
                                                                   {8, "HTML Export Failed", 1},
                                                                   {8, "Unknown exception", 2}}));
}

TEST_F(CSharpBindingTest, OtherExceptionsPassThrough) {
  EXPECT_THROW(ExportThrowing([] { throw std::runtime_error("store"); }), std::runtime_error);
  EXPECT_THROW(ExportThrowing([] { throw KZV::Exception("plain"); }), KZV::Exception);
  EXPECT_TRUE(calls.empty());
}

TEST_F(CSharpBindingTest, HandlesAndEntryPoints) {
  void* file = CSharp_KZV_HTML_File_File();
  void* html = CSharp_KZV_HTML_HTML();
  EXPECT_NE(file, nullptr);
  EXPECT_NE(html, file);
  CSharp_KZV_HTML_File_delete(file);
  CSharp_KZV_HTML_delete(html);
  EXPECT_TRUE(Init());
  Cleanup();
  EXPECT_EQ(Pinioner(), 0);
}
