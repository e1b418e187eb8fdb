#include "clients/client_list.h"

#include <syslog.h>
#include <unistd.h>

#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "clients/json_file.h"
#include "daemon/daemon_control.h"
#include "mediaserv/media_service_handler.h"
#include "platform/file_io.h"
#include "platform/json_reader.h"
#include "platform/processes.h"

namespace {

constexpr char CLIENTS[] = "ClientList";
constexpr char MAC_ADDRESS[] = "macAddr";
constexpr char PROFILE[] = "profileName";
constexpr char USER_PROFILE[] = "profileName_UserSelected";
constexpr char ACCESS[] = "isAccess";

constexpr unsigned int SECONDS_TO_START = 3;

using ClientIndex = std::unordered_map<std::string_view, Json::Value*>;

// The bytes of a string where it stands in its document; empty for any other value.
std::string_view View(const Json::Value& value) {
    const char* begin = nullptr;
    const char* end = nullptr;
    return value.isString() && value.getString(&begin, &end) ? std::string_view(begin, end)
                                                             : std::string_view();
}

// Where a MAC address is stored twice the first client is found. False for a document that isn't an object
// whose clients, if it has any, are an array of objects.
bool IndexByMacAddress(Json::Value& document, ClientIndex& index) {
    if (!document.isObject()) {
        return false;
    }
    if (!document.isMember(CLIENTS)) {
        return true;
    }
    Json::Value& clients = document[CLIENTS];
    if (!clients.isArray()) {
        return false;
    }
    index.reserve(clients.size());
    for (Json::Value& client : clients) {
        if (!client.isObject()) {
            return false;
        }
        const Json::Value& address = std::as_const(client)[MAC_ADDRESS];
        if (address.isString()) {
            index.emplace(View(address), &client);
        }
    }
    return true;
}

// Compared as texts: what is missing or null is empty, the number 3 is "3".
bool IsText(const Json::Value& value, std::string_view text) {
    return value.isString() ? View(value) == text
                            : value.isConvertibleTo(Json::stringValue) && value.asString() == text;
}

// Values are replaced, the comments that stand with them stay.
void ApplyChange(const Json::Value& profile, const Json::Value& access, Json::Value& client) {
    Json::Value& stored = client[PROFILE];
    if (!IsText(stored, View(profile))) {
        client[USER_PROFILE].copyPayload(profile);
    }
    stored.copyPayload(profile);
    client[ACCESS].copyPayload(access);
}

void ApplyChanges(const Json::Value& changes, const ClientIndex& index) {
    if (!changes.isArray()) {
        return;
    }
    for (const Json::Value& change : changes) {
        if (!change.isObject()) {
            continue;
        }
        const Json::Value& address = change[MAC_ADDRESS];
        const Json::Value& profile = change[PROFILE];
        const Json::Value& access = change[ACCESS];
        if (!address.isString() || !profile.isString() || !access.isBool()) {
            continue;
        }
        if (const auto client = index.find(View(address)); client != index.end()) {
            ApplyChange(profile, access, *client->second);
        }
    }
}

bool SaveChanges(const char* changesText) {
    FileReplacement file(CLIENT_LIST_FILE);
    Json::Value document;
    Json::Value changes;
    ClientIndex index;
    if (!MediaServiceHandler::GetJsonFromFile(CLIENT_LIST_FILE, document) || changesText == nullptr ||
        !ParseJson(changesText, changes) || !IndexByMacAddress(document, index)) {
        return false;
    }
    ApplyChanges(changes, index);
    const Saved saved = SaveJsonFile(file, document);
    if (saved == Saved::CantOpen) {
        syslog(LOG_ERR, "%s:%d Error: MediaServiceHandler::SaveClientList - %s could not open", SOURCE_NAME,
               1655, CLIENT_LIST_FILE);
    }
    return saved == Saved::Yes;
}

bool Control(const char* order, const char* failure, int line) {
    if (RunControlScript(order) >= 0) {
        return true;
    }
    syslog(LOG_ERR, "%s:%d Error: MediaServiceHandler::ClearClientList() - %s", SOURCE_NAME, line, failure);
    return false;
}

}  // namespace

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
        TakeBackClientList();
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
    if (VLIBCFileExist(CLIENT_LIST_FILE) != 0) {
        VLIBCExec("/bin/rm", "-f", CLIENT_LIST_FILE, nullptr, nullptr);
    }
    if (!Control("start", "start dms error", 1506)) {
        WriteSuccess(false);
        return;
    }
    sleep(SECONDS_TO_START);
    LetDaemonWriteClientList();
    AnswerFile(CLIENT_LIST_FILE);
}
