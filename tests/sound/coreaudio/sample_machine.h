// A small simulated Mac installed for each backend test, and the check that no
// CFString outlives a test, whatever path its operations took.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "sound/base64.h"
#include "sound/coreaudio/core_audio_system.h"
#include "sound/coreaudio/simulated/machine.h"

namespace orvel {

// Stereo, channels described by rectangular coordinates: its base64 holds a "/".
inline const std::string stereoLayout =
    "AAAAAAAAAAACAAAAAQAAAAEAAAAAAIC/AAAAAAAAAAACAAAAAQAAAAAAgD8AAAAAAAAAAA==";
// Plain stereo by its tag.
inline const std::string stereoTagLayout = "AgBlAAAAAAAAAAAA";

inline std::vector<std::uint8_t> bytesOf(const std::string& layoutText) {
  return base64Decode(layoutText).value();
}

// Speakers (id 2, default output, main volume control), a USB interface (id 3,
// two output buffers, channel controls only) and a microphone (id 4, default
// input, a non-ASCII name, no output side).
inline sim::Machine sampleMachine() {
  sim::Machine machine;
  machine.defaultOutput = 2;
  machine.defaultInput = 4;
  machine.devices = {
      {.id = 2,
       .uid = "speakers-uid",
       .name = "Speakers",
       .output = {{2}},
       .input = std::vector<UInt32>{},
       .rate = 44100,
       .rateRanges = {{{44100, 44100}, {48000, 48000}, {88200, 96000}}},
       .layout = bytesOf(stereoLayout),
       .volume = {{0, 0.5f}, {1, 0.25f}, {2, 0.75f}}},
      {.id = 3,
       .uid = "usb-uid",
       .name = "USB Interface",
       .output = {{2, 2}},
       .input = {{2}},
       .rate = 48000,
       .rateRanges = {{{44100, 44100}, {48000, 48000}}},
       .layout = bytesOf(stereoTagLayout),
       .volume = {{1, 0.1f}, {2, 0.2f}}},
      {.id = 4,
       .uid = "mic-uid",
       .name = "Micro de Zoé",
       .input = {{1}},
       .rate = 48000,
       .rateRanges = {{{48000, 48000}}}},
  };
  return machine;
}

class CoreAudioTest : public testing::Test {
 protected:
  void SetUp() override { sim::use(machine); }
  void TearDown() override {
    sim::useFile();
    EXPECT_EQ(sim::liveStrings(), 0u) << "a CFString was not released";
  }

  sim::Device& device(const std::string& uid) { return *machine.findUID(uid); }

  sim::Machine machine = sampleMachine();
  CoreAudioSystem audio;
};

}  // namespace orvel
