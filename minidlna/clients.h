// The client list of dms, in the file that the administration page changes, too (src/clients/client_list.h).
#pragma once

#include <json/value.h>

#include <string>
#include <vector>

#include "minidlna/dms_log.h"
#include "minidlna/status_page.h"

namespace dms {

class Clients {
  public:
    explicit Clients(DmsLog& log);

    // Reads the file. A missing file is an empty list. Logs an invalid file and keeps the list.
    void Read();

    // Reads the file, to keep the changes of the administration page. Then adds the clients that are not
    // listed, with access and the profile for their type, and updates the IP addresses of the others. Writes
    // the file if the list has changed, or if the file was missing or invalid.
    void Merge(const std::vector<SeenClient>& seen);

    // Returns the MAC addresses of the clients without access.
    std::vector<std::string> Denied() const;

  private:
    DmsLog& log_;
    Json::Value document_;  // of the file
};

}  // namespace dms
