#include "geometry/image/ModelStreamImages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "TestImages.h"
#include "files/FileSystem.h"
#include "store/Logger.h"
#include "tests/support/TempDir.h"

namespace QX::Store {
namespace {

using test::Bytes;

class KeptLines final : public Logger {
 public:
  void Message(char const* text) override { lines.emplace_back(text); }
  std::vector<std::string> lines;
};

// A model on disk with a JPEG, a PNG, a raw image and a duplicate: prepared,
// closed and opened again, it keeps every image's stream form.
TEST(ModelStreamImages, PreparedImagesSurviveAReopen) {
  qx_test::TempDir const temp;
  std::filesystem::path const dir = temp.Path() / "model";
  Bytes const jpeg = test::SampleTexture("spider_obj/drkwood2.jpg");
  if (jpeg.empty()) GTEST_SKIP() << "sample textures not present";
  Bytes const png = test::MakePng(test::Pattern(300, 200, 4), 300, 200);
  Bytes const gray = test::Pattern(10, 10, 1);

  KeptLines log;
  std::vector<std::pair<ImageKey, std::vector<ImageTocEntry>>> prepared;
  {
    ModelImpl model(nullptr, &log, &DefaultFiles());
    model.Open(dir, false, true, true, false);
    model.InsertEncodedImage(uint32_t(jpeg.size()), jpeg.data(), 1);
    model.InsertEncodedImage(uint32_t(png.size()), png.data(), 2);
    model.InsertImageGray(10, 10, gray.data());
    model.InsertImageGray(10, 10, gray.data());
    StreamImageScratch scratch;
    ModelStreamImages images(model);
    OptimizeStreamImages(model.images, scratch, 1, images, std::chrono::steady_clock::now(), 1);
    for (auto const& entry : model.images) {
      if (entry.value.duplicate_of != 0) continue;
      ASSERT_FALSE(entry.value.toc.empty()) << entry.key;
      EXPECT_NE(entry.value.toc[0], kNoImageData) << entry.key;
      prepared.emplace_back(entry.key, entry.value.toc);
    }
  }
  EXPECT_EQ(prepared.size(), 3u);
  EXPECT_TRUE(std::any_of(log.lines.begin(), log.lines.end(), [](std::string const& line) {
    return line.starts_with("Optimized 4 stream images in ");
  }));

  ModelImpl reopened(nullptr, &log, &DefaultFiles());
  reopened.Open(dir, true, true, false, false);
  for (auto const& [key, toc] : prepared) {
    ImageRecord const* image = reopened.images.Find(key);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->toc, toc) << key;
  }
}

}  // namespace
}  // namespace QX::Store
