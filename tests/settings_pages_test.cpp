// The three settings pages: what they load, and what a save writes, records and asks of the daemon, in which order.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <future>

#include "tests/appliance.h"

namespace {

// In the order of writing. The line of a failure and the event are those of a change from what is stored and of the
// one back; '%' is the text that was written.
const Json::Value SETTINGS_OF_PAGES = Cases("settings_pages", "settings");

const Json::Value ALL_MISSING = ParsedJson(R"({"all":"missing"})");

// A page's settings file with what is stored, but for some values by field.
std::string File(const Json::Value& page, const Json::Value& changed = {}) {
    std::string file;
    for (const Json::Value& setting : SETTINGS_OF_PAGES) {
        const std::string field = setting["field"].asString();
        if (setting["page"] == page && (changed.isMember(field) || !changed.isMember("all"))) {
            file += setting["key"].asString() + "_mediaservice=\"" + changed.get(field, setting["stored"]).asString() +
                    "\"\n";
        }
    }
    return file;
}

// What is sent to change a setting, and what is stored then: a text is cut.
std::string Sent(const Json::Value& setting, size_t more = 4) {
    return setting.isMember("bytes") ? std::string(setting["bytes"].asUInt() + more, '9') : "true";
}
std::string Written(const Json::Value& setting) { return setting.isMember("bytes") ? Sent(setting, 0) : "yes"; }

std::string Event(const Json::Value& setting, Json::ArrayIndex back, const std::string& text) {
    std::string event = setting["events"][back].asString();
    return event.ends_with('%') ? event.replace(event.size() - 1, 1, text) : event;
}

class SettingsPagesTest : public Appliance {
  protected:
    SettingsPagesTest() {
        WriteProgram(ROOT + "/var/packages/Dalmira/target/scripts/sql/video_metadata.sh",
            "echo upgrade$* >> " + ROOT + "/calls; test ! -e " + ROOT + "/upgrade_fails\n");
    }

    // Of a field that comes twice the first counts: these keep what a form without them would change.
    static Request Save(const Json::Value& page, Fields fields) {
        fields.insert(
            fields.end(), {{"ssdp_advr", "920"}, {"albumartlist", "a"}, {"mimetypelist", "a"}, {"videoextlist", "a"}});
        return PostRequest("save_" + page.asString() + "_page", fields);
    }

    // `done` is what happened besides: events, calls of scripts, the daemon's signal.
    static void ExpectSaved(const Json::Value& page, const Fields& fields, const std::string& file, Strings done,
        const std::string& body = SAVED) {
        const Response response = Send(Save(page, fields));
        EXPECT_EQ(response.body, body);
        EXPECT_EQ(ReadAll(SETTINGS), file);
        Strings happened = response.Events();
        std::ranges::move(ScriptCalls(), std::back_inserter(happened));
        for (const int number : Signals()) {
            happened.push_back(number == SIGHUP ? "reload" : "signal " + std::to_string(number));
        }
        std::erase(done, "");
        EXPECT_EQ(happened, done);
    }

    // What a page shows, but for the interfaces of the host.
    static Json::Value Load(const std::string& page) {
        Json::Value data = Post("load_" + page + "_page").Json()["data"];
        for (const char* member : {"network", "network_total", "dmsInterface"}) {
            data.removeMember(member);
        }
        return data;
    }
};

TEST_F(SettingsPagesTest, EachSettingIsSavedToAndFro) {
    for (const Json::Value& setting : SETTINGS_OF_PAGES) {
        SCOPED_TRACE(setting["field"].asString());
        const std::string enabledBy = setting["enabledBy"].asString();
        Json::Value values;
        values[enabledBy] = "yes";
        WriteAll(SETTINGS, File(setting["page"], values));
        for (const Json::ArrayIndex back : {0U, 1U}) {
            const std::string stored = back == 0 ? Written(setting) : setting["stored"].asString();
            const Fields fields = {
                {setting["field"].asString(), back == 0 ? Sent(setting) : stored}, {enabledBy, "true"}};
            const Request onFullDisk = OnFullDisk(Save(setting["page"], fields));
            const Response failed = Send(onFullDisk);
            EXPECT_EQ(failed.body, Error(setting["failureNumbers"][back].asInt()));
            EXPECT_EQ(failed.log, Strings{SETTINGS + " can't be saved: File too large"});
            values[setting["field"].asString()] = stored;
            ExpectSaved(setting["page"], fields, File(setting["page"], values),
                {Event(setting, back, stored), setting["needs"] == "restart" ? "508" : "",
                    back == 0 ? setting["script"].asString() : "", setting["needs"].asString()});
            // Nothing is written again, or it would fail.
            EXPECT_EQ(Send(onFullDisk).body, SAVED);
        }
    }
}

TEST_F(SettingsPagesTest, EverythingIsWrittenInOrderUntilOneFails) {
    // Each text in turn can't be stored; switches always can.
    for (const Json::Value& failing : SETTINGS_OF_PAGES) {
        SCOPED_TRACE(failing["field"].asString());
        Fields fields;
        Json::Value written;
        Strings done;
        Strings calls;
        std::string body = SAVED;
        for (const Json::Value& setting : SETTINGS_OF_PAGES) {
            if (setting["page"] == failing["page"]) {
                const bool fails = setting == failing && setting.isMember("bytes");
                fields.emplace_back(setting["field"].asString(), fails ? "9\n" : Sent(setting));
                body = fails ? Error(setting["failureNumbers"][0].asInt()) : body;
                if (body == SAVED) {
                    written[setting["field"].asString()] = Written(setting);
                    done.push_back(Event(setting, 0, Written(setting)));
                    calls.push_back(setting["script"].asString());
                }
            }
        }
        if (body == SAVED) {
            done.emplace_back("508");
            calls.emplace_back("restart");
        }
        done.insert(done.end(), calls.begin(), calls.end());
        WriteAll(SETTINGS, File(failing["page"]));
        ExpectSaved(failing["page"], fields, File(failing["page"], written), done, body);
        // The script saw what was written.
        EXPECT_TRUE(body != SAVED || ReadAll(ROOT + "/settings_at_script") == ReadAll(SETTINGS));
    }
}

// A power cut during a save of many settings leaves all of them or none; the hook splits a save in two.
TEST_F(SettingsPagesTest, APageIsSavedByOneReplacement) {
    // The kernel merges equal events that follow each other: the creation of the temporary file separates them.
    const int events = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_GE(inotify_add_watch(events, ETC.c_str(), IN_MOVED_TO | IN_CREATE), 0);
    for (const auto& [upgraded, replacements] : {std::pair(false, 1), std::pair(true, 2)}) {
        Fields fields;
        for (const Json::Value& setting : SETTINGS_OF_PAGES) {
            const bool kept = setting.isMember("script") && !upgraded;
            if (setting["page"] == "browsing" && !kept) {
                fields.emplace_back(setting["field"].asString(), Sent(setting));
            }
        }
        WriteAll(SETTINGS, File("browsing"));
        EXPECT_EQ(Send(Save("browsing", fields)).body, SAVED);
        alignas(inotify_event) std::array<char, 4096> buffer;
        const ssize_t bytes = read(events, buffer.data(), buffer.size());
        int moved = 0;
        for (ssize_t at = 0; at < bytes;) {
            const auto* event = reinterpret_cast<const inotify_event*>(&buffer[static_cast<size_t>(at)]);
            moved += (event->mask & IN_MOVED_TO) != 0 ? 1 : 0;
            at += static_cast<ssize_t>(sizeof *event + event->len);
        }
        EXPECT_EQ(moved, replacements);
    }
    close(events);
}

TEST_F(SettingsPagesTest, SimultaneousSavesEndAsOneOfThem) {
    const auto all = [](const char* text) {
        return Save("browsing", {{"musicdisplayinfo", text}, {"photo_sort_by", text}, {"photo_sort_order", text}});
    };
    for (int round = 0; round < 20; ++round) {
        WriteAll(SETTINGS, File("browsing"));
        std::vector<std::future<Response>> saves;
        for (const char* text : {"a", "b", "c"}) {
            saves.push_back(std::async(std::launch::async, [&all, text] { return Send(all(text)); }));
        }
        for (std::future<Response>& save : saves) {
            EXPECT_EQ(save.get().body, SAVED);
        }
        const Json::Value left = Load("browsing");
        EXPECT_EQ(left["photo_sort_by"], left["musicdisplayinfo"]);
        EXPECT_EQ(left["photo_sort_order"], left["musicdisplayinfo"]);
    }
}

TEST_F(SettingsPagesTest, AnUnchangedPageIsSavedWithoutTheLock) {
    WriteAll(SETTINGS, File("browsing"));
    const int directory = open(ETC.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(directory, LOCK_EX), 0);
    const Response response = Send(Save("browsing", {}));
    EXPECT_EQ(response.body, SAVED);
    EXPECT_EQ(response.log, Strings{});
    close(directory);
}

TEST_F(SettingsPagesTest, FieldsFollowTheirRules) {
    for (const Json::Value& save : Cases("settings_pages", "saves")) {
        SCOPED_TRACE(save.toStyledString());
        const std::string failing = ROOT + "/" + save["failing"].asString() + "_fails";
        WriteAll(SETTINGS, File(save["page"], save["before"]));
        WriteAll(failing, "");
        ExpectSaved(save["page"], ToFields(save["fields"]), File(save["page"], Merged(save["before"], save["after"])),
            ToStrings(save["done"]), save.isMember("failureNumber") ? Error(save["failureNumber"].asInt()) : SAVED);
        std::filesystem::remove(failing);
    }
    WriteAll(ROOT + "/upgrade_fails", "");
    EXPECT_EQ(Post("save_browsing_page", {{"integrateKinovo", "true"}}).log.back(),
        "mediaserv:598 Error: failed to upgrade video_metadata");
}

TEST_F(SettingsPagesTest, StoredSettingsAreLoaded) {
    const Json::Value defaults = Cases("settings_pages", "defaults");
    for (const std::string& page : defaults.getMemberNames()) {
        EXPECT_EQ(Load(page), defaults[page]);
    }
    EXPECT_FALSE(std::filesystem::exists(SETTINGS));
    for (const Json::Value& load : Cases("settings_pages", "loads")) {
        const std::string page = load["page"].asString();
        WriteAll(SETTINGS, File(page, Merged(ALL_MISSING, load["stored"])));
        EXPECT_EQ(Load(page), Merged(defaults[page], load["shown"])) << load;
    }
    WriteAll(ROOT + "/var/packages/Kinovo/enabled", "");
    EXPECT_EQ(Load("browsing")["kinovo_enabled"], true);
}

}  // namespace
