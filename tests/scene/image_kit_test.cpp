#include <gtest/gtest.h>

#include "export/value_types/Exceptions.h"
#include "scene/ImageKit.h"

using namespace KZV;

namespace {

ImageKit Kit(Image::Format format, ByteArray data) {
  ImageKit kit;
  kit.SetFormat(format).SetSize(2, 1).SetData(std::move(data));
  return kit;
}

ByteArray Data(ImageKit const& kit) {
  ByteArray out;
  EXPECT_TRUE(kit.ShowData(out));
  return out;
}

}  // namespace

TEST(ImageKitTest, RawFormatsConvertToRGBA) {
  ByteArray const rgba = {10, 20, 30, 40, 50, 60, 70, 80};
  EXPECT_EQ(Data(Kit(Image::Format::ARGB, {40, 10, 20, 30, 80, 50, 60, 70}).Convert(Image::Format::RGBA)), rgba);
  EXPECT_EQ(Data(Kit(Image::Format::BGRA, {30, 20, 10, 40, 70, 60, 50, 80}).Convert(Image::Format::RGBA)), rgba);
  EXPECT_EQ(Data(Kit(Image::Format::BGR, {30, 20, 10, 70, 60, 50}).Convert(Image::Format::RGBA)),
            (ByteArray{10, 20, 30, 255, 50, 60, 70, 255}));
  EXPECT_EQ(Data(Kit(Image::Format::GrayAlpha, {9, 1, 8, 2}).Convert(Image::Format::RGBA)),
            (ByteArray{9, 9, 9, 1, 8, 8, 8, 2}));
  ImageKit kit = Kit(Image::Format::Grayscale, {7, 200});
  kit.Convert(Image::Format::RGBA);
  Image::Format format{};
  EXPECT_TRUE(kit.ShowFormat(format));
  EXPECT_EQ(format, Image::Format::RGBA);
  EXPECT_EQ(Data(kit), (ByteArray{7, 7, 7, 255, 200, 200, 200, 255}));
}

TEST(ImageKitTest, RoundTripThroughEveryRawFormatWithAlpha) {
  ByteArray const rgba = {1, 2, 3, 4, 250, 251, 252, 253};
  for (Image::Format f : {Image::Format::RGBA, Image::Format::ARGB, Image::Format::BGRA})
    EXPECT_EQ(Data(Kit(Image::Format::RGBA, rgba).Convert(f).Convert(Image::Format::RGBA)), rgba);
}

TEST(ImageKitTest, FileImagesAndShortDataAreRefused) {
  EXPECT_THROW(Kit(Image::Format::Png, {1, 2, 3}).Convert(Image::Format::RGBA), InvalidOperationException);
  EXPECT_THROW(Kit(Image::Format::RGB, {1, 2, 3}).Convert(Image::Format::RGBA), InvalidOperationException);
  EXPECT_THROW(ImageKit().Convert(Image::Format::RGBA), InvalidOperationException);
  EXPECT_TRUE(ImageKit().Empty());
}
