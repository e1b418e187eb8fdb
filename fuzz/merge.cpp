// Fuzzes the merge of a client list: an input is the stored document and the changes.
#include <json/value.h>

#include <algorithm>
#include <set>
#include <vector>

#include "clients/client_list.h"
#include "fuzz/target.h"
#include "platform/json/json_reader.h"
#include "platform/json/json_writer.h"

namespace {

// Returns the changes in a document, as a full parse finds them.
std::vector<ClientChange> ExpectedChanges(const Json::Value& document) {
    std::vector<ClientChange> changes;
    for (const Json::Value& change : document) {
        if (document.isArray() && change.isObject() && change[MAC_ADDRESS].isString() &&
            change[PROFILE].isString() && change[ACCESS].isBool()) {
            changes.push_back(
                {change[MAC_ADDRESS].asString(), change[PROFILE].asString(), change[ACCESS].asBool()});
        }
    }
    return changes;
}

bool IsSame(const ClientChange& one, const ClientChange& other) {
    return one.macAddress == other.macAddress && one.profile == other.profile && one.access == other.access;
}

// Requires that the client has the members that its changes set, then restores their stored values.
void CheckAndRestore(const Json::Value& stored, const std::vector<ClientChange>& changes,
                     Json::Value& client) {
    Json::Value expected = stored;
    bool changed = false;
    for (const ClientChange& change : changes) {
        if (stored[MAC_ADDRESS] == change.macAddress) {
            const Json::Value& old = expected[PROFILE];
            if (!old.isConvertibleTo(Json::stringValue) || old.asString() != change.profile) {
                expected[USER_PROFILE] = change.profile;
            }
            expected[PROFILE] = change.profile;
            expected[ACCESS] = change.access;
            changed = true;
        }
    }
    if (!changed) {
        return;
    }
    Require(client == expected,
            "changes apply in their order, and a new profile is also stored as the selected one");
    for (const char* name : {PROFILE, USER_PROFILE, ACCESS}) {
        if (stored.isMember(name)) {
            client[name].copyPayload(stored[name]);
        } else {
            client.removeMember(name);
        }
    }
}

}  // namespace

void Try(std::string_view input) {
    Json::Value document;
    Json::Value sent;
    std::vector<ClientChange> changes;
    const bool isDocument = ParseJson(TakePiece(input), document);
    const bool read = ReadClientChanges(input, changes);
    Require(read == ParseJson(input, sent), "changes are accepted if and only if they are valid JSON");
    if (!isDocument || !read) {
        return;
    }
    Require(std::ranges::equal(changes, ExpectedChanges(sent), IsSame),
            "the changes are those of the document");
    const Json::Value stored = document;
    if (MergeClientChanges(changes, document) && stored.isMember(CLIENTS)) {
        const std::string merged = FormatJsonFile(document);
        Require(MergeClientChanges(changes, document) && FormatJsonFile(document) == merged,
                "a repeated merge changes nothing");
        std::set<Json::Value> addresses;
        for (Json::ArrayIndex i = 0; i < stored[CLIENTS].size(); ++i) {
            const Json::Value& client = stored[CLIENTS][i];
            if (addresses.insert(client[MAC_ADDRESS]).second) {
                CheckAndRestore(client, changes, document[CLIENTS][i]);
            }
        }
    }
    Require(FormatJsonFile(document) == FormatJsonFile(stored), "nothing else changes, not even comments");
}
