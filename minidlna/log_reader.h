// Reads the log of minidlnad from a FIFO. A line is, for example:
//
//     [2026/01/31 08:15:30] minidlna.c:138: error: bind(http): Address already in use
#pragma once

#include <string>

#include "minidlna/dms_log.h"

namespace dms {

// Creates the FIFO MINIDLNAD_LOG_FIFO and opens it; reading never blocks. Logs a failure and returns -1.
int OpenLogFifo(DmsLog& log);

class LogReader {
  public:
    LogReader(DmsLog& log, int fifo) : log_(log), fifo_(fifo) {}

    // Reads the data in the FIFO and writes each complete line to the log of dms: without minidlnad's date
    // and source location, and with advice for the administrator if it reports an error.
    void ForwardLines();

  private:
    DmsLog& log_;
    int fifo_;
    std::string incompleteLine_;
};

}  // namespace dms
