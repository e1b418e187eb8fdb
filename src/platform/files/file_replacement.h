// Replaces a file as a whole. A reader finds either the old content or the new one, even after a power cut.
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
    // Waits at most MAX_LOCK_SECONDS for the lock and then logs one line. Without the lock, Replace fails. If
    // `path` is a symbolic link, the link stays and its target is replaced.
    explicit FileReplacement(const char* path);

    // Returns whether this object holds the lock.
    bool IsLocked() const { return lockError_ == 0; }

    // Lets Replace keep the old file, which could not be read for this reason: before the replacement the old
    // file gets a second name, NAME.kept or, if that exists, NAME.kept.1 to NAME.kept.4. One log line names
    // file, reason and copy. If all five names exist, no further copy is kept. If the copy can't be made,
    // Replace fails.
    void KeepUnreadable(const std::string& reason) { unreadable_ = reason; }

    // Makes `content` the file's whole content: writes it to a temporary file in the same directory, gives
    // that file the mode and owner of the old one (mode 0644 if there is none), syncs it, renames it and
    // syncs the directory. If the directory does not allow a new file, but the file can be written, writes it
    // in place.
    //
    // On failure the old file is unchanged and the temporary file is removed, with two exceptions. If only
    // the last sync fails, the new file is in place but may not survive a power cut. If writing in place
    // fails half-way, the file is damaged; space is reserved first to make that unlikely.
    Saved Replace(std::string_view content);

    // Logs that the file can't be saved, and why. The file is unchanged. Returns Saved::CantWrite.
    Saved Fail(const char* reason) const;

  private:
    bool KeepOld(const std::string& name, std::string& copy) const;

    std::string path_;  // after following symbolic links
    Descriptor directory_;
    int lockError_ = 0;       // 0 while the lock is held, otherwise an errno value
    std::string unreadable_;  // why the old file can't be read; empty if it can
};
