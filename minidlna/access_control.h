// Denies access to clients by MAC address, with a table of the kernel's packet filter (nft(8)) for
// minidlnad's port.
#pragma once

#include <string>
#include <vector>

#include "minidlna/dms_log.h"

namespace dms {

class AccessControl {
  public:
    explicit AccessControl(DmsLog& log) : log_(log) {}

    // From now on exactly the clients with these MAC addresses cannot connect to the port. Their open
    // connections are reset. On failure, for example without CAP_NET_ADMIN, all clients can connect and
    // a warning is logged.
    void Deny(int port, const std::vector<std::string>& macAddresses);

    // Deletes the table.
    void Remove();

  private:
    bool Run(const std::string& commands, bool ignoreFailure);

    DmsLog& log_;
    int port_ = 0;  // of the current table, 0 if there is none
    std::vector<std::string> macAddresses_;
    bool failed_ = false;
};

}  // namespace dms
