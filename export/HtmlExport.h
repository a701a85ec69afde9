#pragma once
// The module's one public job: the scene below a key path, as one
// self-contained HTML page.
namespace QX::Store {
class Logger;
}

namespace KZV {

class KeyPath;
struct ConverterOptions;

class HTML {
 public:
  class File;

 private:
  HTML() = default;
};

class HTML::File {
 public:
  // Writes the page to `output_file_name` from the template at
  // `template_file_name` (both UTF-8). Throws KZV::IOException with result
  // code 2 when the template is missing and 1 when the page can't be made;
  // other exceptions pass through.
  static void Export(KeyPath const& key_path, char const* output_file_name,
                     char const* template_file_name);

 private:
  File() = default;
};

}  // namespace KZV

namespace KZVI {

// The export itself, for callers that want to see its progress: the walk's
// percent lines and the store's timing lines go to `logger`. `options` are
// the converter's; the segment filter is set to "every segment but the
// root". `Export` is this with a discarding logger and ForceNormals on.
void ExportPage(KZV::KeyPath const& key_path, char const* output_file_name,
                char const* template_file_name, QX::Store::Logger& logger,
                KZV::ConverterOptions options);

}  // namespace KZVI
