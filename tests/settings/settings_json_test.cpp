#include "settings/settings_json.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "settings/json_text.h"

namespace orvel {
namespace {

TEST(SettingsJson, ReadsWhatTheRulesAllow) {
  const auto read = readSettings(
      R"({"input":null,"output":{"uid":"a","name":null,"rate":48000,"volume":{}},)"
      R"("others":[{"uid":"b","rate":44100.5,"layout":"AAAA","volume":{"1":0.25}}],"x":true})");
  ASSERT_TRUE(read);
  EXPECT_FALSE(read->input);
  EXPECT_EQ(read->output, (Side{.uid = "a", .rate = 48000.0, .volume = VolumeMap{}}));
  ASSERT_TRUE(read->others);
  EXPECT_EQ(read->others->at(0),
            (Side{.uid = "b", .rate = 44100.5, .layout = "AAAA", .volume = VolumeMap{{"1", 0.25}}}));
  EXPECT_EQ(readSettings("{}"), Settings{});
  EXPECT_EQ(readSettings(R"( {"others":[]} )")->others, std::vector<Side>{});
}

TEST(SettingsJson, AnyDepartureFailsTheWholeRead) {
  for (const char* text : {
           "", "[]", "null", "{", "{} x", R"({"output":{}})", R"({"output":{"uid":null}})",
           R"({"output":{"uid":1}})", R"({"output":{"uid":"a"},"input":{"name":"b"}})",
           R"({"output":{"uid":"a","rate":"48000"}})", R"({"output":{"uid":"a","rate":true}})",
           R"({"output":{"uid":"a","rate":1e400}})", R"({"output":{"uid":"a","volume":[]}})",
           R"({"output":{"uid":"a","volume":{"0":"1"}}})", R"({"output":{"uid":"a","volume":{"0":null}}})",
           R"({"output":{"uid":"a","name":false}})", R"({"output":{"uid":"a","layout":3}})",
           R"({"others":[null]})", R"({"others":{}})", R"({"output":"a"})", "{\"output\":{\"uid\":\"\xff\"}}"}) {
    EXPECT_FALSE(readSettings(text)) << text;
  }
}

TEST(SettingsJson, WritesCompactSortedAndReadsBack) {
  const Settings settings{
      .output = Side{.uid = "o/1", .name = "Zoé", .rate = 48000, .layout = "a/b=", .volume = VolumeMap{{"2", 0.5}, {"10", 1}}},
      .input = Side{.uid = "i"},
      .others = std::vector<Side>{}};
  const auto text = writeSettings(settings);
  ASSERT_TRUE(text);
  EXPECT_EQ(*text,
            R"({"input":{"uid":"i"},"others":[],"output":{"layout":"a\/b=","name":"Zoé",)"
            R"("rate":48000.0,"uid":"o\/1","volume":{"10":1.0,"2":0.5}}})");
  EXPECT_EQ(readSettings(*text), settings);
  EXPECT_EQ(writeSettings(Settings{}), "{}");
}

TEST(SettingsJson, NonFiniteValuesCantBeWritten) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_FALSE(writeSettings({.output = Side{.uid = "a", .rate = nan}}));
  EXPECT_FALSE(writeSettings({.input = Side{.uid = "a", .volume = VolumeMap{{"0", INFINITY}}}}));
  EXPECT_EQ(encoded({.output = Side{.uid = "a", .rate = nan}}), nlohmann::json::object());
  EXPECT_EQ(encoded({.output = Side{.uid = "a/b"}}), nlohmann::json::parse(R"({"output":{"uid":"a/b"}})"));
}

TEST(JsonText, EscapesOnlyWhatJsonNeedsAndTheSolidus) {
  EXPECT_EQ(jsonText({{"b", "x/\"\\\n\x01"}, {"a", "日本"}}),
            R"({"a":"日本","b":"x\/\"\\\n\u0001"})");
  EXPECT_EQ(jsonText({{"n", 0.1}, {"i", 2}, {"l", {1.5, 1e300}}}), R"({"i":2,"l":[1.5,1e+300],"n":0.1})");
  EXPECT_FALSE(jsonText({{"a", "\xc3"}}));  // a cut UTF-8 sequence
}

}  // namespace
}  // namespace orvel
