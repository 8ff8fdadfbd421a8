// The settings' JSON text, in files and in message lines, keeps a point before the
// decimals whatever the process's locale: here German, whose separator is a comma.
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <locale>

#include <gtest/gtest.h>

#include "settings/json_text.h"
#include "settings/number_text.h"
#include "settings/settings_json.h"

// glibc keeps the LOCPATH list of a setlocale call for good; that is not ours.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:argz_add_sep";
}

namespace orvel {
namespace {

// Makes the C and the C++ global locale German. Where the system lacks it,
// localedef builds it in a temporary folder that LOCPATH names (glibc reads
// LOCPATH at each setlocale); the folder goes once the locale is loaded.
bool useCommaLocale() {
  constexpr const char* german = "de_DE.UTF-8";
  const auto folder =
      std::filesystem::temp_directory_path() / ("orvel-locale-" + std::to_string(::getpid()));
  if (std::setlocale(LC_ALL, german) == nullptr) {
    std::filesystem::create_directories(folder);
    const std::string build =
        "localedef -i de_DE -f UTF-8 '" + (folder / german).string() + "' >/dev/null 2>&1";
    [[maybe_unused]] const int status = std::system(build.c_str());  // 1 even on warnings
    ::setenv("LOCPATH", folder.c_str(), 1);
  }
  const bool loaded = std::setlocale(LC_ALL, german) != nullptr;
  if (loaded) std::locale::global(std::locale(german));
  std::filesystem::remove_all(folder);
  return loaded && *std::localeconv()->decimal_point == ',';
}

TEST(CommaLocale, NumbersAreWrittenAndReadWithAPoint) {
  if (!useCommaLocale()) {
    GTEST_SKIP() << "no de_DE.UTF-8 locale: localedef and Debian's locales package make it";
  }
  const Settings settings{
      .output = Side{.uid = "desk", .rate = 44100.5, .volume = VolumeMap{{"0", 0.25}}},
      .input = Side{.uid = "mic", .rate = 7999.5}};
  const auto text = writeSettings(settings);
  EXPECT_EQ(text, R"({"input":{"rate":7999.5,"uid":"mic"},)"
                  R"("output":{"rate":44100.5,"uid":"desk","volume":{"0":0.25}}})");
  EXPECT_EQ(readSettings(text.value_or("")), settings);
  EXPECT_EQ(jsonText({{"rates", {44100.5, 1e300, 0.125}}}), R"({"rates":[44100.5,1e+300,0.125]})");
  EXPECT_EQ(decimalText(7999.5) + decimalText(1.5e16), "7999.51.5e+16");
  std::locale::global(std::locale::classic());
  std::setlocale(LC_ALL, "C");
}

}  // namespace
}  // namespace orvel
