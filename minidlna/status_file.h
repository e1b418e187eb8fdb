// What the administration page shows of the server: a file beside the page's own.
//
//     {"audio":12,"clients":1,"images":34,"last_error":null,"running_since":1790000000,"scanning":false,"video":5}
#pragma once

#include <ctime>
#include <string>

#include "minidlna/dms_log.h"
#include "minidlna/status_page.h"

constexpr char STATUS_FILE[] = APPLIANCE_ROOT "/var/packages/Dalmira/target/share/mediaserv/status.json";

class StatusFile {
  public:
    explicit StatusFile(DmsLog& log) : log_(log) {}

    // Replaces the file when its content changes. `runningSince` is 0 while minidlnad doesn't run.
    void Update(std::time_t runningSince, const StatusPage& page);

  private:
    DmsLog& log_;
    std::string written_;
};
