#include "machine_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>

#include "machine_json.h"

namespace orvel::sim {
namespace {

// Owns one file descriptor and closes it once.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { close(); }

  int get() const { return fd_; }
  bool close() {
    const bool closed = fd_ < 0 || ::close(fd_) == 0;
    fd_ = -1;
    return closed;
  }

 private:
  int fd_;
};

bool writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd, bytes.data(), bytes.size());
    if (written < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

bool writeSynced(const std::string& path, std::string_view bytes) {
  Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
  return file.get() >= 0 && writeAll(file.get(), bytes) && ::fsync(file.get()) == 0 && file.close();
}

// Makes a rename in the folder last; a folder that can't be synced is no failure.
void syncFolder(const std::filesystem::path& folder) {
  Descriptor directory(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (directory.get() >= 0) ::fsync(directory.get());
}

}  // namespace

Machine loadMachine(const std::string& path) {
  if (path.empty()) return Machine{};
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  if (!(file && text << file.rdbuf())) return Machine{};
  return machineFromText(text.str());
}

bool saveMachine(const Machine& machine, const std::string& path) {
  if (path.empty()) return false;
  const std::string temporary = path + ".tmp" + std::to_string(::getpid());
  if (!writeSynced(temporary, machineText(machine)) ||
      std::rename(temporary.c_str(), path.c_str()) != 0) {
    ::unlink(temporary.c_str());
    return false;
  }
  std::filesystem::path folder = std::filesystem::path(path).parent_path();
  syncFolder(folder.empty() ? std::filesystem::path(".") : folder);
  return true;
}

}  // namespace orvel::sim
