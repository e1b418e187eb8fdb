// The lines that minidlnad logs, taken over into the log of dms.
//
//     [2026/01/31 08:15:30] minidlna.c:138: error: bind(http): Address already in use
#pragma once

#include <string>

#include "minidlna/dms_log.h"

class ServerLog {
  public:
    ServerLog(DmsLog& log, int fifo) : log_(log), fifo_(fifo) {}

    // Reads what is there and writes its whole lines to the log: without date and place in the source, and
    // with what the administrator can do about an error.
    void TakeOver();

  private:
    DmsLog& log_;
    int fifo_;
    std::string rest_;  // a line whose end hasn't come yet
};
