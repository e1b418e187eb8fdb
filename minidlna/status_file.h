// The state of the media server, which the administration page shows. An example of the file:
//
//     {"audio":12,"clients":1,"images":34,"last_error":null,"running_since":1790000000,"scanning":false,"video":5}
#pragma once

#include <ctime>
#include <string>

#include "minidlna/dms_log.h"
#include "minidlna/status_page.h"

namespace dms {

// In the directory of the administration page, so that the page can load it.
constexpr char STATUS_FILE[] = APPLIANCE_ROOT "/var/packages/Dalmira/target/share/mediaserv/status.json";

class StatusFile {
  public:
    explicit StatusFile(DmsLog& log) : log_(log) {}

    // Replaces the file if its content has changed, or if the last replacement failed. `runningSince` is 0
    // while minidlnad is not running.
    void Update(std::time_t runningSince, const StatusPage& page);

  private:
    DmsLog& log_;
    std::string written_;
    bool failed_ = false;
};

}  // namespace dms
