// The PID file of dms, DMS_PID_FILE. dms holds a lock on it (flock(2)), which the kernel releases even if dms
// is killed. So the control script recognises a stale file by the missing lock, and a second dms does not
// start.
#pragma once

#include "minidlna/dms_log.h"

namespace dms {

class PidFile {
  public:
    explicit PidFile(DmsLog& log) : log_(log) {}
    PidFile(const PidFile&) = delete;
    PidFile& operator=(const PidFile&) = delete;

    // Deletes the file if this object holds its lock.
    ~PidFile();

    // Creates the file if necessary and locks it. A child process of fork(2) shares the lock. Logs a failure
    // and returns false, for example if another dms is running.
    bool Lock();

    // Replaces the content of the locked file by the process ID. Logs a failure and returns false.
    bool Write();

  private:
    DmsLog& log_;
    int file_ = -1;
};

}  // namespace dms
