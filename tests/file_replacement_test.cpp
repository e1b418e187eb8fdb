// Saves replace a file as a whole or not at all, and no save is lost. Every test covers the settings, the client list,
// the exposed collections and the menu templates.
#include "platform/files/file_replacement.h"

#include <linux/capability.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

#include "settings/settings_file.h"
#include "tests/appliance.h"

namespace fs = std::filesystem;

namespace {

constexpr int MANY = 64;

// A save of the page changes only the last of these settings.
constexpr char SETTINGS_BEFORE[] =
    "photo_sort_by_mediaservice=\"filename\"\nphoto_sort_order_mediaservice=\"asc\"\nmusicinfo_mediaservice=\"old\"\n";

// Calls `work` with 0 to `count` - 1, each in its own process, all at the same time. Returns whether all calls returned
// true.
template <typename Work>
bool AtOnce(int count, const Work& work) {
    std::vector<pid_t> processes;
    for (int i = 0; i < count; ++i) {
        processes.push_back(fork());
        if (processes.back() == 0) {
            _exit(work(i) ? 0 : 1);
        }
    }
    return std::ranges::all_of(processes, [](pid_t process) {
        int status = -1;
        return waitpid(process, &status, 0) == process && status == 0;
    });
}

// A file, its content before the test, the response to a failed save, and the request that saves it with a text.
struct SavedFile {
    std::string path;
    std::string before;
    std::string failure;
    std::function<Request(const std::string& text)> save;
};

class FileReplacementTest : public Appliance {
  protected:
    static inline const std::string CLIENTS = ETC + "/client_list.json";
    static inline const std::string COLLECTIONS = ETC + "/exposed_collection.json";
    static inline const std::string MENU = ETC + "/menu_x.xml";

    static Request SaveClient(int number, const std::string& profile) {
        const std::string change =
            R"([{"macAddr":")" + std::to_string(number) + R"(","isAccess":true,"profileName":")" + profile + "\"}]";
        return PostRequest("saveClientList", {{"modifiedInfo", change}});
    }
    static Request SaveCollection(const std::string& id) {
        return PostRequest("saveCollection", {{"exposed_collections", "[\"" + id + "\"]"}});
    }
    static Request SaveMenu(const std::string& content) {
        return PostRequest("savemenu", {{"template", "x"}, {"content", content}});
    }
    static Request SaveSetting(const std::string& title) {
        return PostRequest("save_browsing_page", {{"musicdisplayinfo", title}});
    }

    static std::vector<SavedFile> Files() {
        return {{SETTINGS, SETTINGS_BEFORE, Error(546), SaveSetting},
            {CLIENTS, "{\"ClientList\":[{\"macAddr\":\"0\"}]}", FAILURE,
                [](const std::string& text) { return SaveClient(0, text); }},
            {COLLECTIONS, "{\"0\":{}}", FAILURE, SaveCollection}, {MENU, "<old/>", FAILURE, SaveMenu}};
    }

    static struct stat Status(const std::string& path) {
        struct stat status = {};
        EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
        return status;
    }

    // Root ignores file modes unless it drops this capability.
    static Request SubjectToModes(Request request) {
        request.beforeExec = [] { prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, 0, 0, 0); };
        return request;
    }

    static auto CountOfFiles() { return std::distance(fs::directory_iterator(ETC), {}); }
};

TEST_F(FileReplacementTest, SimultaneousSavesAreAllKept) {
    std::string clients;
    std::string users;
    for (int i = 0; i < MANY; ++i) {
        clients += (i == 0 ? "" : ",") + (R"({"macAddr":")" + std::to_string(i)) + "\"}";
        users += "u" + std::to_string(i) + ":x:" + std::to_string(i) + ":0::/:\n";
    }
    WriteAll(CLIENTS, "{\"ClientList\":[" + clients + "]}");
    WriteAll(ROOT + "/passwd", users);
    WriteAll(ROOT + "/group", "root:x:0:\n");
    EXPECT_TRUE(AtOnce(MANY, [](int i) { return Send(SaveClient(i, "P")).body == SUCCESS; }));
    EXPECT_TRUE(AtOnce(MANY, [](int i) {
        Request request = SaveCollection("7");
        request.environment.insert({{"LD_PRELOAD", "libnss_wrapper.so"}, {"NSS_WRAPPER_GROUP", ROOT + "/group"},
            {"NSS_WRAPPER_PASSWD", ROOT + "/passwd"}, {"ASAN_OPTIONS", "verify_asan_link_order=0"}});
        request.environment["REMOTE_USER"] = "u" + std::to_string(i);
        return Send(request).body == SUCCESS;
    }));
    EXPECT_TRUE(AtOnce(MANY, [](int i) { return WriteSetting(("key" + std::to_string(i)).c_str(), "v") >= 0; }));
    const Json::Value list = ParsedJson(ReadAll(CLIENTS))["ClientList"];
    const Json::Value choices = ParsedJson(ReadAll(COLLECTIONS));
    EXPECT_EQ(choices.size(), static_cast<size_t>(MANY));
    for (int i = 0; i < MANY; ++i) {
        EXPECT_EQ(list[i]["profileName"], "P") << i;
        EXPECT_EQ(choices[std::to_string(i)]["exposed_collections"][0], "7") << i;
        EXPECT_NE(ReadAll(SETTINGS).find("key" + std::to_string(i) + "=\"v\"\n"), std::string::npos) << i;
    }
    // Of several templates, one is stored as a whole.
    const auto content = [](int i) { return std::string(1U << 20U, static_cast<char>('a' + i)); };
    EXPECT_TRUE(AtOnce(4, [&](int i) { return Send(SaveMenu(content(i))).body == SUCCESS; }));
    const std::string left = ReadAll(MENU);
    EXPECT_TRUE(left == content(left.at(0) - 'a'));
    EXPECT_EQ(CountOfFiles(), 4);
}

TEST_F(FileReplacementTest, AKilledSaveLeavesAWholeFile) {
    for (const SavedFile& file : Files()) {
        std::vector<std::string> whole;
        for (const std::string& text : {std::string(20, 'a'), std::string(20, 'b')}) {
            WriteAll(file.path, file.before + std::string(200000, ' '));
            Send(file.save(text));
            whole.push_back(ReadAll(file.path));
        }
        for (int round = 0; round < 40; ++round) {
            Request request = file.save(std::string(20, round % 2 == 0 ? 'a' : 'b'));
            request.whileRunning = [&](pid_t program) {
                usleep(static_cast<useconds_t>(500 + round * 100));
                kill(program, SIGKILL);
            };
            RunProgram(MEDIASERV_PROGRAM, request);
            const std::string left = ReadAll(file.path);
            EXPECT_TRUE(std::ranges::find(whole, left) != whole.end()) << left.substr(0, 200);
        }
        EXPECT_EQ(Send(file.save("after")).body.find("false"), std::string::npos);
    }
    EXPECT_EQ(CountOfFiles(), 4);
}

TEST_F(FileReplacementTest, AFailedSaveKeepsTheOldFile) {
    for (const SavedFile& file : Files()) {
        WriteAll(file.path, file.before);
        const Response response = Send(OnFullDisk(file.save("new")));
        EXPECT_EQ(response.body, file.failure);
        EXPECT_EQ(response.log, Strings{file.path + " can't be saved: File too large"});
        EXPECT_EQ(ReadAll(file.path), file.before);
    }
    EXPECT_EQ(CountOfFiles(), 4);
    EXPECT_EQ(Signals(), std::vector<int>{});
    // No file becomes too large to be read: each element of a nested array gets a line with as many tabs as it has
    // levels.
    const std::string nested = std::string(900, '[') + std::string(900, ']');
    std::string list;
    for (int i = 0; i < 200; ++i) {
        list += nested + ",";
    }
    const Response response = Send(PostRequest("saveCollection", {{"exposed_collections", "[" + list + "[]]"}}));
    EXPECT_EQ(response.body, FAILURE);
    EXPECT_EQ(response.log, Strings{COLLECTIONS + " can't be saved: File too large"});
    EXPECT_EQ(ReadAll(COLLECTIONS), Files()[2].before);
}

TEST_F(FileReplacementTest, ALockThatIsNeverReleasedEndsInAFailure) {
    for (const SavedFile& file : Files()) {
        WriteAll(file.path, file.before);
    }
    const Descriptor directory(open(ETC.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_EQ(flock(directory.Get(), LOCK_EX), 0);
    EXPECT_TRUE(AtOnce(4, [](int i) {
        const SavedFile file = Files()[static_cast<size_t>(i)];
        const Response response = Send(file.save("new"));
        return response.body == file.failure && ReadAll(file.path) == file.before && response.seconds > 9.9 &&
               response.seconds < 15 &&
               response.log == Strings{file.path + " can't be saved: its directory has been locked for 10 seconds"};
    }));
}

TEST_F(FileReplacementTest, ModeOwnerAndLinkAreKept) {
    for (const SavedFile& file : Files()) {
        SCOPED_TRACE(file.path);
        const std::string real = ROOT + "/" + fs::path(file.path).filename().string();
        WriteAll(real, file.before);
        ASSERT_EQ(symlink(("../../../../" + fs::path(real).filename().string()).c_str(), file.path.c_str()), 0);
        ASSERT_TRUE(chmod(real.c_str(), 02640) == 0 && (geteuid() != 0 || chown(real.c_str(), 1234, 4321) == 0));
        const struct stat before = Status(real);
        Send(file.save("new"));
        const struct stat after = Status(real);
        EXPECT_TRUE(fs::is_symlink(file.path));
        EXPECT_NE(ReadAll(real).find("new"), std::string::npos);
        EXPECT_NE(after.st_ino, before.st_ino);
        EXPECT_EQ(std::tie(after.st_mode, after.st_uid, after.st_gid),
            std::tie(before.st_mode, before.st_uid, before.st_gid));
        // A save creates a missing file, also as the target of a link. Only the daemon creates the client list.
        for (const std::string& missing : {real, file.path}) {
            fs::remove(missing);
            umask(077);
            Send(file.save("made"));
            umask(022);
            EXPECT_EQ(fs::exists(file.path), file.path != CLIENTS);
            EXPECT_TRUE(file.path == CLIENTS || (Status(file.path).st_mode & 07777U) == 0644U);
        }
    }
}

TEST_F(FileReplacementTest, ModesDecideWhatIsSaved) {
    struct Case {
        mode_t directory, file;
        bool saved, inPlace;
    };
    for (const Case& modes : {Case{0755, 0444, false, false}, {0555, 0444, false, false}, {0555, 0644, true, true},
             {0755, 0644, true, false}}) {
        for (const SavedFile& file : Files()) {
            SCOPED_TRACE(file.path);
            WriteAll(file.path, file.before + std::string(1000, ' '));
            chmod(file.path.c_str(), modes.file);
            chmod(ETC.c_str(), modes.directory);
            const struct stat before = Status(file.path);
            const Response response = Send(SubjectToModes(file.save("new")));
            EXPECT_EQ(response.body == file.failure, !modes.saved) << testing::PrintToString(response.log);
            EXPECT_EQ(ReadAll(file.path).find("new") != std::string::npos, modes.saved);
            EXPECT_EQ(Status(file.path).st_ino == before.st_ino, modes.inPlace || !modes.saved);
            EXPECT_FALSE(response.Logged("can't be saved"));
            chmod(ETC.c_str(), 0755);
            fs::remove(file.path);
        }
    }
}

}  // namespace
