// Reads the log of minidlnad from a FIFO. A line is, for example:
//
//     [2026/01/31 08:15:30] minidlna.c:138: error: bind(http): Address already in use
#pragma once

#include <cstddef>
#include <string>

#include "minidlna/dms_log.h"

namespace dms {

constexpr size_t MAX_LOG_READER_LINE = 4096;  // bytes; a longer line is split

struct LogMessage {
    Level level = Level::Off;
    std::string text;
};

// Removes the first line from `pending` and stores it in `line`, without its line feed. Returns false with
// `pending` unchanged if it contains no complete line and fewer than MAX_LOG_READER_LINE bytes.
bool TakeLogLine(std::string& pending, std::string& line);

// Returns the message of a line: without minidlnad's date and source location, and with advice for the
// administrator if it reports a known error.
LogMessage ReadLogLine(const std::string& line);

// Creates the FIFO MINIDLNAD_LOG_FIFO and opens it; reading never blocks. Logs a failure and returns -1.
int OpenLogFifo(DmsLog& log);

class LogReader {
  public:
    LogReader(DmsLog& log, int fifo) : log_(log), fifo_(fifo) {}

    // Reads the data in the FIFO, at most as much as it can hold, and writes the message of each complete
    // line to the log of dms.
    void ForwardLines();

  private:
    DmsLog& log_;
    int fifo_;
    std::string incompleteLine_;
};

}  // namespace dms
