// The process minidlnad, a child of this one that leads a process group of its own.
#pragma once

#include <sys/types.h>

#include <string>

#include "minidlna/dms_log.h"

constexpr char MINIDLNAD[] = "/usr/sbin/minidlnad";

// The exit status of a child that couldn't become minidlnad.
constexpr int NOT_STARTED = 127;

struct Start {
    std::string database;  // where minidlnad may write its PID file
    std::string user;      // whom it runs as when this process is root: the package's own user when empty
    bool rescan = false;   // look through the media again
};

// The FIFO that minidlnad logs to, open for reading without waiting; -1 with a line in the log on failure.
int OpenLogFifo(DmsLog& log);

// Starts minidlnad with the configuration file, its outputs going to `output`. It ends when this process
// does, however that ends (PR_SET_PDEATHSIG of prctl(2)). Returns its process number, -1 on failure.
pid_t StartMinidlnad(const Start& start, int output, DmsLog& log);

// Takes an ended child in and ends what it left behind: a scan runs in a process of its own. Returns false
// while it runs.
bool TakeIn(pid_t child, int& status);
