// PulseAudioSystem against a private server of each kind, checked with pactl.
#include "sound/pulseaudio/pulseaudio_system.h"

#include <chrono>
#include <functional>
#include <thread>

#include <gtest/gtest.h>

#include "sound/pulseaudio/private_server.h"

namespace orvel {
namespace {

using test::shell;

class PulseAudioSystemTest : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    if (!test::PrivateServer::installed(GetParam())) GTEST_SKIP() << GetParam() << " missing";
    server_.emplace(GetParam());
    ASSERT_TRUE(server_->running()) << "see the log in " << server_->folder();
  }

  std::optional<test::PrivateServer> server_;
  PulseAudioSystem sound_;
};

// Seconds that a call takes.
double timed(const std::function<void()>& call) {
  const auto start = std::chrono::steady_clock::now();
  call();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Every operation on a device, each expected to fail.
void expectAllFail(SoundSystem& sound, const std::string& uid) {
  EXPECT_FALSE(sound.defaultUID(Direction::output));
  EXPECT_FALSE(sound.setDefault(Direction::output, uid));
  EXPECT_FALSE(sound.exists(uid, Direction::output));
  EXPECT_FALSE(sound.name(uid));
  EXPECT_FALSE(sound.rate(uid));
  EXPECT_FALSE(sound.setRate(uid, 48000));
  EXPECT_FALSE(sound.layout(uid));
  EXPECT_FALSE(sound.setLayout(uid, "Zm9v"));
  EXPECT_TRUE(sound.volume(uid).empty());
  EXPECT_FALSE(sound.setVolume(uid, "0", 0.5));
  EXPECT_TRUE(sound.devices().empty());
}

TEST_P(PulseAudioSystemTest, ListsSinksThenSourcesWithoutMonitors) {
  const std::vector<DeviceRecord> expected = {
      {"desk_speakers", "Desk Speakers", 2, 0, 48000, {48000}},
      {"tv_surround", "Télé du Salon", 6, 0, 44100, {44100}},
      {"desk_mic", "Desk Microphone", 0, 1, 48000, {48000}}};
  EXPECT_EQ(sound_.devices(), expected);
}

TEST_P(PulseAudioSystemTest, ReadsDevicesByName) {
  EXPECT_TRUE(sound_.exists("desk_speakers", Direction::output));
  EXPECT_FALSE(sound_.exists("desk_speakers", Direction::input));
  EXPECT_TRUE(sound_.exists("desk_mic", Direction::input));
  EXPECT_FALSE(sound_.exists("desk_mic", Direction::output));
  EXPECT_TRUE(sound_.exists("desk_speakers.monitor", Direction::input));
  EXPECT_EQ(sound_.name("tv_surround"), "Télé du Salon");
  EXPECT_EQ(sound_.name("desk_speakers.monitor"), "Monitor of Desk Speakers");
  EXPECT_EQ(sound_.rate("tv_surround"), 44100);
  EXPECT_EQ(sound_.rate("desk_mic"), 48000);
  EXPECT_EQ(sound_.layout("desk_speakers"), "ZnJvbnQtbGVmdCxmcm9udC1yaWdodA==");
  EXPECT_FALSE(sound_.layout("desk_mic"));  // a source has no output side
  std::thread([&] { EXPECT_EQ(sound_.name("desk_mic"), "Desk Microphone"); }).join();
}

TEST_P(PulseAudioSystemTest, UnknownNamesAndUnchangeableSettingsFail) {
  for (const std::string uid : {"no_such_device", "", "0", "1", "0x1", "@DEFAULT_SINK@"}) {
    SCOPED_TRACE(uid);
    EXPECT_FALSE(sound_.setDefault(Direction::output, uid));
    EXPECT_FALSE(sound_.exists(uid, Direction::output));
    EXPECT_FALSE(sound_.name(uid));
    EXPECT_FALSE(sound_.rate(uid));
    EXPECT_FALSE(sound_.layout(uid));
    EXPECT_TRUE(sound_.volume(uid).empty());
    EXPECT_FALSE(sound_.setVolume(uid, "0", 0.5));
  }
  EXPECT_FALSE(sound_.setRate("desk_speakers", 48000));
  EXPECT_FALSE(sound_.setLayout("desk_speakers", *sound_.layout("desk_speakers")));
  EXPECT_FALSE(sound_.setLayout("desk_speakers", "not base64"));
  EXPECT_EQ(shell("pactl get-sink-volume desk_speakers | grep -c 65536"), "1");  // untouched
}

TEST_P(PulseAudioSystemTest, SetDefaultIsReadBackAtOnce) {
  EXPECT_EQ(sound_.defaultUID(Direction::output), "desk_speakers");
  EXPECT_EQ(sound_.defaultUID(Direction::input), "desk_mic");
  EXPECT_TRUE(sound_.setDefault(Direction::output, "tv_surround"));
  EXPECT_EQ(sound_.defaultUID(Direction::output), "tv_surround");
  EXPECT_EQ(shell("pactl get-default-sink"), "tv_surround");
  EXPECT_TRUE(sound_.setDefault(Direction::input, "tv_surround.monitor"));
  EXPECT_EQ(sound_.defaultUID(Direction::input), "tv_surround.monitor");
  EXPECT_TRUE(sound_.setDefault(Direction::output, "desk_speakers"));
  EXPECT_EQ(sound_.defaultUID(Direction::output), "desk_speakers");
  EXPECT_FALSE(sound_.setDefault(Direction::output, "desk_mic"));  // a source, no sink
  EXPECT_EQ(shell("pactl get-default-sink"), "desk_speakers");
}

TEST_P(PulseAudioSystemTest, VolumesAreTheMainControlOrEachChannel) {
  EXPECT_EQ(sound_.volume("desk_speakers"), (VolumeMap{{"0", 1.0}}));
  const VolumeMap unequal = sound_.volume("tv_surround");
  ASSERT_EQ(unequal.size(), 6u);
  for (int k = 1; k <= 6; ++k) EXPECT_NEAR(unequal.at(std::to_string(k)), 0.4 + 0.1 * k, 0.001);
  EXPECT_TRUE(sound_.volume("desk_mic").empty());
}

TEST_P(PulseAudioSystemTest, SetVolumeSetsOneChannelOrAll) {
  EXPECT_TRUE(sound_.setVolume("desk_speakers", "+2", 0.25));
  EXPECT_EQ(shell("pactl get-sink-volume desk_speakers | grep -o '[0-9]* /' | tr -d ' /\n'"),
            "6553616384");
  EXPECT_NEAR(sound_.volume("desk_speakers").at("2"), 0.25, 0.001);
  EXPECT_TRUE(sound_.setVolume("tv_surround", "0", 0.3));
  EXPECT_EQ(shell("pactl get-sink-volume tv_surround | grep -o ' 19661 /' | wc -l"), "6");
  EXPECT_NEAR(sound_.volume("tv_surround").at("0"), 0.3, 0.001);
  EXPECT_TRUE(sound_.setVolume("tv_surround", "-0", 1.5));  // amplification is kept
  EXPECT_NEAR(sound_.volume("tv_surround").at("0"), 1.5, 0.001);
  for (const std::string key : {"7", "-1", "", " 1", "1.0", "x", "4294967296"}) {
    EXPECT_FALSE(sound_.setVolume("tv_surround", key, 0.5)) << key;
  }
  EXPECT_FALSE(sound_.setVolume("tv_surround", "1", -0.1));
  EXPECT_FALSE(sound_.setVolume("desk_mic", "0", 0.5));
  EXPECT_NEAR(sound_.volume("tv_surround").at("0"), 1.5, 0.001);
}

TEST_P(PulseAudioSystemTest, MakingTheSystemDoesNotConnect) {
  const std::string clients = shell("pactl list short clients | wc -l");
  PulseAudioSystem idle;
  EXPECT_EQ(shell("pactl list short clients | wc -l"), clients);
}

TEST_P(PulseAudioSystemTest, KilledServerFailsEveryOperationQuicklyUntilOneIsBack) {
  ASSERT_FALSE(sound_.devices().empty());
  server_->stop();
  const double seconds = timed([&] { expectAllFail(sound_, "desk_speakers"); });
  RecordProperty("seconds", std::to_string(seconds));
  EXPECT_LT(seconds, 5);
  server_.emplace(GetParam());
  EXPECT_EQ(sound_.defaultUID(Direction::output), "desk_speakers");
}

TEST_P(PulseAudioSystemTest, HungServerCostsOneDeadlineThenFailsAtOnce) {
  ASSERT_FALSE(sound_.devices().empty());
  server_->freeze(true);
  const double first = timed([&] { EXPECT_FALSE(sound_.defaultUID(Direction::output)); });
  const double rest = timed([&] { expectAllFail(sound_, "desk_speakers"); });
  server_->freeze(false);
  RecordProperty("first", std::to_string(first));
  RecordProperty("rest", std::to_string(rest));
  EXPECT_GT(first, 1);
  EXPECT_LT(first, 5);
  EXPECT_LT(rest, 1);
}

INSTANTIATE_TEST_SUITE_P(Servers, PulseAudioSystemTest, testing::Values("pulseaudio", "pipewire"));

TEST(PulseAudioSystemNoServerTest, FailsFast) {
  setenv("PULSE_SERVER", "unix:/nonexistent/orvel-sound/native", 1);
  PulseAudioSystem sound;
  const double seconds = timed([&] { expectAllFail(sound, "desk_speakers"); });
  EXPECT_LT(seconds, 1);
}

}  // namespace
}  // namespace orvel
