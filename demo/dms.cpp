// The stand-in for the media server daemon. It streams nothing, but keeps the daemon's side of every
// agreement with the administration pages: settings read at start and at SIGHUP, its address published, its
// client list written at SIGCONT and taken back at SIGUSR2 and at start, its end at SIGTERM.
//
//     dms    returns 0 when the daemon stands in the background, ready for signals; 1 when it couldn't start
#include <arpa/inet.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <json/json.h>
#include <netinet/in.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "clients/client_list.h"
#include "daemon/daemon_control.h"
#include "platform/event_log.h"
#include "platform/file_io.h"
#include "platform/json_reader.h"
#include "platform/key_value_file.h"
#include "settings/network_interfaces.h"
#include "settings/settings_file.h"

namespace {

constexpr char MENU_TEMPLATE[] = APPLIANCE_ROOT "/var/packages/Dalmira/etc/menu_";
constexpr char LOG_FILE[] = APPLIANCE_ROOT "/var/log/dms.log";

// A line is logged when its level is at most the one in the settings; the pages switch the log on with 3.
enum class Level { Off, Error, Warning, Info };
constexpr const char* LEVEL_NAMES[] = {"", "error", "warning", "info"};

// Readers find the old file or the new one.
bool ReplaceFile(const std::string& path, const std::string& content) {
    const std::string temporary = path + ".new";
    const Descriptor file(open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    return file.IsOpen() && WriteAll(file.Get(), content) && rename(temporary.c_str(), path.c_str()) == 0;
}

// The lock stays until the process ends, however it ends: it tells a running daemon from a left-over file.
bool WritePidFile() {
    const std::string temporary = std::string(DMS_PID_FILE) + ".new";
    const int file = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    return file >= 0 && flock(file, LOCK_EX | LOCK_NB) == 0 &&
           WriteAll(file, std::to_string(getpid()) + "\n") && rename(temporary.c_str(), DMS_PID_FILE) == 0;
}

// The first IPv4 address of an interface; empty when it has none.
std::string AddressOf(const std::string& interface) {
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) {
        return "";
    }
    char text[INET_ADDRSTRLEN] = "";
    for (const ifaddrs* entry = list; entry != nullptr && text[0] == '\0'; entry = entry->ifa_next) {
        if (entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET &&
            interface == entry->ifa_name) {
            const auto* address = reinterpret_cast<const sockaddr_in*>(entry->ifa_addr);
            inet_ntop(AF_INET, &address->sin_addr, text, sizeof text);
        }
    }
    freeifaddrs(list);
    return text;
}

std::string Setting(const char* key, const char* missing) {
    char value[256] = "";
    return VLIBCFileGetKeyValue(SETTINGS_FILE, key, value, sizeof value, 0) > 0 ? value : missing;
}

class MediaServer {
  public:
    MediaServer() { clients_["ClientList"] = Json::arrayValue; }

    void ReadSettings() {
        const std::string wanted = Setting("loglevel_mediaservice", "");
        const long number = strtol(wanted.c_str(), nullptr, 10);
        // The pages take every text but the empty one for "on".
        level_ = wanted.empty() ? 0 : number > 0 ? number : static_cast<long>(Level::Info);

        const std::string interface = Setting("network_mediaservice", "eth0");
        const std::string address = AddressOf(interface);
        if (address.empty()) {
            unlink(DMS_IP_FILE);
            Log(Level::Error, "interface " + interface + " has no IPv4 address");
        } else if (!ReplaceFile(DMS_IP_FILE, address)) {
            Log(Level::Error, "can't write the address file");
        }
        const std::string style = Setting("menustyle_mediaservice", "simple");
        if (access((std::string(MENU_TEMPLATE) + style + ".xml").c_str(), R_OK) != 0) {
            Log(Level::Warning, "menu style " + style + " has no template");
        }
        Log(Level::Info, "settings: interface " + interface + " (" + address + "), expiry " +
                             Setting("advrexpire_mediaservice", "920") + " s, language " +
                             Setting("language_mediaservice", "enu") + ", menu style " + style);
    }

    // What the file says counts, a missing file included; a file that can't be understood changes nothing.
    void TakeBackClientList() {
        std::string text;
        Json::Value list;
        if (access(CLIENT_LIST_FILE, F_OK) != 0) {
            list["ClientList"] = Json::arrayValue;
        } else if (!ReadFile(CLIENT_LIST_FILE, text) || !ParseJson(text, list) || !list.isObject() ||
                   !list["ClientList"].isArray()) {
            Log(Level::Error, "the client list file is no client list");
            return;
        }
        clients_ = list;
        Log(Level::Info, "took back " + std::to_string(clients_["ClientList"].size()) + " clients");
    }

    void WriteClientList() const {
        Json::StreamWriterBuilder writer;
        writer["indentation"] = "\t";
        const bool written = ReplaceFile(CLIENT_LIST_FILE, Json::writeString(writer, clients_) + "\n");
        Log(written ? Level::Info : Level::Error,
            written ? "wrote the client list" : "can't write the client list");
    }

    void Log(Level level, const std::string& text) const {
        if (static_cast<long>(level) > level_) {
            return;
        }
        const time_t now = time(nullptr);
        tm local{};
        char head[64];
        const size_t length = strftime(head, sizeof head, "%F %T dms[", localtime_r(&now, &local));
        // Opened for each line, since the pages delete the file.
        const Descriptor file(open(LOG_FILE, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644));
        if (file.IsOpen()) {
            WriteAll(file.Get(), std::string(head, length) + std::to_string(getpid()) + "] " +
                                     LEVEL_NAMES[static_cast<size_t>(level)] + ": " + EscapeForLog(text) +
                                     "\n");
        }
    }

  private:
    long level_ = 0;
    Json::Value clients_;
};

// Becomes the background process; returns in it alone, with the descriptor on which to say that it is ready.
int Daemonize() {
    int ready[2];
    closefrom(STDERR_FILENO + 1);
    if (pipe2(ready, O_CLOEXEC) != 0) {
        exit(1);
    }
    const pid_t child = fork();
    if (child != 0) {
        close(ready[1]);
        char byte = 0;
        _exit(child > 0 && read(ready[0], &byte, 1) == 1 ? 0 : 1);
    }
    close(ready[0]);
    setsid();
    umask(022);
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        dup2(null, standard);
    }
    close(null);
    return chdir("/") == 0 ? ready[1] : -1;
}

}  // namespace

int main() {
    // Blocked from the first moment on: a signal that comes early waits until it is asked for.
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGHUP, SIGCONT, SIGUSR2, SIGTERM}) {
        sigaddset(&signals, number);
    }
    sigprocmask(SIG_BLOCK, &signals, nullptr);

    const int ready = Daemonize();
    MediaServer server;
    server.ReadSettings();
    server.TakeBackClientList();
    if (!WritePidFile() || !WriteAll(ready, "r")) {
        server.Log(Level::Error, "can't start");
        unlink(DMS_IP_FILE);
        return 1;
    }
    close(ready);
    server.Log(Level::Info, "started");

    for (;;) {
        switch (sigwaitinfo(&signals, nullptr)) {
            case SIGHUP:
                server.ReadSettings();
                break;
            case SIGCONT:
                server.WriteClientList();
                break;
            case SIGUSR2:
                server.TakeBackClientList();
                break;
            case SIGTERM:
                server.Log(Level::Info, "stopped");
                unlink(DMS_IP_FILE);
                unlink(DMS_PID_FILE);
                return 0;
            default:
                break;
        }
    }
}
