#include "platform/video_library.h"

#include <dlfcn.h>
#include <libpq-fe.h>
#include <syslog.h>

#include <initializer_list>
#include <string>
#include <string_view>

#include "platform/event_log.h"
#include "platform/json_reader.h"

namespace {

constexpr char LIBRARY[] = "libpq.so.5";
constexpr char CONNECT_TIMEOUT_SECONDS[] = "5";
// A locked table must not hold a request for ever.
constexpr char LIMIT_QUERY_TIME[] = "SET statement_timeout = '10s'";

// The functions of libpq, typed by its header.
struct Libpq {
    decltype(&PQconnectdbParams) connectdbParams = nullptr;
    decltype(&PQstatus) status = nullptr;
    decltype(&PQfinish) finish = nullptr;
    decltype(&PQexecParams) execParams = nullptr;
    decltype(&PQresultStatus) resultStatus = nullptr;
    decltype(&PQntuples) ntuples = nullptr;
    decltype(&PQgetvalue) getvalue = nullptr;
    decltype(&PQclear) clear = nullptr;
    decltype(&PQerrorMessage) errorMessage = nullptr;
    bool loaded = false;
};

template <typename Function>
bool Find(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    return function != nullptr;
}

Libpq LoadLibpq() {
    Libpq pq;
    void* library = dlopen(LIBRARY, RTLD_NOW | RTLD_LOCAL);
    pq.loaded = library != nullptr && Find(library, "PQconnectdbParams", pq.connectdbParams) &&
                Find(library, "PQstatus", pq.status) && Find(library, "PQfinish", pq.finish) &&
                Find(library, "PQexecParams", pq.execParams) &&
                Find(library, "PQresultStatus", pq.resultStatus) && Find(library, "PQntuples", pq.ntuples) &&
                Find(library, "PQgetvalue", pq.getvalue) && Find(library, "PQclear", pq.clear) &&
                Find(library, "PQerrorMessage", pq.errorMessage);
    return pq;
}

const Libpq& Pq() {
    static const Libpq pq = LoadLibpq();
    return pq;
}

PGresult* Execute(PGconn* connection, const char* query, std::initializer_list<const char*> parameters) {
    return Pq().execParams(connection, query, static_cast<int>(parameters.size()), nullptr,
                           parameters.begin(), nullptr, nullptr, 0);
}

// The first line of a message says it; the others point into the query.
void LogFailure(std::string_view reason) {
    syslog(LOG_ERR, "video library: the collections can't be listed: %s",
           EscapeForLog(reason.substr(0, reason.find('\n'))).c_str());
}

}  // namespace

struct VexaDb {
    PGconn* connection;
};

VexaDb* VEXADBConnect(const char* host, const char* user, const char* password, const char* database) {
    if (!Pq().loaded) {
        return nullptr;
    }
    const char* const names[] = {"host", "user", "password", "dbname", "client_encoding", "connect_timeout",
                                 nullptr};
    const char* const values[] = {host, user, password, database, "UTF8", CONNECT_TIMEOUT_SECONDS, nullptr};
    PGconn* connection = Pq().connectdbParams(names, values, 0);
    if (Pq().status(connection) != CONNECTION_OK) {
        Pq().finish(connection);
        return nullptr;
    }
    return new VexaDb{connection};
}

void VEXADBClose(VexaDb* connection) {
    Pq().finish(connection->connection);
    delete connection;
}

void LibKinovo::db::api::BaseAPI::Paging(int offset, int limit) {
    offset_ = offset;
    limit_ = limit;
}

std::vector<LibKinovo::db::api::CollectionRecord> LibKinovo::db::api::CollectionAPI::List() const {
    std::vector<CollectionRecord> records;
    VexaDb* database = VEXADBConnect(nullptr, VIDEO_DATABASE_USER, nullptr, VIDEO_DATABASE);
    if (database == nullptr) {
        LogFailure("no connection");
        return records;
    }
    const char* query =
        order_ == 0
            ? "SELECT row_to_json(c) FROM collection c WHERE uid = $1 ORDER BY title, id OFFSET $2 LIMIT $3"
            : "SELECT row_to_json(c) FROM collection c WHERE uid = $1 ORDER BY title DESC, id OFFSET $2 "
              "LIMIT $3";
    const std::string uid = std::to_string(uid_);
    const std::string offset = std::to_string(offset_);
    const std::string limit = std::to_string(limit_);
    Pq().clear(Execute(database->connection, LIMIT_QUERY_TIME, {}));
    PGresult* rows = Execute(database->connection, query,
                             {uid.c_str(), offset.c_str(), limit_ < 0 ? nullptr : limit.c_str()});
    if (Pq().resultStatus(rows) != PGRES_TUPLES_OK) {
        LogFailure(Pq().errorMessage(database->connection));
    }
    for (int row = 0; row < Pq().ntuples(rows); ++row) {
        Json::Value json;
        if (ParseJson(Pq().getvalue(rows, row, 0), json)) {
            records.emplace_back(std::move(json));
        }
    }
    Pq().clear(rows);
    VEXADBClose(database);
    return records;
}
