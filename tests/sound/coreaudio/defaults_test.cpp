// Default devices, presence, names and UID translation.
#include <functional>

#include "sound/coreaudio/sample_machine.h"

namespace orvel {
namespace {

using sim::Fault;
using sim::Function;

TEST_F(CoreAudioTest, DefaultUIDReadsTheDefaultDeviceUID) {
  EXPECT_EQ(audio.defaultUID(Direction::output), "speakers-uid");
  EXPECT_EQ(audio.defaultUID(Direction::input), "mic-uid");
  // One has-property check, one read of the setting, one of the UID.
  EXPECT_EQ(machine.calls.size(), 6u);
  EXPECT_EQ(count(Function::getPropertyData, kAudioDevicePropertyDeviceUID), 2u);
}

TEST_F(CoreAudioTest, DefaultUIDIsAbsentWhenNothingUsableIsThere) {
  const std::vector<std::function<void(sim::Machine&)>> breakages = {
      [](sim::Machine& m) { m.defaultOutput = 0; },
      [](sim::Machine& m) { m.faults["defaultOutput"] = Fault::missing; },
      [](sim::Machine& m) { m.faults["defaultOutput"] = Fault::unreadable; },
      [](sim::Machine& m) { m.find(2)->uid.reset(); },
      [](sim::Machine& m) { m.find(2)->faults["uid"] = Fault::unreadable; },
  };
  for (std::size_t i = 0; i < breakages.size(); ++i) {
    machine = sampleMachine();
    breakages[i](machine);
    EXPECT_EQ(audio.defaultUID(Direction::output), std::nullopt) << "case " << i;
  }
}

TEST_F(CoreAudioTest, SetDefaultChecksThenWrites) {
  EXPECT_TRUE(audio.setDefault(Direction::output, "usb-uid"));
  EXPECT_EQ(machine.defaultOutput, 3u);
  EXPECT_EQ(audio.defaultUID(Direction::output), "usb-uid");
  const std::vector<Function> order = {Function::getPropertyData, Function::hasProperty,
                                       Function::isSettable, Function::setPropertyData};
  for (std::size_t i = 0; i < order.size(); ++i) EXPECT_EQ(machine.calls[i].function, order[i]);
}

TEST_F(CoreAudioTest, SetDefaultFailsWithoutChange) {
  struct Case {
    Fault fault;
    std::size_t setCalls;  // a write is tried only once the setting says it can be changed
  };
  for (const Case& c : {Case{Fault::missing, 0}, Case{Fault::fixed, 0}, Case{Fault::refused, 1}}) {
    machine = sampleMachine();
    machine.faults["defaultInput"] = c.fault;
    EXPECT_FALSE(audio.setDefault(Direction::input, "usb-uid"));
    EXPECT_EQ(machine.defaultInput, 4u);
    EXPECT_EQ(count(Function::setPropertyData), c.setCalls);
  }
}

TEST_F(CoreAudioTest, ExistsNeedsChannelsInThatDirection) {
  machine.find(3)->output = {{0, 0}};
  struct Case {
    std::string uid;
    Direction direction;
    bool exists;
  };
  for (const Case& c : {Case{"speakers-uid", Direction::output, true},
                        Case{"speakers-uid", Direction::input, false},  // no buffers
                        Case{"mic-uid", Direction::input, true},
                        Case{"mic-uid", Direction::output, false},  // no configuration
                        Case{"usb-uid", Direction::output, false},  // buffers without channels
                        Case{"unknown-uid", Direction::output, false}}) {
    EXPECT_EQ(audio.exists(c.uid, c.direction), c.exists) << c.uid;
  }
}

TEST_F(CoreAudioTest, NameConvertsEveryText) {
  EXPECT_EQ(audio.name("speakers-uid"), "Speakers");
  EXPECT_EQ(machine.calls.size(), 2u);               // the translation and the read
  EXPECT_EQ(audio.name("mic-uid"), "Micro de Zoé");  // not offered directly: the fallback
  device("usb-uid").name = "🎧 Casque";               // characters of two UTF-16 units
  EXPECT_EQ(audio.name("usb-uid"), "🎧 Casque");
  device("usb-uid").name.reset();
  EXPECT_EQ(audio.name("usb-uid"), std::nullopt);
}

TEST_F(CoreAudioTest, AnUnknownUIDEndsEveryOperationAtTheTranslation) {
  const std::string unknown = "no-such-uid";
  machine.faults["translate"] = Fault::unreadable;  // a failed translation counts alike
  for (int failing = 0; failing < 2; ++failing) {
    machine.calls.clear();
    EXPECT_FALSE(audio.setDefault(Direction::output, unknown));
    EXPECT_FALSE(audio.exists(unknown, Direction::output));
    EXPECT_EQ(audio.name(unknown), std::nullopt);
    EXPECT_EQ(audio.rate(unknown), std::nullopt);
    EXPECT_FALSE(audio.setRate(unknown, 48000));
    EXPECT_EQ(audio.layout(unknown), std::nullopt);
    EXPECT_FALSE(audio.setLayout(unknown, stereoLayout));
    EXPECT_TRUE(audio.volume(unknown).empty());
    EXPECT_FALSE(audio.setVolume(unknown, "0", 0.5));
    EXPECT_EQ(machine.calls.size(), 9u);
    EXPECT_EQ(count(Function::getPropertyData, kAudioHardwarePropertyTranslateUIDToDevice), 9u);
    machine.faults.clear();  // second round: translated to object 0, as macOS does
  }
}

}  // namespace
}  // namespace orvel
