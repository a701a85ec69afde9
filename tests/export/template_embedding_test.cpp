// A stream embedded as base64 into a page template in place of its marker.
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
  uint32_t Embed(std::string const& page_template, std::string const& output) {
    return EmbedStreamInTemplate(stream_.c_str(), page_template.c_str(), output.c_str(), nullptr);
  }
  uint32_t Embed() { return Embed(template_, output_); }

  qx_test::TempDir dir_;
  std::string stream_ = (dir_ / "model.qxs").string();
  std::string template_ = (dir_ / "template.html").string();
  std::string output_ = (dir_ / "page.html").string();
};

// Only the first marker goes, and a longer page already there is replaced whole.
TEST_F(Embedding, ReplacesTheFirstMarkerOnly) {
  WriteText(output_, std::string(10000, 'z'));
  WriteText(stream_, "foobar");
  WriteText(template_, "<p>a</p><!-- QX_MODEL_DATA --><i><!-- QX_MODEL_DATA -->");
  EXPECT_EQ(Embed(), kEmbedOk);
  EXPECT_EQ(ReadText(output_), "<p>a</p>Zm9vYmFy<i><!-- QX_MODEL_DATA -->");
}

// Lengths around the encoder's blocks of 4096 bytes, which leave one or two
// bytes over for the next block.
TEST_F(Embedding, StreamsAcrossBlockBoundariesRoundTrip) {
  WriteText(template_, "head <!-- QX_MODEL_DATA --> tail");
  for (size_t length : {0u, 1u, 2u, 3u, 4095u, 4096u, 4097u, 8191u, 8192u, 8193u, 12289u}) {
    std::mt19937 random(static_cast<unsigned>(length));
    std::string data(length, '\0');
    for (char& c : data) c = static_cast<char>(random());
    WriteText(stream_, data);
    ASSERT_EQ(Embed(), kEmbedOk) << length;
    std::string const page = ReadText(output_);
    ASSERT_TRUE(page.starts_with("head ") && page.ends_with(" tail")) << length;
    std::string const text = page.substr(5, page.size() - 10);
    auto const decoded = qx_test::DecodeBase64(text);
    ASSERT_TRUE(decoded.has_value()) << length;
    EXPECT_EQ(std::string(decoded->begin(), decoded->end()), data) << length;
    size_t const padding = text.size() - std::min(text.size(), text.find('='));
    EXPECT_EQ(padding, (3 - length % 3) % 3) << length;
  }
}

TEST_F(Embedding, ResultCodes) {
  // A missing template or one without the exact marker is refused before the
  // stream is read, and no page is written.
  EXPECT_EQ(Embed(), kEmbedNoTemplate);
  for (char const* text : {"", "<!-- QX -->", "<html><!-- qx_model_data --></html>",
                           "<html><!--  QX_MODEL_DATA --></html>"}) {
    WriteText(template_, text);
    EXPECT_EQ(Embed(), kEmbedNoMarker) << text;
  }
  EXPECT_FALSE(std::filesystem::exists(output_));

  WriteText(template_, "<!-- QX_MODEL_DATA -->");
  EXPECT_EQ(Embed(), kEmbedReadFailed) << "no stream";
  WriteText(stream_, "x");
  std::filesystem::create_directory(dir_ / "dir.html");
  EXPECT_EQ(Embed((dir_ / "dir.html").string(), output_), kEmbedReadFailed) << "a template that is a directory";
  EXPECT_EQ(Embed(template_, (dir_ / "no/such/dir.html").string()), kEmbedWriteFailed);
  std::unique_ptr<QX::Store::File> holder = QX::Store::DefaultFiles().NewFile(output_);
  holder->OpenWrite(true, false);
  EXPECT_EQ(Embed(), kEmbedWriteFailed) << "a page held by another writer";
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
