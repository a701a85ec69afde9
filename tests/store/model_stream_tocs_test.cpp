#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "store/ImageRecord.h"
#include "store/StreamToc.h"
#include "tests/store/DataFilesFixture.h"

namespace QX::Store {
namespace {

using testing::DataFilesTest;
using Bytes = std::vector<uint8_t>;

class ModelStreamTocsTest : public DataFilesTest {
 protected:
  ImageRecord& Image(ImageKey key) { return *impl().images.Find(key); }

  void AppendToFile(char const* name, Bytes const& bytes) {
    std::ofstream out(FilePath(name), std::ios::binary | std::ios::app);
    out.write(reinterpret_cast<char const*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  }

  bool SawPrefix(std::string const& prefix) const {
    for (auto const& line : logger.lines) {
      if (line.rfind(prefix, 0) == 0) return true;
    }
    return false;
  }

  std::string OpenFailure() {
    try {
      Reopen();
    } catch (Exception const& e) {
      return e.what();
    }
    return "opened";
  }
};

TEST_F(ModelStreamTocsTest, ImageTocsAreReadBackInFileOrder) {
  Bytes const pixels(12, 7);
  ImageKey const a = model.InsertImageRGB(2, 2, pixels.data());
  ImageKey const b = model.InsertImageRGBA(1, 3, pixels.data());
  std::vector<ImageTocEntry> const first = {{0, 100, kImageTocPreview, 1, 0}, {100, 200, kImageTocMain, 5, 0}};
  std::vector<ImageTocEntry> const second = {{0, 0, kImageTocStored, 4, 0}};

  Image(a).toc = first;
  impl().WriteImageToc(Image(a));
  // A record of an image this model doesn't have lies between two of `a`.
  ImageRecord stranger;
  stranger.key = 999;
  stranger.toc = {{5, 6, 7, 8, 0}};
  impl().WriteImageToc(stranger);
  Image(a).toc = second;
  impl().WriteImageToc(Image(a));
  Image(b).toc = {kNoImageData};
  impl().WriteImageToc(Image(b));

  Reopen();
  std::vector<ImageTocEntry> both = first;
  both.insert(both.end(), second.begin(), second.end());
  EXPECT_EQ(Image(a).toc, both);
  EXPECT_EQ(Image(b).toc, std::vector<ImageTocEntry>{kNoImageData});
  EXPECT_TRUE(SawPrefix("read 3 stream image tocs in "));
}

TEST_F(ModelStreamTocsTest, MeshTocsFillTocAndClasses) {
  MeshRecord mesh = *impl().FindMesh(0);
  mesh.toc = {{0, 64, 1}, {64, 32, 4}};
  mesh.classes = 5;
  impl().WriteMeshToc(mesh);
  MeshRecord unknown;
  unknown.key = 4242;
  unknown.toc = {{1, 2, 3}};
  impl().WriteMeshToc(unknown);
  EXPECT_EQ(FileSize("_stream_meshes_toc.qxd"), 48u + 32u);

  Reopen();
  MeshRecord const* read = impl().FindMesh(0);
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(read->toc, mesh.toc);
  EXPECT_EQ(read->classes, 5u);
  EXPECT_TRUE(SawPrefix("read 1 stream mesh tocs in "));
}

TEST_F(ModelStreamTocsTest, EmptyTocsLogACountOfZero) {
  model.InsertKeyedData(0, nullptr, 1);  // something to write a digest for
  Reopen();
  EXPECT_TRUE(SawPrefix("read 0 stream mesh tocs in "));
  EXPECT_TRUE(SawPrefix("read 0 stream image tocs in "));
}

TEST_F(ModelStreamTocsTest, DamagedTocsFailTheOpen) {
  model.InsertKeyedData(0, nullptr, 1);
  Close();
  AppendToFile("_stream_images_toc.qxd", {77, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0});
  std::string expected = "Unexpected code: " + FilePath("_stream_images_toc.qxd").string();
  EXPECT_EQ(OpenFailure(), expected);
  EXPECT_TRUE(logger.Saw(expected));

  std::filesystem::resize_file(FilePath("_stream_images_toc.qxd"), 0);
  Bytes record = EncodeMeshTocHead(0, 2, 1);
  record.resize(record.size() + 20);  // entries of 32 bytes announced, 20 there
  AppendToFile("_stream_meshes_toc.qxd", record);
  expected = "File corrupt: " + FilePath("_stream_meshes_toc.qxd").string();
  EXPECT_EQ(OpenFailure(), expected);
  EXPECT_TRUE(logger.Saw(expected));
}

// Everything of this part written in one open comes back after a reopen.
TEST_F(ModelStreamTocsTest, ImagesKeyedDataAndGroupsSurviveAReopen) {
  Bytes const pixels = {1, 2, 3, 4, 5, 6};
  Bytes const data = {9, 9, 8};
  ImageKey const image = model.InsertImageGray(3, 2, pixels.data());
  DataKey const key = model.InsertKeyedData(3, data.data(), 77);
  GroupKey const group = model.InsertGroup({{0, 1}, {0, 2}}, {{0, 5}});

  Reopen();
  ImagePixels out;
  ASSERT_TRUE(impl().ReadImage(Image(image), out));
  EXPECT_EQ(out.width, 3u);
  EXPECT_EQ(out.height, 2u);
  EXPECT_EQ(out.format, kImageGray);
  EXPECT_EQ(out.bytes, pixels);
  Bytes read;
  ASSERT_TRUE(impl().ReadKeyedData(key, read));
  EXPECT_EQ(read, data);
  EXPECT_EQ(impl().keyed_data.Find(key)->type, 77u);
  GroupEntry& entry = *impl().groups.Find(group);
  impl().LoadGroup(entry);
  EXPECT_EQ(entry.words, (std::vector<uint32_t>{8, 2, 0, 1, 0, 2, 1, 0, 5}));
}

}  // namespace
}  // namespace QX::Store
