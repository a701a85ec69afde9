#include "export/HtmlExport.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "conversion/ConverterOptions.h"
#include "conversion/SceneConverter.h"
#include "conversion/WalkScene.h"
#include "export/TemplateEmbedding.h"
#include "export/value_types/Exceptions.h"
#include "scene/Helpers.h"
#include "scene/KeyPath.h"
#include "scene/SegmentKey.h"
#include "store/Cache.h"
#include "store/Logger.h"
#include "store/Model.h"

namespace KZV {
namespace {

// UTF-8 of a wide string; an invalid code point is a "bad conversion".
std::string WideToUtf8(std::wstring const& wide) {
  std::string out;
  out.reserve(wide.size());
  for (wchar_t const c : wide) {
    auto const code = static_cast<uint32_t>(c);
    if (code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) throw std::range_error("bad conversion");
    if (code < 0x80) {
      out += static_cast<char>(code);
    } else if (code < 0x800) {
      out += static_cast<char>(0xC0 | code >> 6);
      out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
      out += static_cast<char>(0xE0 | code >> 12);
      out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | code >> 18);
      out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (code & 0x3F));
    }
  }
  return out;
}

bool TemplateExists(char const* template_file_name) {
  std::vector<wchar_t> const wide = KZVI::String::UTF8_To_WCharArray(template_file_name);
  return !wide.empty() && KZVI::Helpers::File::checkExistence(wide.data());
}

// A new temporary directory with "\tmp" behind it: the model's directory.
// The backslash is kept as written; the file layer reads it as a separator.
std::string NewWorkspacePath() {
  std::vector<wchar_t> const directory = KZVI::Helpers::File::generateTemporaryDirectory();
  std::wstring workspace(directory.data());
  workspace += L"\\tmp";
  return WideToUtf8(workspace);
}

}  // namespace

void HTML::File::Export(KeyPath const& key_path, char const* output_file_name,
                        char const* template_file_name) {
  QX::Store::NullLogger logger;
  ConverterOptions options;
  options.ForceNormals = true;
  KZVI::ExportPage(key_path, output_file_name, template_file_name, logger, std::move(options));
}

}  // namespace KZV

namespace KZVI {

void ExportPage(KZV::KeyPath const& key_path, char const* output_file_name,
                char const* template_file_name, QX::Store::Logger& logger,
                KZV::ConverterOptions options) {
  using namespace KZV;
  if (!TemplateExists(template_file_name)) {
    throw IOException(std::string("Unable to open telvis template for HTML export: ") +
                          (template_file_name ? template_file_name : ""),
                      2);
  }
  QX::Store::Cache cache = QX::Store::Cache::Open(&logger, nullptr);
  std::string const workspace = NewWorkspacePath();
  QX::Store::Model model = cache.OpenModel(workspace.c_str(), false);
  uint32_t const inclusion = model.Include(model, 0);

  KeyArray keys;
  key_path.ShowKeys(keys);
  SegmentKey const root(keys.at(0));
  options.SegmentFilter = [root](SegmentKey const& segment) { return segment != root; };
  std::optional<SceneConverter> converter(std::in_place, root, options, logger, model, inclusion);
  WalkScene(key_path, *converter, logger, true);
  // The converter writes the tree of parts when it finishes; a page that
  // carries the tree needs it in the model before the stream is made.
  if (options.BuildAssemblyTree) converter.reset();
  model.PrepareStream(1);
  model.GenerateStreamFile(nullptr);

  // The stream file lies beside the model, named after it.
  std::string const stream_path = workspace + "/" + model.Name() + ".qxs";
  if (EmbedStreamInTemplate(stream_path.c_str(), template_file_name, output_file_name, nullptr) !=
      kEmbedOk) {
    throw IOException("HTML Export Failed", 1);
  }
}

}  // namespace KZVI
