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

// Opaque and translucent RGBA, RGB and gray; small ones sent as pixels
// (one large enough to be compressed), ones with previews, ones scaled.
// File images (PNG) kept as stored, always converted, scaled, small. And a
// duplicate, which has no stream form of its own.
void InsertImages(Model& model) {
  int const raw = -1;
  struct Image {
    uint32_t width, height, channels;
    int format;
  } const images[] = {{40, 40, 4, raw},   {64, 700, 4, raw},  {300, 200, 4, raw},  {301, 200, 4, raw},
                      {120, 90, 3, raw},  {2100, 90, 3, raw}, {90, 2300, 1, raw},  {500, 70, 1, raw},
                      {70, 500, 4, raw},  {256, 256, 3, raw}, {50, 800, 3, raw},   {30, 1500, 1, raw},
                      {900, 60, 4, raw},  {300, 200, 3, 0},   {200, 150, 4, 2},    {2200, 100, 3, 0},
                      {40, 30, 2, 1},     {180, 180, 4, 1},   {100, 2500, 1, 2}};
  uint32_t seed = 1;
  for (Image const& image : images) {
    uint32_t const w = image.width, h = image.height;
    Bytes const pixels = Pixels(w, h, image.channels, seed++);
    if (image.format != raw) {
      Bytes png;
      EXPECT_TRUE(EncodePng(pixels.data(), w, h, image.channels, png));
      model.InsertEncodedImage(uint32_t(png.size()), png.data(), ImageFormat(image.format));
    } else if (image.channels == 4) {
      model.InsertImageRGBA(w, h, pixels.data());
    } else if (image.channels == 3) {
      model.InsertImageRGB(w, h, pixels.data());
    } else {
      model.InsertImageGray(w, h, pixels.data());
    }
  }
  Bytes const again = Pixels(120, 90, 3, 5);  // the fifth image again
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
