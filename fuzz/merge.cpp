// The merge of a client list: an input is the stored document and the changes.
#include <json/value.h>

#include <algorithm>
#include <set>
#include <vector>

#include "clients/client_list.h"
#include "fuzz/target.h"
#include "platform/json/json_reader.h"
#include "platform/json/json_writer.h"

namespace {

// The changes as the document says them.
std::vector<ClientChange> Expected(const Json::Value& document) {
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

// Judges the members of a client that its changes touch, and gives them back their stored values.
void TakeBack(const Json::Value& stored, const std::vector<ClientChange>& changes, Json::Value& client) {
    Json::Value expected = stored;
    bool named = false;
    for (const ClientChange& change : changes) {
        if (stored[MAC_ADDRESS] == change.macAddress) {
            const Json::Value& old = expected[PROFILE];
            if (!old.isConvertibleTo(Json::stringValue) || old.asString() != change.profile) {
                expected[USER_PROFILE] = change.profile;
            }
            expected[PROFILE] = change.profile;
            expected[ACCESS] = change.access;
            named = true;
        }
    }
    if (!named) {
        return;
    }
    Require(client == expected,
            "a client's changes count in their order, and a new profile is a selected one");
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
    Require(read == ParseJson(input, sent), "changes are read from a document, and from nothing else");
    if (!isDocument || !read) {
        return;
    }
    Require(std::ranges::equal(changes, Expected(sent), IsSame),
            "changes are read as the document says them");
    const Json::Value stored = document;
    if (MergeClientChanges(changes, document) && stored.isMember(CLIENTS)) {
        const std::string merged = FormatJsonFile(document);
        Require(MergeClientChanges(changes, document) && FormatJsonFile(document) == merged,
                "a merge repeated changes nothing");
        std::set<Json::Value> met;
        for (Json::ArrayIndex i = 0; i < stored[CLIENTS].size(); ++i) {
            const Json::Value& client = stored[CLIENTS][i];
            if (met.insert(client[MAC_ADDRESS]).second) {
                TakeBack(client, changes, document[CLIENTS][i]);
            }
        }
    }
    Require(FormatJsonFile(document) == FormatJsonFile(stored), "nothing else changes, comments included");
}
