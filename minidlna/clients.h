// The client list of dms. The administration page changes the same file (src/clients/client_list.h).
#pragma once

#include <json/value.h>

#include <cstddef>
#include <ctime>
#include <string>
#include <vector>

#include "minidlna/dms_log.h"
#include "minidlna/status_page.h"

namespace dms {

// The limit of the list, so that a device that changes its MAC address cannot fill the disk.
constexpr size_t MAX_CLIENTS = 10'000;

// Returns whether the document is an object with an array CLIENTS of objects.
bool IsClientList(const Json::Value& document);

// Adds each seen client that is not listed, with access and the profile for its type. For a seen client that
// is listed, updates the IP address, and LAST_SEEN if it differs from `now` by a day or more. Keeps all other
// members.
//
// If the list is now longer than `limit`, removes clients that are not in `seen` and have no changes by
// the owner (no access, or a member that dms does not write), those with the smallest LAST_SEEN first. If
// the list is still too long, leaves out the last of the new clients. Returns the number of new clients left
// out. `document` must be a client list.
size_t MergeClients(const std::vector<SeenClient>& seen, std::time_t now, Json::Value& document,
                    size_t limit = MAX_CLIENTS);

class Clients {
  public:
    explicit Clients(DmsLog& log);

    // Reads the file. A missing file is an empty list. If the file cannot be read or is not a client list,
    // logs the problem, unless the previous call of Read or Merge had the same one, and keeps the list.
    void Read();

    // Reads the file, to keep the changes of the administration page, and merges the seen clients into it.
    // Writes the file if the list has changed, or if the file is missing. Never replaces a file that Read
    // would reject. Logs problems as Read does.
    void Merge(const std::vector<SeenClient>& seen);

    // Returns the MAC addresses of the clients without access.
    std::vector<std::string> Denied() const;

  private:
    void ReportProblem(const std::string& problem);
    void ReportUnstored(size_t count);

    DmsLog& log_;
    Json::Value document_;  // of the file
    std::string problem_;   // the last one, empty if the last call had none
    bool isFull_ = false;   // not all clients of the last merge are stored
};

}  // namespace dms
