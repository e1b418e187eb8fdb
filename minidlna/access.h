// Who may connect: a table of its own in the kernel's packet filter (nft(8)), bound to minidlnad's port.
#pragma once

#include <string>
#include <vector>

#include "minidlna/dms_log.h"

class AccessControl {
  public:
    explicit AccessControl(DmsLog& log) : log_(log) {}

    // From now on the clients with these hardware addresses can't connect to the port, and lose what
    // connections they have. Without the privilege (CAP_NET_ADMIN) all can; a line in the log says so once.
    void Deny(int port, const std::vector<std::string>& addresses);

    // Takes the table away.
    void Remove();

  private:
    bool Run(const std::string& commands, bool mayFail);

    DmsLog& log_;
    int port_ = 0;  // of the table in force, 0 while there is none
    std::vector<std::string> addresses_;
    bool failed_ = false;
};
