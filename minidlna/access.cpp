#include "minidlna/access.h"

#include <nftables/libnftables.h>

namespace {

// One for each port, so that servers on one machine don't share any.
std::string TableName(int port) { return "inet dms_" + std::to_string(port); }

// Adding it first lets its deletion succeed.
std::string Removal(int port) {
    return "add table " + TableName(port) + "\ndelete table " + TableName(port) + "\n";
}

std::string Table(int port, const std::vector<std::string>& addresses) {
    std::string elements;
    for (const std::string& address : addresses) {
        elements += (elements.empty() ? "" : ", ") + address;
    }
    return "table " + TableName(port) +
           " {\n"
           "set denied { type ether_addr; elements = { " +
           elements +
           " }; }\n"
           "chain input {\n"
           "type filter hook input priority filter; policy accept;\n"
           "tcp dport " +
           std::to_string(port) +
           " ether saddr @denied reject with tcp reset\n"
           "}\n}\n";
}

}  // namespace

// The commands of one buffer are one transaction.
bool AccessControl::Run(const std::string& commands, bool mayFail) {
    nft_ctx* context = nft_ctx_new(NFT_CTX_DEFAULT);
    if (context == nullptr) {
        return false;
    }
    nft_ctx_buffer_error(context);
    const bool done = nft_run_cmd_from_buffer(context, commands.c_str()) == 0;
    if (!done && !failed_ && !mayFail) {
        const std::string message = nft_ctx_get_error_buffer(context);
        log_.Write(Level::Warning,
                   "clients without access can connect all the same: the packet filter says " +
                       message.substr(0, message.find('\n')));
    }
    failed_ = !done && !mayFail;
    nft_ctx_free(context);
    return done;
}

void AccessControl::Deny(int port, const std::vector<std::string>& addresses) {
    if (port == port_ && addresses == addresses_) {
        return;
    }
    if (port != port_) {
        Remove();
    }
    const bool none = addresses.empty();
    if (Run(Removal(port) + (none ? "" : Table(port, addresses)), none) && !none) {
        log_.Write(Level::Info, std::to_string(addresses.size()) + " clients have no access");
    }
    port_ = port;
    addresses_ = addresses;
}

void AccessControl::Remove() {
    if (port_ != 0 && !addresses_.empty() && !failed_) {
        Run(Removal(port_), true);
    }
    port_ = 0;
    addresses_.clear();
}
