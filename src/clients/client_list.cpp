#include "clients/client_list.h"

#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "daemon/daemon_control.h"
#include "mediaserv/media_service_handler.h"
#include "platform/files/file_io.h"
#include "platform/json/json_file.h"
#include "platform/json/json_reader.h"
#include "platform/system/processes.h"

namespace {

constexpr unsigned int SECONDS_TO_START = 3;

// The bytes of a string where it stands in its document.
std::string_view View(const Json::Value& string) {
    const char* begin = nullptr;
    const char* end = nullptr;
    return string.getString(&begin, &end) ? std::string_view(begin, end) : std::string_view();
}

// Compared as texts: what is missing or null is empty, the number 3 is "3".
bool IsText(const Json::Value& value, std::string_view text) {
    return value.isString() ? View(value) == text
                            : value.isConvertibleTo(Json::stringValue) && value.asString() == text;
}

// Values are replaced, the comments that stand with them stay.
void Apply(const ClientChange& change, Json::Value& client) {
    Json::Value profile(change.profile);
    Json::Value& stored = client[PROFILE];
    if (!IsText(stored, change.profile)) {
        client[USER_PROFILE].copyPayload(profile);
    }
    stored.swapPayload(profile);
    client[ACCESS].copyPayload(Json::Value(change.access));
}

bool AreClients(const Json::Value& clients) {
    return clients.isArray() &&
           std::ranges::all_of(clients, [](const Json::Value& client) { return client.isObject(); });
}

bool SaveChanges(const char* text) {
    std::vector<ClientChange> changes;
    const bool sent = text != nullptr && ReadClientChanges(text, changes);
    FileReplacement file(CLIENT_LIST_FILE);
    Json::Value document;
    if (!MediaServiceHandler::GetJsonFromFile(CLIENT_LIST_FILE, document) || !sent ||
        !MergeClientChanges(changes, document)) {
        return false;
    }
    const Saved saved = SaveJsonFile(file, document);
    if (saved == Saved::CantOpen) {
        syslog(LOG_ERR, "%s:%d Error: MediaServiceHandler::SaveClientList - %s could not open", SOURCE_NAME,
               1655, CLIENT_LIST_FILE);
    }
    return saved == Saved::Yes;
}

// In its turn, lest a save that has read the list brings it back.
void DeleteClientList() {
    const FileReplacement turn(CLIENT_LIST_FILE);
    if (VLIBCFileExist(CLIENT_LIST_FILE) != 0) {
        VLIBCExec("/bin/rm", "-f", CLIENT_LIST_FILE, nullptr, nullptr);
    }
}

bool Control(const char* order, const char* failure, int line) {
    if (RunControlScript(order) >= 0) {
        return true;
    }
    syslog(LOG_ERR, "%s:%d Error: MediaServiceHandler::ClearClientList() - %s", SOURCE_NAME, line, failure);
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
    if (!AreClients(clients)) {
        return false;
    }
    // The changes for one client form a chain in their order.
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
    // The list is gone through once, from its head: the first client with an address is the one that changes.
    for (Json::Value& client : clients) {
        const Json::Value& address = std::as_const(client)[MAC_ADDRESS];
        const auto chain = address.isString() ? chains.find(View(address)) : chains.end();
        if (chain != chains.end()) {
            for (size_t i = chain->second.first; i < changes.size(); i = next[i]) {
                Apply(changes[i], client);
            }
            chains.erase(chain);
        }
    }
    return true;
}

void MediaServiceHandler::AnswerFile(const char* path) {
    Json::Value answer;
    const bool read = GetJsonFromFile(path, answer) && (answer.isObject() || answer.isNull());
    if (!read) {
        answer = Json::Value();
        answer[CLIENTS] = 0;
    }
    answer["success"] = read;
    WriteJsonResponse(answer, JSON_TEXT_TYPE);
}

void MediaServiceHandler::SaveClientList() {
    const bool saved = SaveChanges(web_.In("modifiedInfo", nullptr));
    if (saved) {
        LetDaemonReadClientList();
    }
    WriteSuccess(saved);
}

void MediaServiceHandler::LoadProfileList() { AnswerFile(PROFILE_LIST_FILE); }

void MediaServiceHandler::LoadClientList() {
    LetDaemonWriteClientList();
    AnswerFile(CLIENT_LIST_FILE);
}

void MediaServiceHandler::ClearClientList() {
    if (!Control("stop", "stop dms error", 1494)) {
        WriteSuccess(false);
        return;
    }
    DeleteClientList();
    if (!Control("start", "start dms error", 1506)) {
        WriteSuccess(false);
        return;
    }
    sleep(SECONDS_TO_START);
    LetDaemonWriteClientList();
    AnswerFile(CLIENT_LIST_FILE);
}
