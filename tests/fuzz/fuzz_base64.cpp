// base64: the input's bytes encode to strict text that decodes back exactly;
// the input as text decodes exactly when a plain reading of the strict form
// accepts it, to as many bytes as that reading counts, and stably after a
// round through encoding.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>

#include "sound/base64.h"

namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The byte count that strict text stands for, or -1 when the text isn't strict:
// whole groups of four alphabet symbols, the last one ending in at most two "=".
long strictByteCount(std::string_view text) {
  if (text.size() % 4 != 0) return -1;
  const std::size_t symbols = text.find_last_not_of('=') + 1;  // 0 when all are "="
  const std::size_t padding = text.size() - symbols;
  if (padding > 2) return -1;
  if (text.substr(0, symbols).find_first_not_of(alphabet) != std::string_view::npos) return -1;
  return static_cast<long>(text.size() / 4 * 3 - padding);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span<const std::uint8_t> bytes(data, size);
  const std::string encoded = orvel::base64Encode(bytes);
  const auto back = orvel::base64Decode(encoded);
  if (strictByteCount(encoded) != static_cast<long>(size) || !back ||
      !std::equal(back->begin(), back->end(), bytes.begin(), bytes.end())) {
    std::abort();
  }

  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto decoded = orvel::base64Decode(text);
  const long expected = strictByteCount(text);
  if (decoded.has_value() != (expected >= 0)) std::abort();
  if (decoded && (static_cast<long>(decoded->size()) != expected ||
                  orvel::base64Decode(orvel::base64Encode(*decoded)) != decoded)) {
    std::abort();
  }
  return 0;
}
