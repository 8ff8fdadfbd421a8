// PulseAudioSystem against a private server of each kind: what the command
// tests can't see (monitors, odd names, one channel or all, dead and hung servers).
#include "sound/pulseaudio/pulseaudio_system.h"

#include <chrono>
#include <functional>

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

// Seconds that every operation on a device takes, each expected to fail
// (setRate and setLayout never reach the server).
double allFail(SoundSystem& sound, const std::string& uid) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(sound.defaultUID(Direction::output));
  EXPECT_FALSE(sound.setDefault(Direction::output, uid));
  EXPECT_FALSE(sound.exists(uid, Direction::output));
  EXPECT_FALSE(sound.name(uid));
  EXPECT_FALSE(sound.rate(uid));
  EXPECT_FALSE(sound.layout(uid));
  EXPECT_TRUE(sound.volume(uid).empty());
  EXPECT_FALSE(sound.setVolume(uid, "0", 0.5));
  EXPECT_TRUE(sound.devices().empty());
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST_P(PulseAudioSystemTest, MonitorsAreAcceptedButNotListed) {
  const std::vector<DeviceRecord> devices = sound_.devices();
  EXPECT_EQ(devices.size(), 3u);
  for (const DeviceRecord& d : devices) EXPECT_FALSE(d.uid.ends_with(".monitor")) << d.uid;
  EXPECT_TRUE(sound_.exists("desk_speakers.monitor", Direction::input));
  EXPECT_EQ(sound_.name("desk_speakers.monitor"), "Monitor of Desk Speakers");
  EXPECT_TRUE(sound_.setDefault(Direction::input, "tv_surround.monitor"));
  EXPECT_EQ(sound_.defaultUID(Direction::input), "tv_surround.monitor");
}

TEST_P(PulseAudioSystemTest, UnknownAndIndexLikeNamesFail) {
  for (const std::string uid : {"no_such_device", "", "0", "1", "0x1", "@DEFAULT_SINK@"}) {
    SCOPED_TRACE(uid);
    EXPECT_FALSE(sound_.setDefault(Direction::output, uid));
    EXPECT_FALSE(sound_.exists(uid, Direction::output));
    EXPECT_FALSE(sound_.name(uid));
    EXPECT_FALSE(sound_.rate(uid));
    EXPECT_TRUE(sound_.volume(uid).empty());
    EXPECT_FALSE(sound_.setVolume(uid, "0", 0.5));
  }
  EXPECT_EQ(shell("pactl get-default-sink"), "desk_speakers");
}

TEST_P(PulseAudioSystemTest, SetVolumeSetsOneChannelOrAll) {
  EXPECT_TRUE(sound_.setVolume("desk_speakers", "+2", 0.25));
  EXPECT_EQ(shell("pactl get-sink-volume desk_speakers | grep -o '[0-9]* /' | tr -d ' /\n'"),
            "6553616384");
  EXPECT_TRUE(sound_.setVolume("tv_surround", "0", 1.5));  // amplification is kept
  for (const std::string key : {"7", "-1", "", "1.0", "4294967296"})
    EXPECT_FALSE(sound_.setVolume("tv_surround", key, 0.5)) << key;
  EXPECT_FALSE(sound_.setVolume("desk_mic", "0", 0.5));
  EXPECT_EQ(sound_.volume("tv_surround"), (VolumeMap{{"0", 1.5}}));  // all six channels
}

TEST_P(PulseAudioSystemTest, MakingTheSystemDoesNotConnect) {
  const std::string clients = shell("pactl list short clients | wc -l");
  PulseAudioSystem idle;
  EXPECT_EQ(shell("pactl list short clients | wc -l"), clients);
}

TEST_P(PulseAudioSystemTest, KilledServerFailsEveryOperationQuicklyUntilOneIsBack) {
  ASSERT_FALSE(sound_.devices().empty());
  server_->stop();
  EXPECT_LT(allFail(sound_, "desk_speakers"), 5);
  server_.emplace(GetParam());
  EXPECT_EQ(sound_.defaultUID(Direction::output), "desk_speakers");
}

TEST_P(PulseAudioSystemTest, HungServerCostsOneDeadlineThenFailsAtOnce) {
  ASSERT_FALSE(sound_.devices().empty());
  server_->freeze(true);
  const double first = allFail(sound_, "desk_speakers");  // one 2 s deadline, the rest at once
  const double rest = allFail(sound_, "desk_speakers");
  server_->freeze(false);
  EXPECT_GT(first, 1);
  EXPECT_LT(first, 3.9);  // two deadlines would take 4 s or more
  EXPECT_LT(rest, 1);
}

INSTANTIATE_TEST_SUITE_P(Servers, PulseAudioSystemTest, testing::Values("pulseaudio", "pipewire"));

}  // namespace
}  // namespace orvel
