#include "minidlna/clients.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "clients/client_list.h"
#include "minidlna/client_profiles.h"
#include "platform/files/file_io.h"
#include "platform/json/json_file.h"
#include "platform/json/json_reader.h"

namespace dms {
namespace {

// The type that minidlnad reports for a client that it does not recognise.
constexpr char UNKNOWN_TYPE[] = "Unknown";

// LAST_SEEN is accurate to this time, so that dms does not write the file again and again.
constexpr Json::Int64 LAST_SEEN_ACCURACY = 86'400;  // seconds

// The members that dms writes.
constexpr std::string_view DMS_MEMBERS[] = {MAC_ADDRESS, IP_ADDRESS, CLIENT_NAME, PROFILE, ACCESS, LAST_SEEN};

std::string StringMember(const Json::Value& client, const char* name) {
    const Json::Value& member = client[name];
    return member.isString() ? member.asString() : "";
}

// Returns 0, older than any client, if the member is missing or not a time.
Json::Int64 LastSeen(const Json::Value& client) {
    const Json::Value& time = client[LAST_SEEN];
    return time.isInt64() ? std::max(time.asInt64(), Json::Int64(0)) : 0;
}

bool IsChangedByOwner(const Json::Value& client) {
    if (client.get(ACCESS, true) != Json::Value(true)) {
        return true;
    }
    for (auto member = client.begin(); member != client.end(); ++member) {
        if (std::find(std::begin(DMS_MEMBERS), std::end(DMS_MEMBERS), member.name()) ==
            std::end(DMS_MEMBERS)) {
            return true;
        }
    }
    return false;
}

Json::Value NewClient(const SeenClient& seen, std::time_t now) {
    const bool hasName = !seen.type.empty() && seen.type != UNKNOWN_TYPE;
    Json::Value client(Json::objectValue);
    client[MAC_ADDRESS] = seen.macAddress;
    client[IP_ADDRESS] = seen.ipAddress;
    client[CLIENT_NAME] = hasName ? seen.type : !seen.ipAddress.empty() ? seen.ipAddress : seen.macAddress;
    client[PROFILE] = ProfileOf(seen.type);
    client[ACCESS] = true;
    client[LAST_SEEN] = Json::Int64(now);
    return client;
}

// Replaces the payloads of the members only, so that their comments stay.
void Update(const SeenClient& seen, std::time_t now, Json::Value& client) {
    if (!seen.ipAddress.empty()) {
        client[IP_ADDRESS].copyPayload(seen.ipAddress);
    }
    if (std::abs(Json::Int64(now) - LastSeen(client)) >= LAST_SEEN_ACCURACY) {
        client[LAST_SEEN].copyPayload(Json::Int64(now));
    }
}

std::string LowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(tolower(c)); });
    return text;
}

// Shortens the list to `limit` where that is possible. `isSeen` has an element for each client. The first
// `storedCount` clients are already stored, the others are new. Returns the number of new clients that it
// removes.
size_t RemoveSurplus(const std::vector<bool>& isSeen, size_t storedCount, size_t limit,
                     Json::Value& clients) {
    const size_t size = clients.size();
    if (size <= limit) {
        return 0;
    }
    const size_t surplus = size - limit;
    std::vector<std::pair<Json::Int64, size_t>> removable;  // last seen, position
    size_t position = 0;
    for (const Json::Value& client : std::as_const(clients)) {
        if (!isSeen[position] && !IsChangedByOwner(client)) {
            removable.emplace_back(LastSeen(client), position);
        }
        ++position;
    }
    const size_t removed = std::min(surplus, removable.size());
    const auto end = removable.begin() + static_cast<std::ptrdiff_t>(removed);
    std::nth_element(removable.begin(), end, removable.end());
    const size_t unstored = std::min(surplus - removed, size - storedCount);

    std::vector<bool> isKept(size - unstored, true);
    std::for_each(removable.begin(), end, [&](const auto& client) { isKept[client.second] = false; });
    Json::Value kept(Json::arrayValue);
    position = 0;
    for (Json::Value& client : clients) {
        if (position < isKept.size() && isKept[position]) {
            kept.append(std::move(client));
        }
        ++position;
    }
    clients.swapPayload(kept);
    return unstored;
}

constexpr char KEPT_LIST[] =
    ". dms keeps the previous list and does not change the file. Restore the file, or delete all clients on "
    "the administration page";

Json::Value EmptyDocument() {
    Json::Value document;
    document[CLIENTS] = Json::arrayValue;
    return document;
}

// Reads the file; `document` is null if the file is missing. Returns an empty text or, on failure, the
// problem.
std::string ReadDocument(Json::Value& document) {
    std::string text;
    document = Json::Value();
    if (!ReadFile(CLIENT_LIST_FILE, text)) {
        return errno == ENOENT ? "" : std::string("cannot read ") + CLIENT_LIST_FILE + ": " + strerror(errno);
    }
    const char* reason = !ParseJson(text, document) ? "it is not valid JSON"
                         : !IsClientList(document)  ? "it has no array of clients"
                                                    : nullptr;
    return reason == nullptr ? "" : std::string(CLIENT_LIST_FILE) + " is not a valid client list: " + reason;
}

}  // namespace

bool IsClientList(const Json::Value& document) {
    if (!document.isObject() || !document[CLIENTS].isArray()) {
        return false;
    }
    const Json::Value& clients = document[CLIENTS];
    return std::all_of(clients.begin(), clients.end(),
                       [](const Json::Value& client) { return client.isObject(); });
}

size_t MergeClients(const std::vector<SeenClient>& seen, std::time_t now, Json::Value& document,
                    size_t limit) {
    Json::Value& clients = document[CLIENTS];
    const size_t storedCount = clients.size();
    std::unordered_map<std::string, Json::ArrayIndex> positions;  // by MAC address in lower case
    Json::ArrayIndex position = 0;
    for (const Json::Value& client : std::as_const(clients)) {
        positions.try_emplace(LowerCase(StringMember(client, MAC_ADDRESS)), position++);
    }
    std::vector<bool> isSeen(storedCount, false);
    for (const SeenClient& client : seen) {
        const auto [found, isNew] = positions.try_emplace(LowerCase(client.macAddress), clients.size());
        if (isNew) {
            clients.append(NewClient(client, now));
            isSeen.push_back(true);
        } else {
            Update(client, now, clients[found->second]);
            isSeen[found->second] = true;
        }
    }
    return RemoveSurplus(isSeen, storedCount, limit, clients);
}

Clients::Clients(DmsLog& log) : log_(log), document_(EmptyDocument()) {}

void Clients::ReportProblem(const std::string& problem) {
    if (!problem.empty() && problem != problem_) {
        log_.Write(Level::Error, problem);
    }
    problem_ = problem;
}

void Clients::ReportUnstored(size_t count) {
    if (count > 0 && !isFull_) {
        log_.Write(Level::Warning, "the client list is full: dms does not store new clients, because all " +
                                       std::to_string(MAX_CLIENTS) +
                                       " stored ones are in use or changed by the owner. Delete all clients "
                                       "on the administration page");
    }
    isFull_ = count > 0;
}

void Clients::Read() {
    Json::Value stored;
    const std::string problem = ReadDocument(stored);
    ReportProblem(problem.empty() ? "" : problem + KEPT_LIST);
    if (problem.empty()) {
        document_ = stored.isNull() ? EmptyDocument() : stored;
        log_.Write(Level::Info,
                   "read the client list, clients: " + std::to_string(document_[CLIENTS].size()));
    }
}

void Clients::Merge(const std::vector<SeenClient>& seen) {
    FileReplacement file(CLIENT_LIST_FILE);
    Json::Value stored;
    const std::string problem = ReadDocument(stored);
    if (!problem.empty()) {
        ReportProblem(problem + KEPT_LIST);
        return;
    }
    if (!stored.isNull()) {
        document_ = stored;
    }
    ReportUnstored(MergeClients(seen, time(nullptr), document_));
    if (document_ == stored) {
        ReportProblem("");
    } else if (SaveJsonFile(file, document_) == Saved::Yes) {
        ReportProblem("");
        log_.Write(Level::Info, "wrote the client list");
    } else {
        ReportProblem(std::string("cannot write ") + CLIENT_LIST_FILE +
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
