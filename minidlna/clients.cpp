#include "minidlna/clients.h"

#include <unistd.h>

#include "clients/client_list.h"
#include "minidlna/client_profiles.h"
#include "platform/files/file_io.h"
#include "platform/json/json_file.h"
#include "platform/json/json_reader.h"
#include "platform/text/scanning.h"

namespace dms {
namespace {

// The type that minidlnad reports for a client that it does not recognise.
constexpr char UNKNOWN_TYPE[] = "Unknown";

std::string StringMember(const Json::Value& object, const char* name) {
    const Json::Value member = object.isObject() ? object[name] : Json::Value();
    return member.isString() ? member.asString() : "";
}

Json::Value NewClient(const SeenClient& seen) {
    Json::Value client(Json::objectValue);
    client[MAC_ADDRESS] = seen.macAddress;
    client[IP_ADDRESS] = seen.ipAddress;
    client[CLIENT_NAME] = seen.type == UNKNOWN_TYPE ? seen.ipAddress : seen.type;
    client[PROFILE] = ProfileOf(seen.type);
    client[ACCESS] = true;
    return client;
}

void MergeOne(const SeenClient& seen, Json::Value& clients) {
    for (Json::Value& client : clients) {
        if (EqualsIgnoringCase(StringMember(client, MAC_ADDRESS), seen.macAddress)) {
            client[IP_ADDRESS] = seen.ipAddress;
            return;
        }
    }
    clients.append(NewClient(seen));
}

Json::Value EmptyDocument() {
    Json::Value document;
    document[CLIENTS] = Json::arrayValue;
    return document;
}

// Returns false if the file is missing or not a valid client list.
bool ReadDocument(Json::Value& document) {
    std::string text;
    return ReadFile(CLIENT_LIST_FILE, text) && ParseJson(text, document) && document.isObject() &&
           document[CLIENTS].isArray();
}

}  // namespace

Clients::Clients(DmsLog& log) : log_(log), document_(EmptyDocument()) {}

void Clients::Read() {
    Json::Value stored = EmptyDocument();
    if (access(CLIENT_LIST_FILE, F_OK) == 0 && !ReadDocument(stored)) {
        log_.Write(Level::Error, std::string(CLIENT_LIST_FILE) +
                                     " is not a valid client list: dms keeps the previous list. Restore the "
                                     "file, or clear the list on the administration page");
        return;
    }
    document_ = stored;
    log_.Write(Level::Info, "read the client list, clients: " + std::to_string(document_[CLIENTS].size()));
}

void Clients::Merge(const std::vector<SeenClient>& seen) {
    FileReplacement file(CLIENT_LIST_FILE);
    Json::Value stored;
    const bool valid = ReadDocument(stored);
    if (valid) {
        document_ = stored;
    }
    for (const SeenClient& client : seen) {
        MergeOne(client, document_[CLIENTS]);
    }
    if (valid && document_ == stored) {
        return;
    }
    if (SaveJsonFile(file, document_) == Saved::Yes) {
        log_.Write(Level::Info, "wrote the client list");
    } else {
        log_.Write(Level::Error, std::string("cannot write ") + CLIENT_LIST_FILE +
                                     ": check the free space and the owner of its directory");
    }
}

std::vector<std::string> Clients::Denied() const {
    std::vector<std::string> addresses;
    for (const Json::Value& client : document_[CLIENTS]) {
        const std::string address = StringMember(client, MAC_ADDRESS);
        if (IsMacAddress(address) && client[ACCESS] == Json::Value(false)) {
            addresses.push_back(address);
        }
    }
    return addresses;
}

}  // namespace dms
