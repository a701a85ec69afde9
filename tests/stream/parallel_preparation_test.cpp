// Stream preparation on several threads writes the bytes that one thread
// writes: the mesh records and their compression, the image blocks, every
// table of contents, and so the whole model directory and the stream file.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "geometry/image/ImageCodec.h"
#include "store/Model.h"
#include "store/ModelImpl.h"
#include "tests/geometry/mesh/TestMesh.h"
#include "tests/store/StoreFixture.h"

namespace {

using namespace QX::Store;
using qx_store_test::StoreTest;
using Bytes = std::vector<uint8_t>;

// Smooth pixels with some noise, so that scaling, PNG filters and the
// compressor all have something to do.
Bytes Pixels(uint32_t width, uint32_t height, uint32_t channels, uint32_t seed) {
  Bytes pixels(size_t{width} * height * channels);
  uint32_t state = seed * 2654435761u + 1;
  for (uint32_t y = 0; y < height; ++y) {
    for (uint32_t x = 0; x < width; ++x) {
      for (uint32_t c = 0; c < channels; ++c) {
        state = state * 1664525u + 1013904223u;
        uint32_t const smooth = (x * (c + 1) + y * (seed % 7 + 1)) & 0xff;
        bool const alpha = c == 3;
        pixels[(size_t{y} * width + x) * channels + c] =
            alpha && seed % 2 ? 255 : uint8_t(smooth + (state >> 29));
      }
    }
  }
  return pixels;
}

Bytes Png(uint32_t width, uint32_t height, uint32_t channels, uint32_t seed) {
  Bytes png;
  EXPECT_TRUE(EncodePng(Pixels(width, height, channels, seed).data(), width, height, channels, png));
  return png;
}

void InsertImages(Model& model) {
  struct Raw {
    uint32_t width, height, channels;
  };
  // Opaque and translucent RGBA, RGB and gray; small ones sent as pixels
  // (one large enough to be compressed), ones with previews, ones scaled.
  Raw const raws[] = {{40, 40, 4},  {64, 700, 4}, {300, 200, 4}, {301, 200, 4}, {120, 90, 3},
                      {2100, 90, 3}, {90, 2300, 1}, {500, 70, 1},  {70, 500, 4},  {256, 256, 3},
                      {50, 800, 3},  {30, 1500, 1}, {900, 60, 4}};
  uint32_t seed = 1;
  for (Raw const& raw : raws) {
    Bytes const pixels = Pixels(raw.width, raw.height, raw.channels, seed++);
    if (raw.channels == 4) model.InsertImageRGBA(raw.width, raw.height, pixels.data());
    if (raw.channels == 3) model.InsertImageRGB(raw.width, raw.height, pixels.data());
    if (raw.channels == 1) model.InsertImageGray(raw.width, raw.height, pixels.data());
  }
  // File images: kept as stored, always converted, scaled, small.
  struct File {
    uint32_t width, height, channels;
    ImageFormat format;
  };
  File const files[] = {{300, 200, 3, ImageFormat(0)}, {200, 150, 4, ImageFormat(2)},
                        {2200, 100, 3, ImageFormat(0)}, {40, 30, 2, ImageFormat(1)},
                        {180, 180, 4, ImageFormat(1)},  {100, 2500, 1, ImageFormat(2)}};
  for (File const& file : files) {
    Bytes const png = Png(file.width, file.height, file.channels, seed++);
    model.InsertEncodedImage(uint32_t(png.size()), png.data(), file.format);
  }
  // A duplicate, which has no stream form of its own.
  Bytes const again = Pixels(120, 90, 3, 5);
  model.InsertImageRGB(120, 90, again.data());
}

void InsertMeshes(Model& model) {
  std::vector<uint32_t> sides{2, 5, 17, 40, 64, 91, 120, 181, 300};
  for (uint32_t n = 20; n < 60; n += 3) sides.push_back(n);
  for (uint32_t n : sides) {
    qx_test::TestMesh grid = qx_test::GridMesh(n, float(n), 0, 0);
    MeshKey const mesh = model.InsertMesh(grid.Data());
    double const matrix[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, double(n), 0, 0};
    model.InsertInstance(mesh, model.InsertMatrix(matrix), 0, 0, 0, 0, 0, 0, 7, 0, 0, {});
  }
}

using Files = std::map<std::string, Bytes>;

class ParallelPreparation : public StoreTest {
 protected:
  // Meshes of many sizes (indexed records, some compressed, one expanded
  // into chunks) and images of every kind, prepared on `threads` threads
  // and streamed into a file. Returns every file of the model directory
  // and the stream file.
  Files Prepare(unsigned threads) {
    std::string const run = "t" + std::to_string(threads);
    std::filesystem::create_directories(dir.Path() / run);
    {
      Model model = Open(run + "/model");
      InsertImages(model);
      InsertMeshes(model);
      model.Impl().prepare_threads = threads;
      model.Impl().cluster_seed = [](uint32_t thread, uint64_t task) {
        return uint32_t(thread * 7919 + task * 104729 + 1);
      };
      model.PrepareStream(1);
      model.GenerateStreamFile(PathOf(run + "/model.qxs").c_str());
    }
    Files files;
    for (auto const& entry : std::filesystem::recursive_directory_iterator(dir.Path() / run)) {
      if (!entry.is_regular_file()) continue;
      std::string const name = entry.path().lexically_relative(dir.Path() / run).string();
      files[name] = FileBytes(run, name.c_str());
    }
    return files;
  }
};

TEST_F(ParallelPreparation, AnyNumberOfThreadsWritesTheSameFiles) {
  Files const one = Prepare(1);
  ASSERT_GT(one.at("model/" + std::string(kStreamMeshesName)).size(), 1000000u);
  ASSERT_GT(one.at("model/" + std::string(kStreamImagesName)).size(), 100000u);
  ASSERT_TRUE(one.contains("model.qxs"));
  for (unsigned threads : {2u, 8u}) {
    Files const many = Prepare(threads);
    ASSERT_EQ(many.size(), one.size()) << threads << " threads";
    for (auto const& [name, bytes] : one) {
      auto const found = many.find(name);
      ASSERT_NE(found, many.end()) << name;
      EXPECT_TRUE(found->second == bytes) << name << " differs on " << threads << " threads";
    }
  }
}

}  // namespace
