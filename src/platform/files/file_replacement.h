// Replaces a file as a whole. A reader finds either the old content or the new one, even after a power cut,
// unless the file can only be written in place: see Replace.
#pragma once

#include <string>
#include <string_view>

#include "platform/files/file_io.h"

// How long a writer waits for the lock.
constexpr int MAX_LOCK_SECONDS = 10;

enum class Saved : char {
    Yes,
    CantOpen,   // the file can't be opened for writing; errno is set, nothing is logged
    CantWrite,  // any other failure, for example a full disk; one log line names file and reason
};

// Holds the lock of the file's directory (flock(2)) during its life. Code that reads, changes and replaces a
// file within the life of one object never overwrites the change of another writer.
class FileReplacement {
  public:
    // Waits for the lock. If another process holds it for MAX_LOCK_SECONDS, gives up and logs one line;
    // Replace then fails. If `path` is a symbolic link, the link stays and its target is replaced.
    explicit FileReplacement(const char* path);

    // Returns whether this object holds the lock.
    bool HoldsLock() const { return lockError_ == 0; }

    // Call this if the old file can't be read; `reason` says why. Replace then first gives the old file a
    // second name: NAME.kept or, if that exists, NAME.kept.1 to NAME.kept.4. If all five names exist, it
    // keeps no copy. If the copy can't be made, Replace fails. If the replacement fails, Replace removes the
    // copy again. After the replacement, one log line names file, reason and copy.
    void KeepUnreadable(const std::string& reason) { unreadable_ = reason; }

    // Makes `content` the file's whole content: writes it to a temporary file in the same directory, gives
    // that file the mode and owner of the old one (mode 0644 if there is none), syncs it, renames it and
    // syncs the directory. If the new file can't take the old one's place (the directory allows no new file,
    // the owner can't be set, the file is a mount point), but the file can be written and no copy was kept,
    // writes it in place.
    //
    // On failure the old file is unchanged and the temporary file is removed, with two exceptions. If only
    // the last sync fails, the new file is in place but may not survive a power cut. If writing in place
    // fails half-way, the file is damaged; space is reserved first to make that unlikely.
    Saved Replace(std::string_view content);

    // Logs that the file can't be saved, and why. The file is unchanged. Returns Saved::CantWrite.
    Saved Fail(const char* reason) const;

  private:
    void LogKept(const std::string& copy) const;

    std::string path_;  // after following symbolic links
    Descriptor directory_;
    int lockError_ = 0;       // 0 while the lock is held, otherwise an errno value
    std::string unreadable_;  // why the old file can't be read; empty if it can
};
