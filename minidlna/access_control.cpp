#include "minidlna/access_control.h"

#include <fcntl.h>
#include <nftables/libnftables.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/files/file_io.h"

namespace dms {
namespace {

// Contains the port, so that two media servers on one machine do not share a table.
std::string TableName(int port) { return "inet dms_" + std::to_string(port); }

// Adds each table first, since the deletion of a missing table fails.
std::string DeleteCommands(const std::set<int>& ports) {
    std::string commands;
    for (const int port : ports) {
        commands += "add table " + TableName(port) + "\ndelete table " + TableName(port) + "\n";
    }
    return commands;
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

// Runs the commands as one transaction: the packet filter applies all of them or none. Returns an error
// message, which is empty on success.
std::string RunCommands(const std::string& commands) {
    nft_ctx* context = nft_ctx_new(NFT_CTX_DEFAULT);
    if (context == nullptr) {
        return strerror(errno);
    }
    nft_ctx_buffer_error(context);
    if (nft_run_cmd_from_buffer(context, commands.c_str()) == 0) {
        return "";
    }
    const std::string message = nft_ctx_get_error_buffer(context);
    return message.empty() ? "failure without a message" : message.substr(0, message.find('\n'));
}

// The child process. An exception ends it and does not unwind the stack of dms.
[[noreturn]] void RunAndExit(const std::string& commands, int output) noexcept {
    const std::string message = RunCommands(commands);
    WriteAll(output, message);
    _exit(message.empty() ? 0 : 1);
}

// Runs the commands in a child process because libnftables calls exit(3) if it gets no socket or no memory.
// Returns an error message, which is empty on success.
std::string RunInChild(const std::string& commands) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return strerror(errno);
    }
    const Descriptor result(ends[0]);
    const pid_t child = fork();
    if (child == 0) {
        RunAndExit(commands, ends[1]);
    }
    close(ends[1]);
    if (child < 0) {
        return strerror(errno);
    }
    std::string message;
    int status = 0;
    ReadToEnd(result.Get(), message);
    const pid_t ended = Uninterrupted([&] { return waitpid(child, &status, 0); });
    if (ended == child && WIFEXITED(status) && WEXITSTATUS(status) == 0) {
        return "";
    }
    return message.empty() ? "the child process for libnftables failed" : message;
}

}  // namespace

void AccessControl::Deny(int port, const std::vector<std::string>& macAddresses) {
    if (port == port_ && macAddresses == macAddresses_) {
        return;
    }
    ports_.insert(port);
    const bool changesAccess = !macAddresses.empty() || !macAddresses_.empty();
    // Even without a client to deny, the table is deleted: dms may have left it behind when it was killed.
    const std::string error = RunInChild(DeleteCommands(ports_) +
                                         (macAddresses.empty() ? "" : TableDefinition(port, macAddresses)));
    if (!error.empty()) {
        port_ = 0;
        if (changesAccess && !warned_) {
            log_.Write(Level::Warning,
                       "cannot change the access of clients because the packet filter reports \"" + error +
                           "\": run dms as root or with CAP_NET_ADMIN");
            warned_ = true;
        }
        return;
    }
    if (changesAccess) {
        log_.Write(Level::Info, "clients without access: " + std::to_string(macAddresses.size()));
    }
    port_ = port;
    macAddresses_ = macAddresses;
    ports_ = {port};
    warned_ = false;
}

void AccessControl::Remove() {
    if (ports_.empty()) {
        return;
    }
    const std::string commands = DeleteCommands(ports_);
    std::string error = RunInChild(commands);
    if (!error.empty()) {
        error = RunInChild(commands);
    }
    if (!error.empty() && !macAddresses_.empty()) {
        log_.Write(Level::Error, "clients without access stay denied because the packet filter reports \"" +
                                     error + "\": delete the table " + TableName(*ports_.begin()) +
                                     " with nft");
    }
}

}  // namespace dms
