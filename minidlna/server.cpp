#include "minidlna/server.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

#include "minidlna/interface_address.h"
#include "minidlna/status_request.h"
#include "platform/files/file_io.h"
#include "platform/files/file_replacement.h"
#include "settings/network_interfaces.h"
#include "settings/settings_file.h"

namespace dms {
namespace {

using std::chrono::seconds;

// The time between two polls of minidlnad's status. A poll is cheap, but it wakes minidlnad up.
constexpr seconds POLL_TIME(10);
constexpr seconds BUSY_POLL_TIME(2);  // while minidlnad scans or does not respond

std::string OrNotSet(const std::string& text) { return text.empty() ? "not set" : text; }

}  // namespace

Server::Server(DmsLog& log, int logFifo)
    : log_(log),
      supervisor_(log, logFifo),
      logReader_(log, logFifo),
      clients_(log),
      access_(log),
      statusFile_(log) {}

void Server::ReloadSettings() {
    if (!ReadSettings(settings_)) {
        log_.Write(Level::Error,
                   std::string("cannot read any setting in ") + SETTINGS_FILE +
                       ": dms keeps the previous settings. Restore the file, or delete it and save "
                       "the settings again");
    }
    log_.SetLevel(settings_.logLevel);
    std::string text;
    if (ReadFile(ADMINISTRATOR_CONFIGURATION_FILE, text)) {
        administratorConfiguration_ = text;
    } else {
        log_.Write(Level::Error, "cannot read " ADMINISTRATOR_CONFIGURATION_FILE
                                 ": dms keeps the previous configuration. Restore the file");
    }
    configuration_ = ComposeConfiguration(administratorConfiguration_, settings_);
    log_.Write(Level::Info, "settings: network interface: " + OrNotSet(configuration_.interface) +
                                ", port: " + std::to_string(configuration_.port) +
                                ", expiry in seconds: " + OrNotSet(settings_.expiry) +
                                ", menu style: " + OrNotSet(settings_.menuStyle));
    PublishAddress();
    ApplyAccess();
    supervisor_.SetConfiguration(configuration_);
    nextPoll_ = Clock::now();
}

void Server::PublishAddress() {
    const std::string address = AddressOf(configuration_.interface);
    if (address == publishedAddress_) {
        return;
    }
    publishedAddress_ = address;
    if (address.empty()) {
        unlink(DMS_IP_FILE);
        log_.Write(Level::Error, configuration_.interface.empty()
                                     ? "no network interface has an IPv4 address: connect one to a network"
                                     : "interface " + configuration_.interface +
                                           " has no IPv4 address: choose another interface in the section "
                                           "General of the administration page");
    } else if (FileReplacement(DMS_IP_FILE).Replace(address) != Saved::Yes) {
        log_.Write(Level::Error,
                   std::string("cannot write ") + DMS_IP_FILE +
                       ": the administration page does not show the address of the media server");
    }
}

void Server::ApplyAccess() {
    access_.Deny(configuration_.port,
                 settings_.ignoreAccess ? std::vector<std::string>() : clients_.Denied());
}

void Server::ReadClientList() {
    clients_.Read();
    ApplyAccess();
}

void Server::WriteClientList() {
    PollStatus();
    MergeClients();
}

void Server::MergeClients() {
    clients_.Merge(status_.clients);
    ApplyAccess();
}

// Stores new clients at once because minidlnad forgets them when it restarts. Returns false while minidlnad
// scans or does not respond.
bool Server::PollStatus() {
    StatusPage page;
    const bool responded = supervisor_.IsRunning() && FetchStatusPage(configuration_.port, page);
    if (responded) {
        std::swap(status_, page);
        if (!status_.clients.empty() && status_.clients != page.clients) {
            MergeClients();
        }
    }
    statusFile_.Update(supervisor_.RunningSince(), status_);
    return responded && !status_.scanning;
}

bool Server::RunDueTasks() {
    supervisor_.RunDueTasks();
    const Clock::time_point now = Clock::now();
    if (now >= nextPoll_) {
        PublishAddress();
        nextPoll_ = now + (PollStatus() ? POLL_TIME : BUSY_POLL_TIME);
    }
    return !supervisor_.HasGivenUp();
}

Clock::time_point Server::NextDeadline() const { return std::min(supervisor_.NextDeadline(), nextPoll_); }

void Server::Stop() {
    supervisor_.Stop();
    logReader_.ForwardLines();
    access_.Remove();
    statusFile_.Update(0, status_);
    unlink(DMS_IP_FILE);
}

}  // namespace dms
