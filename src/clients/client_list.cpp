#include "clients/client_list.h"

#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <utility>

#include "daemon/daemon_control.h"
#include "mediaserv/media_service_handler.h"
#include "platform/files/file_io.h"
#include "platform/json/json_file.h"
#include "platform/json/json_reader.h"
#include "platform/json/json_writer.h"
#include "platform/system/processes.h"

namespace {

// After its start the daemon needs some time to meet clients.
constexpr unsigned int DAEMON_START_SECONDS = 3;

// Views the bytes of a string; empty if the value is not a string.
std::string_view ViewString(const Json::Value& string) {
    const char* begin = nullptr;
    const char* end = nullptr;
    return string.getString(&begin, &end) ? std::string_view(begin, end) : std::string_view();
}

// Compares a value as a text: a missing or null value equals "", the number 3 equals "3".
bool EqualsAsText(const Json::Value& value, std::string_view text) {
    return value.isString() ? ViewString(value) == text
                            : value.isConvertibleTo(Json::stringValue) && value.asString() == text;
}

// Stores the profile and the access of a change. A profile that differs from the stored one is also stored as
// the user's choice. Replaces only the payload of each value, because an assignment would delete the comments
// that the file has beside it.
void Apply(const ClientChange& change, Json::Value& client) {
    Json::Value profile(change.profile);
    Json::Value& stored = client[PROFILE];
    if (!EqualsAsText(stored, change.profile)) {
        client[USER_PROFILE].copyPayload(profile);
    }
    stored.swapPayload(profile);
    client[ACCESS].copyPayload(Json::Value(change.access));
}

bool IsClientArray(const Json::Value& clients) {
    return clients.isArray() &&
           std::ranges::all_of(clients, [](const Json::Value& client) { return client.isObject(); });
}

// The tag covers the MAC address, the profile and the access of every client.
EntityTag TagOf(const Json::Value& document) {
    EntityTag tag;
    if (!document.isObject() || !document[CLIENTS].isArray()) {
        return tag;
    }
    for (const Json::Value& client : document[CLIENTS]) {
        for (const char* member : {MAC_ADDRESS, PROFILE, ACCESS}) {
            const Json::Value value = client.isObject() ? client[member] : Json::Value();
            tag.AddValue(value.isString() ? ViewString(value) : FormatJsonLine(value));
        }
    }
    return tag;
}

bool StoreClientList(FileReplacement& file, const Json::Value& document) {
    const Saved saved = SaveJsonFile(file, document);
    if (saved == Saved::CantOpen) {
        syslog(LOG_ERR, "%s:%d Error: MediaServiceHandler::SaveClientList - %s could not open", SOURCE_NAME,
               1655, CLIENT_LIST_FILE);
    }
    return saved == Saved::Yes;
}

// Waits for the lock, so that a save that has already read the list does not write it again after the
// deletion.
void DeleteClientList() {
    const FileReplacement lock(CLIENT_LIST_FILE);
    if (VLIBCFileExist(CLIENT_LIST_FILE) != 0) {
        VLIBCExec("/bin/rm", "-f", CLIENT_LIST_FILE, nullptr, nullptr);
    }
}

// Runs the control script. Returns false and logs `message` with its number if the script failed.
bool RunScriptOrLog(const char* argument, const char* message, int number) {
    if (RunControlScript(argument) >= 0) {
        return true;
    }
    syslog(LOG_ERR, "%s:%d Error: MediaServiceHandler::ClearClientList() - %s", SOURCE_NAME, number, message);
    return false;
}

}  // namespace

bool ReadClientChanges(std::string_view text, std::vector<ClientChange>& changes) {
    return ParseJsonElements(text, [&](const Json::Value& change) {
        if (change.isObject() && change[MAC_ADDRESS].isString() && change[PROFILE].isString() &&
            change[ACCESS].isBool()) {
            changes.push_back(
                {change[MAC_ADDRESS].asString(), change[PROFILE].asString(), change[ACCESS].asBool()});
        }
    });
}

bool MergeClientChanges(const std::vector<ClientChange>& changes, Json::Value& document) {
    if (!document.isObject()) {
        return false;
    }
    if (!document.isMember(CLIENTS)) {
        return true;
    }
    Json::Value& clients = document[CLIENTS];
    if (!IsClientArray(clients)) {
        return false;
    }
    // An index of the changes by MAC address. The changes of one client form a chain in their order: next[i]
    // is the index of the next change for the same address, or changes.size() if there is none.
    struct Chain {
        size_t first, last;
    };
    std::vector<size_t> next(changes.size(), changes.size());
    std::unordered_map<std::string_view, Chain> chains;
    chains.reserve(changes.size());
    for (size_t i = 0; i < changes.size(); ++i) {
        const auto [chain, added] = chains.try_emplace(changes[i].macAddress, Chain{i, i});
        if (!added) {
            next[chain->second.last] = i;
            chain->second.last = i;
        }
    }
    // Erasing a chain after its first client leaves later clients with the same address unchanged.
    for (Json::Value& client : clients) {
        const Json::Value& address = std::as_const(client)[MAC_ADDRESS];
        const auto chain = address.isString() ? chains.find(ViewString(address)) : chains.end();
        if (chain != chains.end()) {
            for (size_t i = chain->second.first; i < changes.size(); i = next[i]) {
                Apply(changes[i], client);
            }
            chains.erase(chain);
        }
    }
    return true;
}

void MediaServiceHandler::RespondWithJsonFile(const char* path, EntityTag (*tagOf)(const Json::Value&)) {
    Json::Value response;
    const bool read = GetJsonFromFile(path, response) && (response.isObject() || response.isNull());
    if (!read) {
        response = Json::Value();
        response[CLIENTS] = 0;
    } else if (tagOf != nullptr && IsConditional()) {
        TagResponse(tagOf(response));
    }
    response["success"] = read;
    WriteJsonResponse(response, JSON_TEXT_TYPE);
}

void MediaServiceHandler::SaveClientList() {
    const char* text = web_.In("modifiedInfo", nullptr);
    std::vector<ClientChange> changes;
    const bool isValid = text != nullptr && ReadClientChanges(text, changes);
    std::optional<FileReplacement> file(CLIENT_LIST_FILE);
    Json::Value document;
    bool saved = false;
    // An unreadable list is logged even if the request is invalid.
    if (GetJsonFromFile(CLIENT_LIST_FILE, document) && isValid) {
        const EntityTag before = IsConditional() ? TagOf(document) : EntityTag();
        if (MergeClientChanges(changes, document)) {
            if (!CheckCondition(before)) {
                return;
            }
            saved = StoreClientList(*file, document);
        }
    }
    file.reset();  // the daemon may lock the file when it reads the list
    if (saved) {
        LetDaemonReadClientList();
        if (IsConditional()) {
            TagResponse(TagOf(document));
        }
    }
    WriteResult(saved);
}

void MediaServiceHandler::LoadProfileList() { RespondWithJsonFile(PROFILE_LIST_FILE); }

void MediaServiceHandler::LoadClientList() {
    LetDaemonWriteClientList();
    RespondWithJsonFile(CLIENT_LIST_FILE, TagOf);
}

void MediaServiceHandler::ClearClientList() {
    if (!RunScriptOrLog("stop", "stop dms error", 1494)) {
        WriteResult(false);
        return;
    }
    DeleteClientList();
    if (!RunScriptOrLog("start", "start dms error", 1506)) {
        WriteResult(false);
        return;
    }
    Pause(DAEMON_START_SECONDS);
    LetDaemonWriteClientList();
    RespondWithJsonFile(CLIENT_LIST_FILE);
}
