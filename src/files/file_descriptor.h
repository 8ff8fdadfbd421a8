// FileDescriptor: owns one open file descriptor and closes it on every path.
#pragma once

#include <unistd.h>

#include <utility>

namespace orvel {

class FileDescriptor {
 public:
  explicit FileDescriptor(int fd = -1) : fd_(fd) {}
  FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (fd_ >= 0) ::close(fd_);
  }

  explicit operator bool() const { return fd_ >= 0; }
  int get() const { return fd_; }
  // Closes now, reporting whether the close succeeded (a late write error shows here).
  bool close() { return fd_ >= 0 && ::close(std::exchange(fd_, -1)) == 0; }

 private:
  int fd_;
};

}  // namespace orvel
