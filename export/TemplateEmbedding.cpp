#include "export/TemplateEmbedding.h"

#include <cstring>
#include <string>
#include <string_view>

#include "export/Base64.h"
#include "files/File.h"
#include "files/FileSystem.h"

namespace KZVI {
namespace {

using QX::Store::File;
using QX::Store::FileState;
using QX::Store::FileSystem;

constexpr size_t kInputBlock = 4096;
constexpr size_t kOutputBlock = 8192;
static_assert(Base64BlockBound(kInputBlock) <= kOutputBlock);

std::string_view Text(char const* text) { return text ? std::string_view(text) : std::string_view(); }

// Reads the whole template; false if it can't be opened or read in full.
bool ReadTemplate(FileSystem& files, char const* path, std::string& out) {
  std::unique_ptr<File> file = files.NewFile(QX::Store::PathFromUtf8(Text(path)));
  file->OpenRead(false);
  if (file->State() != FileState::OpenForReading) return false;
  int64_t const size = file->Size();
  if (size < 0) return false;
  out.resize(static_cast<size_t>(size));
  return file->Read(out.data(), out.size()) == out.size();
}

// Position of the first marker, or npos.
size_t FindMarker(std::string const& page) {
  std::string_view const marker(kModelDataMarker);
  if (page.size() < marker.size()) return std::string::npos;
  return page.find(marker);
}

}  // namespace

int EncodeFileAsBase64(FileSystem* file_system, char const* path, std::vector<char>& out) {
  FileSystem& files = file_system ? *file_system : QX::Store::DefaultFiles();
  std::unique_ptr<File> file = files.NewFile(QX::Store::PathFromUtf8(Text(path)));
  file->OpenRead(false);
  if (file->State() != FileState::OpenForReading) return 0;
  // The size is known up front, so the text is allocated once.
  if (int64_t const size = file->Size(); size > 0)
    out.reserve(out.size() + Base64BlockBound(static_cast<size_t>(size)));
  uint8_t input[kInputBlock] = {};
  char output[kOutputBlock] = {};
  Base64State state;
  for (uint64_t got = file->Read(input, kInputBlock); got != 0; got = file->Read(input, kInputBlock)) {
    size_t const produced = Base64EncodeBlock(input, got, output, state);
    out.insert(out.end(), output, output + produced);
  }
  size_t const tail = Base64EncodeEnd(output, state);
  out.insert(out.end(), output, output + tail);
  return 1;
}

uint32_t EmbedStreamInTemplate(char const* stream_path, char const* template_path,
                               char const* output_path, FileSystem* file_system) {
  FileSystem& files = file_system ? *file_system : QX::Store::DefaultFiles();
  if (!files.Exists(QX::Store::PathFromUtf8(Text(template_path)))) return kEmbedNoTemplate;

  std::string page;
  if (!ReadTemplate(files, template_path, page)) return kEmbedReadFailed;
  size_t const marker = FindMarker(page);
  if (marker == std::string::npos) return kEmbedNoMarker;

  std::vector<char> encoded;
  if (EncodeFileAsBase64(&files, stream_path, encoded) == 0) return kEmbedReadFailed;
  // Replace from the vector directly: the page and the text are the only
  // large buffers alive at once.
  page.replace(marker, std::strlen(kModelDataMarker), encoded.data(), encoded.size());
  std::vector<char>().swap(encoded);

  std::unique_ptr<File> output = files.NewFile(QX::Store::PathFromUtf8(Text(output_path)));
  output->OpenWrite(true, true);
  if (output->State() != FileState::OpenForWriting) return kEmbedWriteFailed;
  if (output->Write(page.data(), page.size()) != page.size()) return kEmbedWriteFailed;
  return kEmbedOk;
}

}  // namespace KZVI
