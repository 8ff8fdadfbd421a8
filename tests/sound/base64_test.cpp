// Strict base64, as the layout check and setLayout need it.
#include "sound/base64.h"

#include <gtest/gtest.h>

namespace orvel {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(Base64, RoundTripsEveryLength) {
  Bytes bytes;
  for (int size = 0; size < 70; ++size) {
    EXPECT_EQ(base64Decode(base64Encode(bytes)), bytes) << size;
    bytes.push_back(static_cast<std::uint8_t>(size * 37 + 255));
  }
  EXPECT_EQ(base64Encode(Bytes{0xff, 0xef}), "/+8=");
}

TEST(Base64, TakesNothingButTheStrictForm) {
  EXPECT_EQ(base64Decode("AAAA"), (Bytes{0, 0, 0}));
  EXPECT_EQ(base64Decode(""), Bytes{});
  for (const char* text : {"AAA", "AA AA", "AA=A", "A===", "-_8=", "AAAA\n", "=AAA", "AAAA===="}) {
    EXPECT_FALSE(base64Decode(text)) << text;
  }
}

}  // namespace
}  // namespace orvel
