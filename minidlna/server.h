// The media server as the pages know it: its settings, its clients and its state, over a running minidlnad.
#pragma once

#include <optional>
#include <string>

#include "minidlna/access.h"
#include "minidlna/clients.h"
#include "minidlna/configuration.h"
#include "minidlna/keeper.h"
#include "minidlna/server_log.h"
#include "minidlna/status_file.h"

class Server {
  public:
    Server(DmsLog& log, int logFifo);

    // Takes the settings over, and what follows from them.
    void ReadSettings();

    void TakeBackClients();             // SIGUSR2
    void WriteClients();                // SIGCONT
    void OnChild() { keeper_.Step(); }  // SIGCHLD
    void TakeOverLog() { serverLog_.TakeOver(); }

    // Does what is due without a signal. False when there is nothing left to do: minidlnad has died too
    // often.
    bool Step();
    Clock::time_point Due() const;

    // Ends minidlnad, and with it all that this server holds.
    void Stop();

  private:
    bool LookAtStatus();  // false while it had better look again soon
    void MergeClients();
    void PublishAddress();
    void ApplyAccess();

    DmsLog& log_;
    Keeper keeper_;
    ServerLog serverLog_;
    Clients clients_;
    AccessControl access_;
    StatusFile statusFile_;
    Settings settings_;
    std::string own_;  // the administrator's configuration
    Configuration configuration_;
    StatusPage page_;
    Clock::time_point nextLook_;
    std::optional<std::string> published_;  // the address
};
