#include "minidlna/server.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <optional>
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

// The time between two checks of the state. A check is cheap, but it wakes minidlnad up.
constexpr seconds CHECK_TIME(10);
constexpr seconds BUSY_CHECK_TIME(2);  // while minidlnad scans or does not respond

std::string OrNotSet(const std::string& text) { return text.empty() ? "not set" : text; }

}  // namespace

Server::Server(DmsLog& log, int logFifo)
    : log_(log),
      supervisor_(log, logFifo),
      logReader_(log, logFifo),
      clients_(log),
      access_(log),
      statusFile_(log) {}

Server::~Server() {
    supervisor_.Stop();
    logReader_.ForwardLines();
    access_.Remove();
    statusFile_.Update(0, status_);
    unlink(DMS_IP_FILE);
}

void Server::ReloadSettings() {
    configurationRead_ = ReadConfiguration(true);
    ApplyConfiguration();
}

// Returns false if a file cannot be read: its previous content stays.
bool Server::ReadConfiguration(bool logsErrors) {
    const bool settingsRead = ReadSettings(settings_);
    if (!settingsRead && logsErrors) {
        log_.Write(Level::Error,
                   std::string("cannot read any setting in ") + SETTINGS_FILE +
                       ": dms keeps the previous settings. Restore the file, or delete it and save "
                       "the settings again");
    }
    log_.SetLevel(settings_.logLevel);
    std::string text;
    if (ReadFile(ADMINISTRATOR_CONFIGURATION_FILE, text)) {
        administratorConfiguration_ = text;
        return settingsRead;
    }
    if (logsErrors) {
        log_.Write(Level::Error, "cannot read " ADMINISTRATOR_CONFIGURATION_FILE
                                 ": dms keeps the previous configuration. Restore the file");
    }
    return false;
}

void Server::ApplyConfiguration() {
    configuration_ = ComposeConfiguration(administratorConfiguration_, settings_);
    log_.Write(Level::Info, "settings: network interface: " + OrNotSet(configuration_.interface) +
                                ", port: " + std::to_string(configuration_.port) +
                                ", expiry in seconds: " + OrNotSet(settings_.expiry) +
                                ", menu style: " + OrNotSet(settings_.menuStyle));
    PublishAddress();
    ApplyAccess();
    supervisor_.SetConfiguration(configuration_);
    nextCheck_ = Clock::now();
}

void Server::PublishAddress() {
    const std::optional<std::string> address = AddressOf(configuration_.interface);
    if (!address || address == publishedAddress_) {
        return;
    }
    if (!address->empty()) {
        if (FileReplacement(DMS_IP_FILE).Replace(*address) == Saved::Yes) {
            publishedAddress_ = address;
            publishingFailed_ = false;
        } else if (!publishingFailed_) {
            log_.Write(Level::Error,
                       std::string("cannot write ") + DMS_IP_FILE +
                           ": the administration page does not show the address of the media server");
            publishingFailed_ = true;
        }
        return;
    }
    if (unlink(DMS_IP_FILE) == 0 || errno == ENOENT) {
        publishedAddress_ = address;
        log_.Write(Level::Error, configuration_.interface.empty()
                                     ? "no network interface has an IPv4 address: connect one to a network"
                                     : "interface " + configuration_.interface +
                                           " has no IPv4 address: choose another interface in the section "
                                           "General of the administration page");
    }
}

// Does nothing before the port is known.
void Server::ApplyAccess() {
    if (configuration_.port != 0) {
        access_.Deny(configuration_.port,
                     settings_.ignoreAccess ? std::vector<std::string>() : clients_.Denied());
    }
}

void Server::ReadClientList() {
    clients_.Read();
    ApplyAccess();
}

void Server::WriteClientList() {
    CheckState();
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

// Also repeats whatever has failed before.
void Server::CheckState() {
    if (!configurationRead_ && ReadConfiguration(false)) {
        configurationRead_ = true;
        ApplyConfiguration();
    }
    PublishAddress();
    ApplyAccess();
    nextCheck_ = Clock::now() + (PollStatus() ? CHECK_TIME : BUSY_CHECK_TIME);
}

bool Server::RunDueTasks() {
    supervisor_.RunDueTasks();
    if (Clock::now() >= nextCheck_) {
        CheckState();
    }
    return !supervisor_.HasGivenUp();
}

Clock::time_point Server::NextDeadline() const { return std::min(supervisor_.NextDeadline(), nextCheck_); }

}  // namespace dms
