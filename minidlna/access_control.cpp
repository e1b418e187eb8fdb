#include "minidlna/access_control.h"

#include <nftables/libnftables.h>

namespace dms {
namespace {

// Contains the port, so that two media servers on one machine do not share a table.
std::string TableName(int port) { return "inet dms_" + std::to_string(port); }

// Adds the table first, since the deletion of a missing table fails.
std::string DeleteCommands(int port) {
    return "add table " + TableName(port) + "\ndelete table " + TableName(port) + "\n";
}

std::string TableDefinition(int port, const std::vector<std::string>& macAddresses) {
    std::string elements;
    for (const std::string& address : macAddresses) {
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

// Runs the commands as one transaction: the packet filter applies all of them or none.
bool AccessControl::Run(const std::string& commands, bool ignoreFailure) {
    nft_ctx* context = nft_ctx_new(NFT_CTX_DEFAULT);
    if (context == nullptr) {
        return false;
    }
    nft_ctx_buffer_error(context);
    const bool done = nft_run_cmd_from_buffer(context, commands.c_str()) == 0;
    if (!done && !failed_ && !ignoreFailure) {
        const std::string message = nft_ctx_get_error_buffer(context);
        log_.Write(Level::Warning, "clients without access can connect because the packet filter reports \"" +
                                       message.substr(0, message.find('\n')) +
                                       "\": run dms as root or with CAP_NET_ADMIN");
    }
    failed_ = !done && !ignoreFailure;
    nft_ctx_free(context);
    return done;
}

void AccessControl::Deny(int port, const std::vector<std::string>& macAddresses) {
    if (port == port_ && macAddresses == macAddresses_) {
        return;
    }
    if (port != port_) {
        Remove();
    }
    // Even without a client to deny, the table is deleted: dms may have left it behind when it was killed.
    const bool none = macAddresses.empty();
    const std::string commands = DeleteCommands(port) + (none ? "" : TableDefinition(port, macAddresses));
    if (Run(commands, none) && !none) {
        log_.Write(Level::Info, "clients without access: " + std::to_string(macAddresses.size()));
    }
    port_ = port;
    macAddresses_ = macAddresses;
}

void AccessControl::Remove() {
    if (port_ != 0 && !macAddresses_.empty() && !failed_) {
        Run(DeleteCommands(port_), true);
    }
    port_ = 0;
    macAddresses_.clear();
}

}  // namespace dms
