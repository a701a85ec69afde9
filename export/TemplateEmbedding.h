#pragma once
// Puts a finished stream file into an HTML template as base64 text, in place
// of the first "<!-- QX_MODEL_DATA -->" marker.
#include <cstdint>
#include <vector>

namespace QX::Store {
class FileSystem;
}

namespace KZVI {

// Result codes of EmbedStreamInTemplate.
enum EmbedResult : uint32_t {
  kEmbedOk = 0,
  kEmbedNoTemplate = 1,     // the template path does not exist
  kEmbedNoMarker = 2,       // the marker is not in the template
  kEmbedWriteFailed = 3,    // the output could not be opened or written in full
  kEmbedReadFailed = 4,     // the template or the stream could not be read
};

inline constexpr char kModelDataMarker[] = "<!-- QX_MODEL_DATA -->";

// Paths are UTF-8; a null file system selects the default one.
uint32_t EmbedStreamInTemplate(char const* stream_path, char const* template_path,
                               char const* output_path, QX::Store::FileSystem* file_system);

// Appends the base64 text of the file to `out`; 1 on success, 0 when the
// file cannot be opened for reading.
int EncodeFileAsBase64(QX::Store::FileSystem* file_system, char const* path,
                       std::vector<char>& out);

}  // namespace KZVI
