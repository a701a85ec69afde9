// The stream tocs of a model's images and meshes: written record by record,
// read back in file order at open, and damaged files that fail the open.
#include <fstream>

#include "store/ImageRecord.h"
#include "store/StreamToc.h"
#include "tests/store/StoreFixture.h"

namespace qx_store_test {
namespace {

using Bytes = std::vector<uint8_t>;

class ModelStreamTocsTest : public ModelTest {
 protected:
  ImageRecord& Image(ImageKey key) { return *impl().images.Find(key); }

  void AppendToFile(char const* name, Bytes const& bytes) {
    std::ofstream out(FilePath(name), std::ios::binary | std::ios::app);
    out.write(reinterpret_cast<char const*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  }
  std::string OpenFailure() {
    return ThrownText([&] { Reopen(); });
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
  EXPECT_TRUE(log.Count("read 3 stream image tocs in ") > 0);
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
  EXPECT_EQ(FileSize(kStreamMeshesTocName), 48u + 32u);

  Reopen();
  MeshRecord const* read = impl().FindMesh(0);
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(read->toc, mesh.toc);
  EXPECT_EQ(read->classes, 5u);
  EXPECT_TRUE(log.Count("read 1 stream mesh tocs in ") > 0);
}

TEST_F(ModelStreamTocsTest, EmptyTocsLogACountOfZero) {
  model.InsertKeyedData(0, nullptr, 1);  // something to write a digest for
  Reopen();
  EXPECT_TRUE(log.Count("read 0 stream mesh tocs in ") > 0);
  EXPECT_TRUE(log.Count("read 0 stream image tocs in ") > 0);
}

TEST_F(ModelStreamTocsTest, DamagedTocsFailTheOpen) {
  model.InsertKeyedData(0, nullptr, 1);
  model = Model();
  AppendToFile("_stream_images_toc.qxd", {77, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0});
  std::string expected = "Unexpected code: " + FilePath("_stream_images_toc.qxd").string();
  EXPECT_EQ(OpenFailure(), expected);
  EXPECT_TRUE(log.Saw(expected));

  std::filesystem::resize_file(FilePath("_stream_images_toc.qxd"), 0);
  Bytes record = EncodeMeshTocHead(0, 2, 1);
  record.resize(record.size() + 20);  // entries of 32 bytes announced, 20 there
  AppendToFile("_stream_meshes_toc.qxd", record);
  expected = "File corrupt: " + FilePath("_stream_meshes_toc.qxd").string();
  EXPECT_EQ(OpenFailure(), expected);
  EXPECT_TRUE(log.Saw(expected));
}

}  // namespace
}  // namespace qx_store_test
