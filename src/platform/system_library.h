// The system library: key/value files, the event log, programs and signals, the network and the users.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// --- Key/value files ---------------------------------------------------------------------------------------
// A line is the key at its very start, '=', the value. A value that begins with a double quote reaches to the
// last one of the line, so values may hold quotes; any other reaches to the line's end (LF or CR LF). The
// first line for a key counts.

// Copies the value of `key` into `buffer`, cut to `size` bytes with its terminator; `flags` is not used.
// Returns 1 when found (an empty value too), else 0 (no such key) or -1 (no such file, or it can't be read)
// with `buffer` as it was.
int VLIBCFileGetKeyValue(const char* path, const char* key, char* buffer, int size, int flags);

// Makes the file hold exactly one line for `key`, made with `format` from key and value; every other line
// stays as it is. Writers take turns by an flock(2) of the file's directory; a reader, or a power cut, finds
// the old file or the new one, whole. Mode, owner and a symbolic link stay; a missing file is created with
// mode 0644. Returns 0, or -1 with the file as it was (a value that would make a second line is refused so;
// only when the directory can't be synced, the new file is there and may not outlast a power cut).
int VLIBCFileSetKeyValue(const char* path, const char* key, const char* value, const char* format);

// Non-zero when something exists at `path` (symbolic links followed).
int VLIBCFileExist(const char* path);

// The same; sets `information` to 0.
int IsFileExist(const char* path, long long* information);

// --- Errors and events -------------------------------------------------------------------------------------

constexpr int VLIB_ERR_FAIL = 0x0100;
constexpr int VLIB_ERR_BAD_PARAMETERS = 0x0D00;

// Records the last error: its code, and the source file and line where it arose. Get returns the code, 0 when
// there was none.
void VLIBCErrSetEx(int code, const char* file, int line);
int VLIBCErrGet();

// Records one event: a syslog(3) line at LOG_NOTICE with all arguments, the texts escaped. Returns 0.
int VEXALogSet1(int level, int user, unsigned int eventCode, const char* text1, const char* text2,
                const char* text3, const char* text4);

// `text` fit for one line of a log: control characters as \xHH, quotes and backslashes behind a backslash;
// cut to 4096 bytes of it.
std::string EscapeForLog(std::string_view text);

// --- Programs and signals ----------------------------------------------------------------------------------
// A child gets /dev/null as standard input, output and error and no other descriptor, since a web server
// waits for the end of both outputs; default signal handling, since a daemon must end at SIGTERM; and the
// environment CHILD_PATH with what was added, nothing that a client sent.

constexpr char CHILD_PATH[] = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";

// Runs `path` with the arguments before the first null and waits for its end. Returns 0 when it exited with
// 0, -1 when it couldn't be started, exited otherwise or was killed.
int VLIBCExec(const char* path, const char* arg1, const char* arg2, const char* arg3, const char* arg4);

namespace VEXAUtils {

class ProcessRunner {
  public:
    // `path`, then the argument list from the program's name to the first null.
    explicit ProcessRunner(const char* path, const char* arg0 = nullptr, const char* arg1 = nullptr,
                           const char* arg2 = nullptr, const char* arg3 = nullptr, const char* arg4 = nullptr,
                           const char* arg5 = nullptr, const char* arg6 = nullptr, const char* arg7 = nullptr,
                           const char* arg8 = nullptr);
    void addEnv(const std::string& name, const std::string& value);

    // Starts the program and, with `wait`, waits for its end. Returns 0 when it was started and, with `wait`,
    // exited with 0; else -1. A child never keeps the output of this process: `keepOutput` must be false.
    int run(bool wait, bool keepOutput);

  private:
    const char* path_;
    std::vector<const char*> arguments_;
    std::vector<std::string> environment_;
};

}  // namespace VEXAUtils

// system(3) for a command whose result nobody looks at.
void RunShell(const char* command);

// Sends `signal` to the process whose number stands in `pidFile`: digits, and nothing around them but white
// space. A number below 2 would mean a process group or init and is refused. Returns 0, or -1 when nothing
// was sent.
int VLIBCProcSignalByPidFile(const char* pidFile, int signal);

// --- System configuration ----------------------------------------------------------------------------------

// A key/value file of the appliance.
class VexaConf {
  public:
    // The value of `key`, at most 255 bytes of it; `missing` when the file has no such key.
    std::string Def(const char* key, const char* missing) const;
};

// --- Network (netdevice(7), /sys/class/net) ----------------------------------------------------------------

constexpr int INTERFACE_LIST_MAX = 32;

struct VexaInterface {
    char name[132];
};

struct VexaNetCard {
    char reserved[30];
    char address[42];  // IPv4, dotted; empty when the interface has none
};

// Fills up to `size` records with the Ethernet-type interfaces, wireless ones too, that are up and not
// enslaved to a bond or a bridge, in the kernel's order; `kind` must be 2. Returns their count, or -1 with
// the error recorded.
int VLIBNetGetInterfaceInfo(VexaInterface* records, int size, int kind);

// Fills in the card of the interface at `index` of that list; `flags` is not used. Returns 1, or -1 when
// there is no such interface or it can't be asked.
int VEXANetGetCard1(int index, int flags, VexaNetCard* card);

// The first interface that the kernel calls wireless; the empty text, which no interface is called, without
// one.
const char* VEXAWirelessInterfaceGet();

// --- Users (getpwnam_r(3)) ---------------------------------------------------------------------------------

struct VexaUser {
    uint32_t uid;
};

// Looks up `name` and sets `record` to a record of its own. Returns 0, or -1 with `record` as it was when
// there is no such user.
int VEXAUserGet(const char* name, VexaUser** record);

void VEXAUserFree(VexaUser* record);
