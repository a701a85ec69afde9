#include <gtest/gtest.h>

#include <filesystem>

#include "scene/Helpers.h"
#include "scene/UTF8.h"

using namespace KZVI;

TEST(HelpersTest, WideStringsRoundTrip) {
  char const* text = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";  // a, e acute, euro, an emoji
  std::vector<wchar_t> wide = String::UTF8_To_WCharArray(text);
  ASSERT_FALSE(wide.empty());
  EXPECT_EQ(wide.back(), L'\0');
  EXPECT_EQ(KZV::UTF8(wide.data()), text);
  EXPECT_TRUE(String::UTF8_To_WCharArray(nullptr).empty());
  EXPECT_EQ(String::UTF8_To_WCharArray(""), std::vector<wchar_t>{L'\0'});
}

TEST(HelpersTest, TemporaryDirectoriesAreNewAndEmpty) {
  std::vector<wchar_t> first = Helpers::File::generateTemporaryDirectory();
  std::vector<wchar_t> second = Helpers::File::generateTemporaryDirectory();
  ASSERT_EQ(first.back(), L'\0');
  EXPECT_NE(first, second);
  EXPECT_TRUE(Helpers::File::checkExistence(first.data()));
  std::filesystem::path const path(KZV::UTF8(first.data()).str());
  EXPECT_TRUE(std::filesystem::is_empty(path));
  std::filesystem::remove(path);
  std::filesystem::remove(KZV::UTF8(second.data()).str());
  EXPECT_FALSE(Helpers::File::checkExistence(first.data()));
  EXPECT_FALSE(Helpers::File::checkExistence(nullptr));
}

TEST(HelpersTest, WarningsAreCollectedInOrder) {
  DBI::TakeWarnings();
  DBI::Warning("first", KZV::Info::Code::Warning);
  DBI::Warning("second", KZV::Info::Code::Warning);
  auto const warnings = DBI::TakeWarnings();
  ASSERT_EQ(warnings.size(), 2u);
  EXPECT_EQ(warnings[0].text, "first");
  EXPECT_EQ(warnings[1].text, "second");
  EXPECT_TRUE(DBI::TakeWarnings().empty());
}
