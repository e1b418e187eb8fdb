// The merge of the clients that minidlnad has seen: an input is the stored client list and lines of seen
// clients: MAC address, IP address, type.
#include <json/value.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "clients/client_list.h"
#include "fuzz/target.h"
#include "minidlna/clients.h"
#include "platform/json/json_reader.h"
#include "platform/json/json_writer.h"

namespace {

constexpr size_t LIMIT = 4;
constexpr std::time_t NOW = 1'800'000'000;

std::string UpperCase(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    }
    return text;
}

std::vector<dms::SeenClient> SeenClients(std::string_view lines) {
    std::vector<dms::SeenClient> seen;
    while (!lines.empty()) {
        std::string_view line = ConsumeUntil(lines, "\n");
        const std::string mac(ConsumeUntil(line, " "));
        const std::string ip(ConsumeUntil(line, " "));
        if (dms::IsMacAddress(mac)) {
            seen.push_back({std::string(line), ip, mac});
        }
    }
    return seen;
}

std::string AddressOf(const Json::Value& client) {
    return client[MAC_ADDRESS].isString() ? UpperCase(client[MAC_ADDRESS].asString()) : "";
}

bool IsChanged(const Json::Value& client) {
    bool changed = client.isMember(ACCESS) && client[ACCESS] != true;
    for (const std::string& name : client.getMemberNames()) {
        changed = changed || (name != MAC_ADDRESS && name != IP_ADDRESS && name != CLIENT_NAME &&
                              name != PROFILE && name != ACCESS && name != LAST_SEEN);
    }
    return changed;
}

// Without the members that a merge updates.
std::string Unchanging(Json::Value client) {
    client.removeMember(IP_ADDRESS);
    client.removeMember(LAST_SEEN);
    return FormatJsonFile(client);
}

}  // namespace

void Try(std::string_view input) {
    Json::Value document;
    if (!ParseJson(TakePiece(input), document) || !dms::IsClientList(document)) {
        return;
    }
    const Json::Value before = document;
    const std::vector<dms::SeenClient> seen = SeenClients(input);
    std::set<std::string> addresses;
    for (const dms::SeenClient& client : seen) {
        addresses.insert(UpperCase(client.macAddress));
    }
    const size_t unstored = dms::MergeClients(seen, NOW, document, LIMIT);
    const Json::Value& clients = document[CLIENTS];
    Require(dms::IsClientList(document), "the result is a client list");

    Json::ArrayIndex kept = 0;
    size_t removed = 0;
    std::set<std::string> listed;
    for (const Json::Value& client : before[CLIENTS]) {
        const bool isFirst = listed.insert(AddressOf(client)).second;
        if (kept < clients.size() && Unchanging(clients[kept]) == Unchanging(client)) {
            ++kept;
            continue;
        }
        ++removed;
        Require(!IsChanged(client), "a client that the owner has changed stays");
        Require(!isFirst || !addresses.contains(AddressOf(client)), "a client that is in use stays");
    }
    size_t added = 0;
    for (const std::string& address : addresses) {
        added += listed.contains(address) ? 0U : 1U;
    }
    Require(clients.size() - kept + unstored == added, "each new client is added or counted");
    Require((removed == 0 && unstored == 0) || clients.size() >= LIMIT,
            "clients are removed only above the limit");
    Require(clients.size() <= LIMIT || clients.size() == kept, "a list above the limit gets no new client");

    Json::Value again = document;
    Require(dms::MergeClients(seen, NOW, again, LIMIT) == unstored &&
                FormatJsonFile(again) == FormatJsonFile(document),
            "a merge repeated changes nothing");
    document[CLIENTS].copyPayload(Json::Value());
    Json::Value rest = before;
    rest[CLIENTS].copyPayload(Json::Value());
    Require(document == rest, "other members of the document stay");
}
