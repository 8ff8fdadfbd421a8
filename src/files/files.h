// The working folder that --save, --switch and --restore are given, and its
// three files (and the lock's, folder_lock.h). Every file is replaced whole:
// written to ".NAME.tmp" in the same folder (on Linux an unnamed file that takes
// that name only once it is whole, where /proc lets it be named), flushed to
// disk, renamed over the target, and the folder flushed, so a reader (or a
// crash) sees the old file or the new one, never a part. A caller for whom
// either is safe after a power cut lets the folder reach the disk with its next
// flushed change instead: every flush is a journal commit on a real disk.
//
// Only regular files are read or written, and none through a link (see
// regular_file.h): nothing planted in the folder (a FIFO, a device, a link) can
// make a command wait or write elsewhere.
//
// Files is a plain value; its operations keep no state and report failure only
// through their results.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "settings/settings.h"

namespace orvel {

// When a written file's name reaches the disk: at once, or with the folder's
// next flushed change (a later write or removal there).
enum class FolderSync { now, withNextChange };

struct Files {
  // The folder, created with its parents when missing; a folder that can't be
  // made shows later as a failed write.
  static Files at(const std::filesystem::path& dir);

  std::filesystem::path dir;

  std::filesystem::path orvel() const { return dir / "orvel.json"; }        // Orvel's settings
  std::filesystem::path snapshot() const { return dir / "snapshot.json"; }  // the user's own
  std::filesystem::path mark() const { return dir / "switched"; }           // a switch in effect
  std::filesystem::path lock() const { return dir / ".lock"; }              // see folder_lock.h

  // Whether a switch is in effect: its marker is there (the switch runs, or it
  // was killed before its restore).
  bool switched() const;
  // Whether the folder itself still exists as a folder (a host may delete it
  // while a switch runs). Never makes it.
  bool present() const;

  // Writes the settings' JSON form; false when they can't be written or stored.
  bool save(const Settings& settings, const std::filesystem::path& file,
            FolderSync sync = FolderSync::now) const;
  // Nothing when the file is missing, unreadable, empty or not Settings.
  static std::optional<Settings> load(const std::filesystem::path& file);
  // The file's bytes; nothing when it is missing, unreadable or not a regular file.
  static std::optional<std::string> read(const std::filesystem::path& file);
  // True when the file now holds exactly these bytes. Whatever is at the
  // temporary's path gives way, but for a folder with something in it.
  bool write(std::string_view data, const std::filesystem::path& file,
             FolderSync sync = FolderSync::now) const;
  // True when nothing is at the file's path afterwards (removed now, or there
  // was nothing); false when it is still there (a read-only file system, a
  // folder with something in it).
  bool remove(const std::filesystem::path& file) const;
};

}  // namespace orvel
