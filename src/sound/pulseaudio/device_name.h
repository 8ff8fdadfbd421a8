// Which texts can name a sink or a source. The server's by-name lookups also
// read a number as an index ("3", "0x1f") and "@DEFAULT_SINK@"-style texts as
// the defaults; as a UID such a text names no device.
#pragma once

#include <string>

namespace orvel {

bool isDeviceName(const std::string& uid);

}  // namespace orvel
