// Files that are replaced whole or not at all: a reader, or a power cut, finds the old file or the new one.
#pragma once

#include <string>
#include <string_view>

#include "platform/files/file_io.h"

// How long a writer waits for its turn.
constexpr int LOCK_SECONDS = 10;

enum class Saved : char {
    Yes,
    CantOpen,   // the file may not be opened for writing: errno says why
    CantWrite,  // the disk is full, say: a line in the log has told file and reason
};

// A writer's turn with one file. Writers of a directory take turns by its flock(2): what is read, changed and
// replaced within the life of one object loses nothing that another writer saves.
class FileReplacement {
  public:
    // Waits for the turn, LOCK_SECONDS at most; then a line is logged and Replace fails. `path` may be a
    // symbolic link: it stays, and the file that it leads to is replaced.
    explicit FileReplacement(const char* path);

    // Makes `content` the file's whole content. It goes to a new file beside the old one, takes over its mode
    // and owner (0644 where there was none), is synced and renamed over it, and the directory is synced. On a
    // failure the old file is whole and nothing is left beside it; only when the directory can't be synced,
    // the new file is there and may not outlast a power cut. Where the directory takes no new file but the
    // file itself can be written, it is written in place.
    Saved Replace(std::string_view content);

    // Leaves the file as it is, for a reason that a line in the log tells.
    Saved Refuse(const char* reason) const;

  private:
    std::string path_;  // behind the links
    Descriptor directory_;
    int error_ = 0;  // why there is no turn, 0 when there is
};
