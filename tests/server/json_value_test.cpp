// The strict JSON reader: what it takes, and what it refuses with which
// message.
#include <gtest/gtest.h>

#include "server/JsonValue.h"

namespace {

using QX::Server::JsonError;
using QX::Server::JsonLimits;
using QX::Server::JsonValue;
using QX::Server::ParseJson;

std::string ErrorOf(std::string_view text, JsonLimits const& limits = {}) {
  try {
    ParseJson(text, limits);
  } catch (JsonError const& error) {
    return error.what();
  }
  return "<accepted>";
}

TEST(JsonValue, ReadsEveryKindOfValue) {
  JsonValue const v = ParseJson(R"( {"a": [1, -2.5e2, 0.125], "b": {"c": true, "d": false, "e": null},
                                    "s": "q\"\\\/\b\f\n\r\t\u00e9\ud83d\ude00"} )");
  ASSERT_EQ(v.kind, JsonValue::Kind::Object);
  JsonValue const& a = *v.Find("a");
  ASSERT_EQ(a.items.size(), 3u);
  EXPECT_EQ(a.items[1].number, -250.0);
  EXPECT_EQ(a.items[2].number, 0.125);
  EXPECT_TRUE(v.Find("b")->Find("c")->boolean);
  EXPECT_EQ(v.Find("b")->Find("e")->kind, JsonValue::Kind::Null);
  EXPECT_EQ(v.Find("s")->text, "q\"\\/\b\f\n\r\t\xC3\xA9\xF0\x9F\x98\x80");
  EXPECT_EQ(v.Find("missing"), nullptr);
}

TEST(JsonValue, RefusesWhatIsNotExactlyJson) {
  struct Case {
    char const* text;
    char const* error;
  } const cases[] = {
      {"", "bad JSON at byte 0: unexpected end of text"},
      {"{", "bad JSON at byte 1: expected a member name"},
      {"{\"a\":1,}", "bad JSON at byte 7: expected a member name"},
      {"{\"a\":1 \"b\":2}", "bad JSON at byte 7: expected ',' or '}'"},
      {"[1 2]", "bad JSON at byte 3: expected ',' or ']'"},
      {"{'a':1}", "bad JSON at byte 1: expected a member name"},
      {"{\"a\":1,\"a\":2}", "repeated member name"},
      {"01", "unexpected text after the value"},
      {"1.", "expected a digit"},
      {"-", "expected a digit"},
      {"1e999", "number out of range"},
      {"NaN", "expected a digit"},
      {"tru", "expected true"},
      {"\"abc", "unterminated string"},
      {"\"a\nb\"", "control character in a string"},
      {"\"\\x\"", "bad escape"},
      {"\"\\u12x\"", "bad \\u escape"},
      {"\"\\u12\"", "short \\u escape"},
      {"\"\\udc00\"", "lone low surrogate"},
      {"\"\\ud800x\"", "expected \\u"},
      {"{} {}", "unexpected text after the value"},
  };
  for (Case const& c : cases) EXPECT_NE(ErrorOf(c.text).find(c.error), std::string::npos) << c.text << ": " << ErrorOf(c.text);
}

TEST(JsonValue, LimitsSizeDepthAndCount) {
  JsonLimits limits;
  limits.max_bytes = 10;
  EXPECT_EQ(ErrorOf("[1,2,3,4,5,6]", limits), "message of 13 bytes is longer than 10");
  limits = {};
  limits.max_depth = 3;
  EXPECT_EQ(ErrorOf("[[[1]]]", limits), "<accepted>");
  EXPECT_NE(ErrorOf("[[[[1]]]]", limits).find("nested deeper than 3"), std::string::npos);
  limits = {};
  limits.max_values = 4;
  EXPECT_EQ(ErrorOf("[1,2,3]", limits), "<accepted>");
  EXPECT_NE(ErrorOf("[1,2,3,4]", limits).find("too many values"), std::string::npos);
  // Deep nesting fails by the limit, not by the stack.
  EXPECT_NE(ErrorOf(std::string(50000, '[')).find("nested deeper"), std::string::npos);
}

TEST(JsonValue, QuotesTextForErrorFrames) {
  EXPECT_EQ(QX::Server::JsonQuote("a\"b\\c\n\x01"), "\"a\\\"b\\\\c\\u000a\\u0001\"");
  EXPECT_EQ(ParseJson(QX::Server::JsonQuote("x\"\n\t\\y")).text, "x\"\n\t\\y");
}

}  // namespace
