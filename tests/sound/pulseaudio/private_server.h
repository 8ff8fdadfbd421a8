// PrivateServer: a private sound server for one test, started and stopped by
// the private-server script beside this file. While it runs, the process
// environment points libpulse (and pactl) at it and at nothing else.
#pragma once

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace orvel::test {

// What a shell command prints on stdout, its last line break removed.
inline std::string shell(const std::string& command) {
  std::string out;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return out;
  char buffer[4096];
  for (std::size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, n);
  pclose(pipe);
  if (!out.empty() && out.back() == '\n') out.pop_back();
  return out;
}

class PrivateServer {
 public:
  // kind: "pulseaudio" or "pipewire".
  explicit PrivateServer(const std::string& kind) {
    char folder[] = "/tmp/orvel-pulse-XXXXXX";
    if (mkdtemp(folder) == nullptr) return;
    folder_ = folder;
    std::istringstream lines(shell(script() + " start " + folder_ + " " + kind));
    for (std::string line; std::getline(lines, line);) {
      const auto equals = line.find('=');
      if (equals == std::string::npos) continue;
      setenv(line.substr(0, equals).c_str(), line.substr(equals + 1).c_str(), 1);
      running_ = running_ || line.starts_with("PULSE_SERVER=");
    }
  }
  ~PrivateServer() {
    stop();
    if (!folder_.empty()) std::filesystem::remove_all(folder_);
  }
  PrivateServer(const PrivateServer&) = delete;
  PrivateServer& operator=(const PrivateServer&) = delete;

  static bool installed(const std::string& kind) {
    return shell("command -v " + kind + " >/dev/null && echo yes") == "yes";
  }

  bool running() const { return running_; }
  const std::string& folder() const { return folder_; }

  void stop() {
    if (!folder_.empty()) shell(script() + " stop " + folder_);
  }
  // Freezes (true) or thaws the process that serves the pulse protocol.
  void freeze(bool frozen) {
    if (const pid_t pid = serverPid(); pid > 0) kill(pid, frozen ? SIGSTOP : SIGCONT);
  }

 private:
  static std::string script() {
    return (std::filesystem::path(__FILE__).parent_path() / "private-server").string();
  }
  // The script lists its processes in DIR/pids, the pulse server last.
  pid_t serverPid() const {
    std::ifstream pids(folder_ + "/pids");
    pid_t pid = 0;
    for (pid_t next; pids >> next;) pid = next;
    return pid;
  }

  std::string folder_;
  bool running_ = false;
};

}  // namespace orvel::test
