// Conditions, images, matrices and the small helpers beneath the scene.
#include <gtest/gtest.h>

#include <filesystem>

#include "export/value_types/Exceptions.h"
#include "scene/ConditionalExpression.h"
#include "scene/Helpers.h"
#include "scene/ImageKit.h"
#include "scene/MatrixKit.h"
#include "scene/UTF8.h"

using namespace KZV;

namespace {

void ExpectNear(Point const& p, Point const& q) {
  EXPECT_NEAR(p.x, q.x, 1e-5);
  EXPECT_NEAR(p.y, q.y, 1e-5);
  EXPECT_NEAR(p.z, q.z, 1e-5);
}

ByteArray Converted(Image::Format from, ByteArray data, Image::Format to) {
  ImageKit kit;
  kit.SetFormat(from).SetSize(2, 1).SetData(std::move(data)).Convert(to);
  Image::Format format{};
  EXPECT_TRUE(kit.ShowFormat(format) && format == to);
  ByteArray out;
  EXPECT_TRUE(kit.ShowData(out));
  return out;
}

}  // namespace

TEST(ConditionalExpressionTest, SatisfiedByTheseConditions) {
  struct Case {
    char const* expression;
    UTF8Array conditions;
    bool satisfied;
  };
  Case const cases[] = {
      {"a | b & !c", {"a", "c"}, true},  // & binds tighter than |
      {"a | b & !c", {"b"}, true},         {"a | b & !c", {"b", "c"}, false},
      {"a | b & !c", {}, false},           {"(a | b) & !c", {"a", "c"}, false},
      {"(a | b) & !c", {"a"}, true},       {"!!x", {"x"}, true},
      {"level.2-top", {"level.2-top"}, true}, {"level.2-top", {"level.2"}, false},
      {"level.2-top", {"LEVEL.2-TOP"}, false}, {"  ", {}, true},
  };
  for (Case const& c : cases)
    EXPECT_EQ(c.satisfied, ConditionalExpression(c.expression).IsSatisfiedBy(c.conditions)) << c.expression;
  EXPECT_TRUE(ConditionalExpression().IsSatisfiedBy({}));
  for (char const* bad : {"a &", "(a", "a)", "& a", "a b", "!"})
    EXPECT_THROW(ConditionalExpression{bad}, InvalidSpecificationException) << bad;
}

// Two pixels in each raw format and as RGBA; every row converts both ways.
TEST(ImageKitTest, RawFormatsConvertToRGBAAndBack) {
  struct Case {
    Image::Format format;
    ByteArray data, rgba;
  };
  ByteArray const both = {10, 20, 30, 40, 50, 60, 70, 80};
  Case const cases[] = {
      {Image::Format::RGBA, both, both},
      {Image::Format::ARGB, {40, 10, 20, 30, 80, 50, 60, 70}, both},
      {Image::Format::BGRA, {30, 20, 10, 40, 70, 60, 50, 80}, both},
      {Image::Format::RGB, {10, 20, 30, 50, 60, 70}, {10, 20, 30, 255, 50, 60, 70, 255}},
      {Image::Format::BGR, {30, 20, 10, 70, 60, 50}, {10, 20, 30, 255, 50, 60, 70, 255}},
      {Image::Format::GrayAlpha, {9, 1, 8, 2}, {9, 9, 9, 1, 8, 8, 8, 2}},
      {Image::Format::Grayscale, {7, 200}, {7, 7, 7, 255, 200, 200, 200, 255}},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(int(c.format));
    EXPECT_EQ(Converted(c.format, c.data, Image::Format::RGBA), c.rgba);
    EXPECT_EQ(Converted(Image::Format::RGBA, c.rgba, c.format), c.data);
  }
  // Grey weighs green most and blue least.
  EXPECT_EQ(Converted(Image::Format::RGBA, {10, 20, 30, 40, 255, 255, 255, 0}, Image::Format::GrayAlpha),
            (ByteArray{18, 40, 255, 0}));
}

TEST(ImageKitTest, FileImagesAndShortDataAreRefused) {
  EXPECT_THROW(Converted(Image::Format::Png, {1, 2, 3}, Image::Format::RGBA), InvalidOperationException);
  EXPECT_THROW(Converted(Image::Format::RGB, {1, 2, 3}, Image::Format::RGBA), InvalidOperationException);
  EXPECT_THROW(ImageKit().Convert(Image::Format::RGBA), InvalidOperationException);
  EXPECT_TRUE(ImageKit().Empty());
}

TEST(MatrixKitTest, EmptyKitIsTheIdentity) {
  MatrixKit kit;
  EXPECT_TRUE(kit.Empty());
  FloatArray e;
  ASSERT_TRUE(kit.ShowElements(e));
  EXPECT_EQ(e, (FloatArray{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}));
  EXPECT_EQ(kit.Transform(Point(1, 2, 3)), Point(1, 2, 3));
  EXPECT_FALSE(MatrixKit::GetDefault().Empty());
  EXPECT_NE(kit, MatrixKit().Translate(1, 0, 0));
  EXPECT_EQ(kit, MatrixKit());
  EXPECT_EQ(MatrixKit().Scale(2, 2, 2).Translate(1, 0, 0), MatrixKit().Scale(2, 2, 2) * MatrixKit().Translate(1, 0, 0));
  EXPECT_THROW(kit.SetElements({1, 2, 3}), InvalidSpecificationException);
}

TEST(MatrixKitTest, InverseUndoesTheTransform) {
  MatrixKit const m = MatrixKit().Rotate(10, 20, 30).Scale(2, 3, 4).Translate(5, 6, 7);
  MatrixKit inverse;
  ASSERT_TRUE(m.ShowInverse(inverse));
  ExpectNear((m * inverse).Transform(Point(1, 2, 3)), Point(1, 2, 3));
  EXPECT_NEAR(m.ShowDeterminant(), 24, 1e-3);
  EXPECT_FALSE(MatrixKit().Scale(0, 1, 1).ShowInverse(inverse));
}

TEST(HelpersTest, WideStringsTemporaryDirectoriesAndWarnings) {
  using namespace KZVI;
  char const* text = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";  // a, e acute, euro, an emoji
  std::vector<wchar_t> const wide = String::UTF8_To_WCharArray(text);
  ASSERT_EQ(wide.size(), 5u);
  EXPECT_EQ(UTF8(wide.data()), text);
  EXPECT_TRUE(String::UTF8_To_WCharArray(nullptr).empty());
  EXPECT_EQ(String::UTF8_To_WCharArray(""), std::vector<wchar_t>{L'\0'});
  std::vector<wchar_t> const first = Helpers::File::generateTemporaryDirectory();
  std::vector<wchar_t> const second = Helpers::File::generateTemporaryDirectory();
  EXPECT_NE(first, second);
  std::filesystem::path const path(UTF8(first.data()).str());
  EXPECT_TRUE(Helpers::File::checkExistence(first.data()) && std::filesystem::is_empty(path));
  std::filesystem::remove(path);
  std::filesystem::remove(UTF8(second.data()).str());
  EXPECT_FALSE(Helpers::File::checkExistence(first.data()));
  EXPECT_FALSE(Helpers::File::checkExistence(nullptr));
  DBI::TakeWarnings();
  DBI::Warning("first", Info::Code::Warning);
  DBI::Warning("second", Info::Code::Warning);
  auto const warnings = DBI::TakeWarnings();
  ASSERT_EQ(warnings.size(), 2u);
  EXPECT_EQ(warnings[0].text + warnings[1].text, "firstsecond");
  EXPECT_TRUE(DBI::TakeWarnings().empty());
}
