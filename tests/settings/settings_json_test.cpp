#include "settings/settings_json.h"

#include <gtest/gtest.h>

#include <limits>

#include "settings/json_text.h"

namespace orvel {
namespace {

// Round trips of whatever reads are fuzzed; these are the rules of what reads at all.
TEST(SettingsJson, ReadsWhatTheRulesAllow) {
  EXPECT_EQ(
      readSettings(R"({"input":null,"output":{"uid":"a","name":null,"rate":48000,"volume":{}},)"
                   R"("others":[{"uid":"b","layout":"AAAA","volume":{"1":0.25}}],"x":true})"),
      (Settings{.output = Side{.uid = "a", .rate = 48000.0, .volume = VolumeMap{}},
                .others = std::vector{
                    Side{.uid = "b", .layout = "AAAA", .volume = VolumeMap{{"1", 0.25}}}}}));
  EXPECT_EQ(readSettings(" {} "), Settings{});
}

TEST(SettingsJson, AnyDepartureFailsTheWholeRead) {
  for (const char* text :
       {"", "[]", "{} x", R"({"output":{}})", R"({"output":{"uid":1}})", R"({"output":"a"})",
        R"({"output":{"uid":"a"},"input":{"name":"b"}})", R"({"output":{"uid":"a","rate":"1"}})",
        R"({"output":{"uid":"a","rate":1e400}})", R"({"output":{"uid":"a","volume":{"0":"1"}}})",
        R"({"output":{"uid":"a","layout":3}})", R"({"others":[null]})",
        "{\"output\":{\"uid\":\"\xff\"}}"}) {
    EXPECT_FALSE(readSettings(text)) << text;
  }
}

// JSON has no NaN or infinity, and no text that isn't UTF-8.
TEST(SettingsJson, OnlyFiniteNumbersAndUTF8AreWritten) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_FALSE(writeSettings({.output = Side{.uid = "a", .rate = nan}}));
  EXPECT_FALSE(writeSettings({.input = Side{.uid = "a", .volume = VolumeMap{{"0", INFINITY}}}}));
  EXPECT_EQ(encoded({.output = Side{.uid = "a", .rate = nan}}), nlohmann::json::object());
  EXPECT_EQ(jsonText({{"b", "x/\"\\\n\x01"}, {"a", "日本"}}),
            R"({"a":"日本","b":"x\/\"\\\n\u0001"})");
  EXPECT_FALSE(jsonText({{"a", "\xc3"}}));  // a cut UTF-8 sequence
}

}  // namespace
}  // namespace orvel
