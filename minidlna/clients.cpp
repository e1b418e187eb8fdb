#include "minidlna/clients.h"

#include <unistd.h>

#include "clients/client_list.h"
#include "platform/files/file_io.h"
#include "platform/json/json_file.h"
#include "platform/json/json_reader.h"
#include "platform/text/scanning.h"

namespace {

constexpr char UNKNOWN_TYPE[] = "Unknown";

// The profile for the types of client that minidlnad tells apart; the first row whose word stands in the type
// counts.
struct TypeRow {
    const char* word;
    const char* profile;
};
constexpr TypeRow TYPES[] = {
    {"Xbox", "Game console"},        {"PLAYSTATION", "Game console"},   {"BDP", "Disc player"},
    {"BD J5500", "Disc player"},     {"Denon", "Loudspeaker"},          {"marantz", "Loudspeaker"},
    {"Roku", "Network radio"},       {"BubbleUPnP", "Phone or tablet"}, {"LIFETAB", "Phone or tablet"},
    {"AllShare", "Phone or tablet"}, {"Samsung", "Television"},         {"LGE", "Television"},
    {"Sony", "Television"},          {"Panasonic", "Television"},       {"Toshiba", "Television"},
    {"Hyundai", "Television"},       {"NetFront", "Television"},        {"DirecTV", "Television"},
    {"FreeBox", "Television"},       {"Popcorn", "Television"},         {"MediaRoom", "Television"},
    {"TiVo", "Television"},          {"Asus OPlay", "Television"},      {"EVA2000", "Television"},
};
constexpr char OTHER_PROFILE[] = "Generic";

std::string ProfileOf(const std::string& type) {
    for (const TypeRow& row : TYPES) {
        if (type.find(row.word) != std::string::npos) {
            return row.profile;
        }
    }
    return OTHER_PROFILE;
}

std::string StringMember(const Json::Value& object, const char* name) {
    const Json::Value member = object.isObject() ? object[name] : Json::Value();
    return member.isString() ? member.asString() : "";
}

Json::Value NewClient(const PageClient& met) {
    Json::Value client(Json::objectValue);
    client[MAC_ADDRESS] = met.mac;
    client[IP_ADDRESS] = met.ip;
    client[CLIENT_NAME] = met.type == UNKNOWN_TYPE ? met.ip : met.type;
    client[PROFILE] = ProfileOf(met.type);
    client[ACCESS] = true;
    return client;
}

void MergeOne(const PageClient& met, Json::Value& known) {
    for (Json::Value& client : known) {
        if (EqualsIgnoringCase(StringMember(client, MAC_ADDRESS), met.mac)) {
            client[IP_ADDRESS] = met.ip;
            return;
        }
    }
    known.append(NewClient(met));
}

bool FileExists() { return access(CLIENT_LIST_FILE, F_OK) == 0; }

}  // namespace

Clients::Clients(DmsLog& log) : log_(log) { list_[CLIENTS] = Json::arrayValue; }

bool Clients::ReadList(Json::Value& list) const {
    std::string text;
    return ReadFile(CLIENT_LIST_FILE, text) && ParseJson(text, list) && list.isObject() &&
           list[CLIENTS].isArray();
}

void Clients::TakeBack() {
    Json::Value list;
    list[CLIENTS] = Json::arrayValue;
    if (FileExists() && !ReadList(list)) {
        log_.Write(Level::Error,
                   std::string(CLIENT_LIST_FILE) + " is no client list: the one before stays in force");
        return;
    }
    list_ = list;
    log_.Write(Level::Info, "took back " + std::to_string(list_[CLIENTS].size()) + " clients");
}

void Clients::Merge(const std::vector<PageClient>& met) {
    FileReplacement file(CLIENT_LIST_FILE);
    Json::Value stored;
    const bool read = ReadList(stored);
    if (read) {
        list_ = stored;
    }
    for (const PageClient& client : met) {
        MergeOne(client, list_[CLIENTS]);
    }
    if (read && list_ == stored) {
        return;
    }
    const bool written = SaveJsonFile(file, list_) == Saved::Yes;
    log_.Write(written ? Level::Info : Level::Error,
               written ? "wrote the client list" : "can't write the client list");
}

std::vector<std::string> Clients::Denied() const {
    std::vector<std::string> addresses;
    for (const Json::Value& client : list_[CLIENTS]) {
        const std::string address = StringMember(client, MAC_ADDRESS);
        if (IsMacAddress(address) && client[ACCESS] == Json::Value(false)) {
            addresses.push_back(address);
        }
    }
    return addresses;
}
