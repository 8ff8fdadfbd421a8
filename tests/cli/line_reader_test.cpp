#include "cli/line_reader.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

#include "cli/restore_line.h"

namespace orvel {
namespace {

std::vector<std::pair<std::string, bool>> readAll(const std::string& input, std::size_t keep) {
  FILE* file = std::tmpfile();
  std::fwrite(input.data(), 1, input.size(), file);
  std::fflush(file);
  lseek(fileno(file), 0, SEEK_SET);
  std::vector<std::pair<std::string, bool>> lines;
  LineReader reader(fileno(file), keep);
  while (auto line = reader.next()) lines.emplace_back(line->text, line->cut);
  std::fclose(file);
  return lines;
}

TEST(LineReader, SplitsLinesAndTellsTheEndFromAnEmptyLine) {
  using Lines = std::vector<std::pair<std::string, bool>>;
  EXPECT_EQ(readAll("", 100), Lines{});
  EXPECT_EQ(readAll("\n", 100), (Lines{{"", false}}));
  EXPECT_EQ(readAll("a\r\n\nb", 100), (Lines{{"a", false}, {"", false}, {"b", false}}));
  EXPECT_EQ(readAll("abcdef\nxy\n", 3), (Lines{{"abc", true}, {"xy", false}}));
  const std::string big(200000, 'x');
  EXPECT_EQ(readAll(big + "\nrestore\n", SIZE_MAX), (Lines{{big, false}, {"restore", false}}));
}

TEST(RestoreLine, OnlyTheWordWithBlanksAround) {
  for (const char* yes : {"restore", "  restore\t ", "\u00A0restore\u3000", "\trestore"}) {
    EXPECT_TRUE(isRestoreLine(yes)) << yes;
  }
  for (const char* no : {"Restore", "restore now", "re store", "", " ", "restore\n", "restored",
                         "\u200Brestore"}) {
    EXPECT_FALSE(isRestoreLine(no)) << no;
  }
}

}  // namespace
}  // namespace orvel
