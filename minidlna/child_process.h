// The child process minidlnad. It leads a process group of its own.
#pragma once

#include <sys/types.h>

#include <string>

#include "minidlna/dms_log.h"

namespace dms {

constexpr char MINIDLNAD[] = "/usr/sbin/minidlnad";

// The exit status of a child process that could not execute minidlnad.
constexpr int NOT_STARTED = 127;

struct StartOptions {
    std::string databaseDirectory;  // minidlnad writes its PID file there
    std::string user;     // used only if dms runs as root; empty for the user of the package minidlna
    bool rescan = false;  // scan all media again
};

// Starts minidlnad with MINIDLNAD_CONFIGURATION_FILE. `output` becomes its standard output and standard
// error. The kernel sends it SIGTERM when dms ends, even if dms is killed. Returns the process ID, or -1 with
// errno set if its user cannot be looked up or no process can be created.
pid_t StartMinidlnad(const StartOptions& options, int output, DmsLog& log);

// If the child has ended, reaps it, stores its wait status (0 if it is unknown) and kills the rest of its
// process group: minidlnad scans media in a child process of its own. Returns false while the child is
// running.
bool ReapChild(pid_t child, int& status);

}  // namespace dms
