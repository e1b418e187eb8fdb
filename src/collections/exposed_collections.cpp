// The exposed collections: the video collections that the daemon offers to players, chosen by each user. Only
// SaveCollection writes the file. Its members are the user ids, each with the ids of the exposed collections:
//
//     {"1026": {"exposed_collections": ["-1", "7"]}}
#include <syslog.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "collections/login_user.h"
#include "mediaserv/media_service_handler.h"
#include "platform/files/file_io.h"
#include "platform/json/json_file.h"
#include "platform/json/json_reader.h"
#include "platform/json/json_writer.h"
#include "platform/text/log_text.h"
#include "platform/video/video_library.h"

namespace {

constexpr char EXPOSED_COLLECTION_FILE[] = APPLIANCE_ROOT "/var/packages/Dalmira/etc/exposed_collection.json";
constexpr char EXPOSED[] = "exposed_collections";

constexpr char DEFAULT_SHARED_TITLE[] = "vexa_default_shared";

struct SpecialCollection {
    std::string_view title;
    const char* id;
};
constexpr SpecialCollection SPECIAL_COLLECTIONS[] = {{"vexa_favorite", "-1"}, {"vexa_watchlist", "-2"}};

// A submitted list is stored two objects deep in a file with the lists of other users, so its limits are
// lower than those of the file.
constexpr JsonLimits EXPOSED_JSON_LIMITS = {.values = 250'000, .depth = JsonLimits().depth - 2};

constexpr size_t LOGGED_ROW_BYTES = 200;

using Ids = std::unordered_set<std::string>;

// The exposed collections file.
struct ExposedFile {
    Json::Value document;    // null if the file does not exist, can't be read or is not valid JSON
    std::string unreadable;  // why the existing file can't be used; empty if it can, or if there is no file
};

ExposedFile ReadExposedFile() {
    ExposedFile file;
    long long information = 0;
    if (IsFileExist(EXPOSED_COLLECTION_FILE, &information) != 0) {
        MediaServiceHandler::GetJsonFromFile(EXPOSED_COLLECTION_FILE, file.document, file.unreadable);
    } else if (errno != ENOENT) {
        file.unreadable = strerror(errno);
    }
    return file;
}

// Returns the ids that a user exposes. Ignores ids that are not strings. Returns no ids if the user has no
// valid entry.
Ids ExposedIds(const Json::Value& document, const std::string& userKey) {
    Ids ids;
    if (!document.isObject() || !document[userKey].isObject() || !document[userKey][EXPOSED].isArray()) {
        return ids;
    }
    for (const Json::Value& id : document[userKey][EXPOSED]) {
        if (id.isString()) {
            ids.insert(id.asString());
        }
    }
    return ids;
}

enum class RowKind : char {
    Listed,
    Hidden,  // never listed: the default shared collection, and a row without an id or a title
    Invalid  // can't be listed: not valid JSON, or its id is not an integer or its title not a string; logged
};

RowKind KindOf(const Json::Value& row) {
    if (row.isNull()) {
        return RowKind::Invalid;
    }
    if (!row.isObject() || row["id"].isNull() || row["title"].isNull() ||
        row["title"] == DEFAULT_SHARED_TITLE) {
        return RowKind::Hidden;
    }
    return row["id"].isInt() && row["title"].isString() ? RowKind::Listed : RowKind::Invalid;
}

std::string ListedId(const Json::Value& collection) {
    const std::string title = collection["title"].asString();
    for (const SpecialCollection& special : SPECIAL_COLLECTIONS) {
        if (title == special.title) {
            return special.id;
        }
    }
    return std::to_string(collection["id"].asInt());
}

// Logs one line for all invalid rows, with the first one as an example.
void LogInvalidRows(const std::vector<const std::string*>& rows) {
    if (!rows.empty()) {
        syslog(LOG_ERR,
               "video library: %zu rows are not valid JSON or have no usable id and title, the first one: %s",
               rows.size(), EscapeForLog(rows.front()->substr(0, LOGGED_ROW_BYTES)).c_str());
    }
}

using Records = std::vector<LibKinovo::db::api::CollectionRecord>;

Records ReadLibrary(uint32_t uid) {
    LibKinovo::db::api::CollectionAPI library(uid);
    library.OrderByTitle(0);
    library.Paging(0, -1);
    return library.List();
}

Json::Value ListCollections(const Records& records, const Ids& exposed) {
    Json::Value list(Json::arrayValue);
    std::vector<const std::string*> invalidRows;
    for (const auto& record : records) {
        Json::Value collection = record.ToJson();
        const RowKind kind = KindOf(collection);
        if (kind == RowKind::Listed) {
            const std::string id = ListedId(collection);
            collection["id"] = id;
            collection["exposed"] = exposed.contains(id);
            list.append(std::move(collection));
        } else if (kind == RowKind::Invalid) {
            invalidRows.push_back(&record.Text());
        }
    }
    LogInvalidRows(invalidRows);
    return list;
}

// Stores `exposed` in the user's entry. Returns false if the document or the entry is neither an object nor
// null: this program has not written such a file, so the save fails instead of replacing it.
bool SetExposed(Json::Value& document, const std::string& userKey, Json::Value exposed) {
    if (!document.isObject() && !document.isNull()) {
        return false;
    }
    Json::Value& entry = document[userKey];
    if (!entry.isObject() && !entry.isNull()) {
        return false;
    }
    entry[EXPOSED] = std::move(exposed);
    return true;
}

EntityTag TagOf(const Json::Value& document, const std::string& userKey) {
    EntityTag tag;
    if (document.isObject() && document[userKey].isObject()) {
        tag.AddValue(FormatJsonLine(document[userKey][EXPOSED]));
    }
    return tag;
}

}  // namespace

bool MediaServiceHandler::IsVideoDbAvailable() {
    VexaDb* connection = VEXADBConnect(nullptr, VIDEO_DATABASE_USER, nullptr, VIDEO_DATABASE);
    if (connection == nullptr) {
        return false;
    }
    VEXADBClose(connection);
    return true;
}

void MediaServiceHandler::LoadCollection() {
    Json::Value response(Json::objectValue);
    Json::Value& collections = response["data"]["collections"];
    collections = Json::Value(Json::arrayValue);
    uint32_t uid = 0;
    const bool known = GetLoginUid(uid);
    const bool available = known && IsVideoDbAvailable();
    // A conditional request needs the tag even if the library is not available.
    if (available || (known && IsConditional())) {
        const Records records = available ? ReadLibrary(uid) : Records();
        const Json::Value document = ReadExposedFile().document;
        collections = ListCollections(records, ExposedIds(document, UserKey(uid)));
        TagResponse(TagOf(document, UserKey(uid)));
    }
    response["success"] = known;
    WriteJsonResponse(response, JSON_TEXT_TYPE);
}

void MediaServiceHandler::SaveCollection() {
    FileReplacement file(EXPOSED_COLLECTION_FILE);
    ExposedFile stored = ReadExposedFile();
    uint32_t uid = 0;
    if (!GetLoginUid(uid)) {
        syslog(LOG_ERR, "%s:%d Failed to get login user", SOURCE_NAME, 1441);
        WriteResult(false);
        return;
    }
    const char* text = web_.In(EXPOSED, nullptr);
    const EntityTag before = TagOf(stored.document, UserKey(uid));
    Json::Value exposed;
    if (text == nullptr || !ParseJson(text, exposed, EXPOSED_JSON_LIMITS) ||
        !SetExposed(stored.document, UserKey(uid), std::move(exposed))) {
        WriteResult(false);
        return;
    }
    if (!CheckCondition(before)) {
        return;
    }
    if (!stored.unreadable.empty()) {
        file.KeepUnreadable(stored.unreadable);
    }
    const bool saved = SaveJsonFile(file, stored.document) == Saved::Yes;
    if (saved) {
        TagResponse(TagOf(stored.document, UserKey(uid)));
    }
    WriteResult(saved);
}
