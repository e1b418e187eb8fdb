// The media server: minidlnad under supervision, with the settings, the clients and the status file of the
// administration pages.
#pragma once

#include <optional>
#include <string>

#include "minidlna/access_control.h"
#include "minidlna/clients.h"
#include "minidlna/configuration.h"
#include "minidlna/dms_log.h"
#include "minidlna/log_reader.h"
#include "minidlna/settings.h"
#include "minidlna/status_file.h"
#include "minidlna/status_page.h"
#include "minidlna/supervisor.h"

namespace dms {

class Server {
  public:
    // `logFifo` is the descriptor of OpenLogFifo.
    Server(DmsLog& log, int logFifo);

    // Ends minidlnad, deletes the access rules and the address file, and updates the status file.
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // Reads the settings file and the administrator's configuration and applies their changes. Restarts
    // minidlnad only if its configuration changes. CheckState reads a file that cannot be read once more.
    void ReloadSettings();

    // Reads the client list file and applies the access of the clients.
    void ReadClientList();

    // Adds the clients that minidlnad has seen to the client list file.
    void WriteClientList();

    // Forwards the messages of minidlnad to the log of dms.
    void ForwardLog() { logReader_.ForwardLines(); }

    // Supervises minidlnad and checks the state. Call it after SIGCHLD and at NextDeadline. Returns false if
    // dms must end because minidlnad exits again and again.
    bool RunDueTasks();

    // Returns the time at which RunDueTasks must be called even if no signal arrives.
    Clock::time_point NextDeadline() const;

  private:
    bool ReadConfiguration(bool logsErrors);
    void ApplyConfiguration();
    void CheckState();
    bool PollStatus();
    void MergeClients();
    void PublishAddress();
    void ApplyAccess();

    DmsLog& log_;
    Supervisor supervisor_;
    LogReader logReader_;
    Clients clients_;
    AccessControl access_;
    StatusFile statusFile_;
    Settings settings_;
    std::string administratorConfiguration_;
    Configuration configuration_;
    bool configurationRead_ = false;
    StatusPage status_;
    Clock::time_point nextCheck_;
    std::optional<std::string> publishedAddress_;
    bool publishingFailed_ = false;
};

}  // namespace dms
