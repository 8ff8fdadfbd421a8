// The items of a switch: which settings Orvel's settings touch, what the
// machine holds for each now, and how entries and snapshot.json name them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "engine/item.h"
#include "settings/settings.h"
#include "sound/sound_system.h"

namespace orvel {

// One item for each default the target names, and for each device it names
// (output, input, others) one for its rate, its layout and its volumes where
// the target sets them (layout and volumes only where the device takes them as
// an output). Each holds the value asked for and, as the user's, the value the
// machine holds now. In the order a restore puts them back: the further
// devices first, then the user's default output with its device's settings,
// then the input.
std::vector<Item> itemsFor(SoundSystem& system, const Settings& target);

// Marks each device's items with the user's default it is (the user's value of
// the default items, or the present default where the target names none), and
// puts the items in the order a restore goes.
void arrange(std::vector<Item>& items, const std::optional<std::string>& outputNow,
             const std::optional<std::string>& inputNow);

// What the machine holds now for the item; nothing when it can't be read (the
// device isn't connected, or the sound system doesn't answer). A volume item
// reads each key that its values name, one control at a time.
std::optional<ItemValue> presentValue(SoundSystem& system, const Item& item);

// One volume control's level; nothing when it can't be read.
std::optional<double> controlLevel(SoundSystem& system, const std::string& uid,
                                   const std::string& key);

// How its entries name the item: "the output Desk Speakers", "Desk Speakers".
std::string labelOf(const Item& item);

// The user's values in the settings form, for snapshot.json.
Settings usersSettings(const std::vector<Item>& items);

}  // namespace orvel
