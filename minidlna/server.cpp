#include "minidlna/server.h"

#include <unistd.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "minidlna/interface_address.h"
#include "platform/files/file_io.h"
#include "platform/files/file_replacement.h"
#include "settings/network_interfaces.h"
#include "settings/settings_file.h"

namespace {

using std::chrono::seconds;

// How often minidlnad is asked for its state: its answer costs it little, but it wakes up.
constexpr seconds LOOK_TIME(10);
constexpr seconds BUSY_LOOK_TIME(2);  // while it scans, or doesn't answer

}  // namespace

Server::Server(DmsLog& log, int logFifo)
    : log_(log),
      keeper_(log, logFifo),
      serverLog_(log, logFifo),
      clients_(log),
      access_(log),
      statusFile_(log) {}

void Server::ReadSettings() {
    if (!::ReadSettings(settings_)) {
        log_.Write(Level::Error,
                   std::string(SETTINGS_FILE) + " holds no settings: those before stay in force");
    }
    log_.SetLevel(settings_.logLevel);
    std::string own;
    if (ReadFile(OWN_CONFIGURATION_FILE, own)) {
        own_ = own;
    } else {
        log_.Write(Level::Error,
                   std::string("can't read ") + OWN_CONFIGURATION_FILE + ": the one before stays in force");
    }
    configuration_ = Compose(own_, settings_);
    log_.Write(Level::Info, "settings: interface " + configuration_.interface + ", port " +
                                std::to_string(configuration_.port) + ", expiry " + settings_.expiry +
                                " s, menu style " + settings_.menuStyle);
    PublishAddress();
    ApplyAccess();
    keeper_.Use(configuration_);
    nextLook_ = Clock::now();
}

void Server::PublishAddress() {
    const std::string address = AddressOf(configuration_.interface);
    if (address == published_) {
        return;
    }
    published_ = address;
    if (address.empty()) {
        unlink(DMS_IP_FILE);
        log_.Write(Level::Error, "interface " + configuration_.interface +
                                     " has no IPv4 address: choose another one on the general page");
    } else if (FileReplacement(DMS_IP_FILE).Replace(address) != Saved::Yes) {
        log_.Write(Level::Error, std::string("can't write ") + DMS_IP_FILE);
    }
}

void Server::ApplyAccess() {
    access_.Deny(configuration_.port,
                 settings_.accessForAll ? std::vector<std::string>() : clients_.Denied());
}

void Server::TakeBackClients() {
    clients_.TakeBack();
    ApplyAccess();
}

void Server::WriteClients() {
    LookAtStatus();
    MergeClients();
}

void Server::MergeClients() {
    clients_.Merge(page_.clients);
    ApplyAccess();
}

// New clients are stored as soon as they are seen: minidlnad forgets them when it starts anew.
bool Server::LookAtStatus() {
    StatusPage page;
    const bool answered = keeper_.Child() > 0 && FetchStatusPage(configuration_.port, page);
    if (answered) {
        std::swap(page_, page);
        if (!page_.clients.empty() && page_.clients != page.clients) {
            MergeClients();
        }
    }
    statusFile_.Update(keeper_.RunningSince(), page_);
    return answered && !page_.scanning;
}

bool Server::Step() {
    keeper_.Step();
    const Clock::time_point now = Clock::now();
    if (now >= nextLook_) {
        PublishAddress();
        nextLook_ = now + (LookAtStatus() ? LOOK_TIME : BUSY_LOOK_TIME);
    }
    return !keeper_.GaveUp();
}

Clock::time_point Server::Due() const { return std::min(keeper_.Due(), nextLook_); }

void Server::Stop() {
    keeper_.Stop();
    serverLog_.TakeOver();
    access_.Remove();
    statusFile_.Update(0, page_);
    unlink(DMS_IP_FILE);
}
