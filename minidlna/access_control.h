// Denies access to clients by MAC address, with a table of the kernel's packet filter (nft(8)) for
// minidlnad's port.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "minidlna/dms_log.h"

namespace dms {

class AccessControl {
  public:
    explicit AccessControl(DmsLog& log) : log_(log) {}

    // From now on exactly the clients with these MAC addresses cannot connect to the port. Their open
    // connections are reset. On failure, for example without CAP_NET_ADMIN, the previous rules stay, one
    // warning is logged, and the next call tries again.
    void Deny(int port, const std::vector<std::string>& macAddresses);

    // Deletes the rules. Call it once, at the end.
    void Remove();

  private:
    DmsLog& log_;
    int port_ = 0;  // of the current rules; 0 before the first success and after a failure, so that the next
                    // call tries again
    std::vector<std::string> macAddresses_;  // of the current rules
    std::set<int> ports_;                    // that may have a table
    bool warned_ = false;
};

}  // namespace dms
