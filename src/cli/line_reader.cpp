#include "cli/line_reader.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

namespace orvel {

bool LineReader::fill() {
  if (ended_) return false;
  buffer_.erase(0, start_);
  start_ = 0;
  char chunk[65536];
  for (;;) {
    const ssize_t got = ::read(fd_, chunk, sizeof chunk);
    if (got < 0 && errno == EINTR) continue;
    // A host may hand over its pipe in non-blocking mode: no data yet is no end.
    if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      pollfd readable{.fd = fd_, .events = POLLIN, .revents = 0};
      ::poll(&readable, 1, -1);
      continue;
    }
    if (got <= 0) {
      ended_ = true;
      return false;
    }
    buffer_.append(chunk, static_cast<std::size_t>(got));
    return true;
  }
}

std::optional<LineReader::Line> LineReader::next() {
  Line line;
  bool any = false;
  for (;;) {
    const std::size_t end = buffer_.find('\n', start_);
    const std::size_t stop = end == std::string::npos ? buffer_.size() : end;
    any = any || stop > start_ || end != std::string::npos;
    const std::size_t room = keep_ - std::min(keep_, line.text.size());
    const std::size_t take = std::min(stop - start_, room);
    line.text.append(buffer_, start_, take);
    line.cut = line.cut || take < stop - start_;
    start_ = end == std::string::npos ? buffer_.size() : end + 1;
    if (end != std::string::npos) break;
    if (!fill()) {
      if (!any) return std::nullopt;
      break;
    }
  }
  if (!line.cut && !line.text.empty() && line.text.back() == '\r') line.text.pop_back();
  return line;
}

}  // namespace orvel
