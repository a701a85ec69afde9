#include "export/TemplateEmbedding.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "files/File.h"
#include "files/FileSystem.h"
#include "tests/export/Base64Reference.h"
#include "tests/support/TempDir.h"

using namespace KZVI;
using qx_test::ReadText;
using qx_test::WriteText;

namespace {

class Embedding : public ::testing::Test {
 protected:
  uint32_t Embed() {
    return EmbedStreamInTemplate(stream_.c_str(), template_.c_str(), output_.c_str(), nullptr);
  }

  qx_test::TempDir dir_;
  std::string stream_ = (dir_ / "model.qxs").string();
  std::string template_ = (dir_ / "template.html").string();
  std::string output_ = (dir_ / "page.html").string();
};

std::string RandomBytes(size_t n, unsigned seed) {
  std::mt19937 random(seed);
  std::string bytes(n, '\0');
  for (char& c : bytes) c = static_cast<char>(random());
  return bytes;
}

TEST_F(Embedding, ReplacesTheFirstMarkerOnly) {
  WriteText(stream_, "foobar");
  WriteText(template_, "<p>a</p><!-- QX_MODEL_DATA --><i><!-- QX_MODEL_DATA -->");
  EXPECT_EQ(Embed(), kEmbedOk);
  EXPECT_EQ(ReadText(output_), "<p>a</p>Zm9vYmFy<i><!-- QX_MODEL_DATA -->");
}

TEST_F(Embedding, StreamsAcrossBlockBoundariesRoundTrip) {
  WriteText(template_, "head <!-- QX_MODEL_DATA --> tail");
  for (size_t length : {0u, 1u, 2u, 3u, 4095u, 4096u, 4097u, 8191u, 8192u, 8193u, 12289u}) {
    std::string const data = RandomBytes(length, static_cast<unsigned>(length));
    WriteText(stream_, data);
    ASSERT_EQ(Embed(), kEmbedOk) << length;
    std::string const page = ReadText(output_);
    ASSERT_EQ(page.substr(0, 5), "head ");
    ASSERT_EQ(page.substr(page.size() - 5), " tail");
    std::string const text = page.substr(5, page.size() - 10);
    auto const decoded = qx_test::DecodeBase64(text);
    ASSERT_TRUE(decoded.has_value()) << length;
    EXPECT_EQ(std::string(decoded->begin(), decoded->end()), data) << length;
    size_t const padding = text.size() - std::min(text.size(), text.find('='));
    EXPECT_EQ(padding, (3 - length % 3) % 3) << length;
  }
}

TEST_F(Embedding, ResultCodes) {
  // Missing template: 1, and the stream isn't needed to say so.
  EXPECT_EQ(Embed(), kEmbedNoTemplate);

  // No marker: 2, also for an empty template, a short one, and a marker that
  // differs in case or spacing; still without reading the stream.
  for (char const* text : {"", "<!-- QX -->", "<html><!-- qx_model_data --></html>",
                           "<html><!--  QX_MODEL_DATA --></html>"}) {
    WriteText(template_, text);
    EXPECT_EQ(Embed(), kEmbedNoMarker) << text;
  }
  EXPECT_FALSE(std::filesystem::exists(output_));

  // Stream missing: 4.
  WriteText(template_, "<!-- QX_MODEL_DATA -->");
  EXPECT_EQ(Embed(), kEmbedReadFailed);

  // Template unreadable (a directory): 4.
  std::filesystem::create_directory(dir_ / "dir.html");
  WriteText(stream_, "x");
  EXPECT_EQ(EmbedStreamInTemplate(stream_.c_str(), (dir_ / "dir.html").c_str(), output_.c_str(),
                                  nullptr),
            kEmbedReadFailed);

  // Output can't be opened: 3.
  EXPECT_EQ(EmbedStreamInTemplate(stream_.c_str(), template_.c_str(),
                                  (dir_ / "no/such/dir.html").c_str(), nullptr),
            kEmbedWriteFailed);
}

TEST_F(Embedding, OutputHeldByAnotherWriterFails) {
  WriteText(template_, "<!-- QX_MODEL_DATA -->");
  WriteText(stream_, "abc");
  std::unique_ptr<QX::Store::File> holder = QX::Store::DefaultFiles().NewFile(output_);
  holder->OpenWrite(true, false);
  EXPECT_EQ(Embed(), kEmbedWriteFailed);
}

TEST_F(Embedding, ReplacesALongerExistingOutput) {
  WriteText(output_, std::string(10000, 'z'));
  WriteText(template_, "[<!-- QX_MODEL_DATA -->]");
  WriteText(stream_, "");
  EXPECT_EQ(Embed(), kEmbedOk);
  EXPECT_EQ(ReadText(output_), "[]");
}

TEST(EncodeFile, AppendsAndReportsMissingFiles) {
  qx_test::TempDir dir;
  WriteText(dir / "s", "foob");
  std::vector<char> out = {'>'};
  EXPECT_EQ(EncodeFileAsBase64(nullptr, (dir / "s").c_str(), out), 1);
  EXPECT_EQ(std::string(out.begin(), out.end()), ">Zm9vYg==");
  EXPECT_EQ(EncodeFileAsBase64(nullptr, (dir / "t").c_str(), out), 0);
}

}  // namespace
