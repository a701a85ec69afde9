// The stand-alone stream file: the bytes that a viewer would receive, caught
// in a file by two passes of a fresh stream state, DIGEST then STREAM.
#include <string>

#include "files/File.h"
#include "files/FileSystem.h"
#include "store/CacheImpl.h"
#include "store/FileErrors.h"
#include "store/Model.h"
#include "store/ModelImpl.h"
#include "stream/ControlFlags.h"
#include "stream/StreamRequest.h"
#include "stream/StreamState.h"

namespace QX::Store {

namespace {

constexpr uint32_t kFileFlags = ControlFlag::StreamCulled | ControlFlag::StreamKeyedDataOnIdle |
                                ControlFlag::NoStreamLimit | ControlFlag::AggressiveCompression |
                                ControlFlag::StandAlone;
// The largest MiB count whose KiB fit in 32 bits: no mesh is ever ejected.
constexpr uint32_t kFileLimitMiB = 0x3FFFFF;

// Appends every chunk to the open file. A failing write goes unnoticed, so
// a full disk leaves a short file rather than a half-run stream.
class StreamFileSink final : public Streamer {
 public:
  explicit StreamFileSink(File* file) : file_(file) {
    chunk_size = 0x20000;
    status = 2;
  }
  bool Write(uint8_t* data, size_t size) override {
    file_->Write(data, size);
    return true;
  }

 private:
  File* file_;
};

// The path of the last generated file.
std::string& LastStreamFile() {
  static std::string path;
  return path;
}

// By default <name>.qxs in the model's directory; beside a bundle, which
// can't hold it, under the bundle's name.
std::filesystem::path OutputPath(ModelImpl const& model, char const* path) {
  if ((path == nullptr || *path == 0) && model.bundle)
    return std::filesystem::path(model.path).replace_extension(".qxs");
  if (path == nullptr || *path == 0) return model.path / (model.name + ".qxs");
  return std::filesystem::absolute(PathFromUtf8(path));
}

}  // namespace

char const* ModelImpl::GenerateStreamFile(char const* requested) {
  std::filesystem::path const target = OutputPath(*this, requested);
  std::unique_ptr<File> file = file_system->NewFile(target);
  file->OpenWrite(true, true);
  if (!file->IsOpen()) ThrowUnableToOpen(logger, target);

  StreamFileSink sink(file.get());
  StreamRequest request;
  {
    Model handle = cache->FindModel(id);
    StreamState state(handle, &kFileFlags);
    state.SetLimitMiB(kFileLimitMiB);
    state.SetMeshLevel(0);
    state.SetStreamCutoffScale(1.0f);
    request.kind = RequestKind::Digest;
    state.Stream(sink, request);
    request.kind = RequestKind::Stream;
    state.Stream(sink, request);
    LastStreamFile() = PathToUtf8(target);
    Log("Generated .qxs file: %s", LastStreamFile().c_str());
  }
  file->Close();
  return LastStreamFile().c_str();
}

char const* Model::GenerateStreamFile(char const* path) {
  return Impl().GenerateStreamFile(path);
}

}  // namespace QX::Store
