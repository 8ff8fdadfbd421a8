// LineReader: reads stdin line by line with read(2), so an end of input is told
// apart from an empty line and nothing is buffered behind our back.
#pragma once

#include <cstddef>
#include <limits>
#include <optional>
#include <string>

namespace orvel {

class LineReader {
 public:
  // Lines longer than keep bytes are cut to their first keep bytes (and marked),
  // so a hostile writer can't make us hold a line of any size.
  explicit LineReader(int fd, std::size_t keep = std::numeric_limits<std::size_t>::max())
      : fd_(fd), keep_(keep) {}

  struct Line {
    std::string text;  // without the line feed and a carriage return before it
    bool cut = false;  // longer than keep
  };

  // The next line; nothing at the end of input (a last line without a line feed
  // still counts) or on a read error.
  std::optional<Line> next();

 private:
  bool fill();

  int fd_;
  std::size_t keep_;
  std::string buffer_;
  std::size_t start_ = 0;
  bool ended_ = false;
};

}  // namespace orvel
