#include "platform/video/video_library.h"

#include <dlfcn.h>
#include <libpq-fe.h>
#include <poll.h>
#include <syslog.h>

#include <chrono>
#include <memory>

#include "platform/json/json_reader.h"
#include "platform/text/log_text.h"

namespace {

using Clock = std::chrono::steady_clock;
using LibKinovo::db::api::CollectionRecord;

constexpr char LIBRARY[] = "libpq.so.5";
constexpr std::chrono::seconds CONNECT_TIME{5};
constexpr std::chrono::seconds QUERY_TIME{10};
// The server ends a query shortly after this program has stopped waiting for it.
constexpr char SERVER_OPTIONS[] = "-c statement_timeout=11s";

// The bytes before the text of a row with one column: message type, message length, number of columns, length
// of the column.
constexpr size_t ROW_HEADER_BYTES = 1 + 4 + 2 + 4;

// The functions of libpq that this file uses. Their types come from libpq's header.
#define LIBPQ_FUNCTIONS(USE)  \
    USE(PQconnectStartParams) \
    USE(PQconnectPoll)        \
    USE(PQsetNoticeProcessor) \
    USE(PQsocket)             \
    USE(PQstatus)             \
    USE(PQerrorMessage)       \
    USE(PQfinish)             \
    USE(PQsetnonblocking)     \
    USE(PQsendQueryParams)    \
    USE(PQsetSingleRowMode)   \
    USE(PQflush)              \
    USE(PQconsumeInput)       \
    USE(PQisBusy)             \
    USE(PQgetResult)          \
    USE(PQresultStatus)       \
    USE(PQgetvalue)           \
    USE(PQclear)

struct Libpq {
// NOLINTNEXTLINE(bugprone-macro-parentheses): `name` is a member and can't be in parentheses
#define DECLARE(name) decltype(&::name) name = nullptr;
    LIBPQ_FUNCTIONS(DECLARE)
#undef DECLARE
    bool loaded = false;
};

template <typename Function>
bool FindFunction(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    return function != nullptr;
}

Libpq LoadLibpq() {
    Libpq pq;
    void* library = dlopen(LIBRARY, RTLD_NOW | RTLD_LOCAL);
#define AND_FIND(name) &&FindFunction(library, #name, pq.name)
    pq.loaded = library != nullptr LIBPQ_FUNCTIONS(AND_FIND);
#undef AND_FIND
    return pq;
}

const Libpq& Pq() {
    static const Libpq pq = LoadLibpq();
    return pq;
}

// By default, libpq writes a server's notices to standard error.
void IgnoreNotice(void*, const char*) {}

// Waits until the connection's socket is ready for one of `events`. Returns false if the deadline passes
// first.
bool WaitForSocket(PGconn* connection, short events, Clock::time_point deadline) {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0) {
            return false;
        }
        pollfd socket = {Pq().PQsocket(connection), events, 0};
        if (poll(&socket, 1, static_cast<int>(left)) > 0) {
            return true;
        }
    }
}

// Connects with one deadline. libpq's own time limit applies to each address of a host separately, so a
// host with several addresses could take a multiple of it.
bool FinishConnecting(PGconn* connection) {
    const Clock::time_point deadline = Clock::now() + CONNECT_TIME;
    PostgresPollingStatusType next = PGRES_POLLING_WRITING;
    while (next == PGRES_POLLING_WRITING || next == PGRES_POLLING_READING) {
        if (!WaitForSocket(connection, next == PGRES_POLLING_READING ? POLLIN : POLLOUT, deadline)) {
            return false;
        }
        next = Pq().PQconnectPoll(connection);
    }
    return next == PGRES_POLLING_OK;
}

// Waits until PQgetResult does not block. Returns false if the connection fails or the deadline passes first.
bool WaitForResult(PGconn* connection, Clock::time_point deadline) {
    while (Pq().PQisBusy(connection) != 0) {
        const int unsent = Pq().PQflush(connection);
        const short events = unsent == 0 ? POLLIN : POLLIN | POLLOUT;
        if (unsent < 0 || !WaitForSocket(connection, events, deadline) ||
            Pq().PQconsumeInput(connection) == 0) {
            return false;
        }
    }
    return true;
}

// Reads the rows of a sent query, up to MAX_LISTING_BYTES. Returns an error message; empty on success.
std::string ReadRows(PGconn* connection, Clock::time_point deadline, std::vector<CollectionRecord>& rows) {
    for (size_t bytes = 0;;) {
        if (!WaitForResult(connection, deadline)) {
            return Clock::now() < deadline
                       ? Pq().PQerrorMessage(connection)
                       : "no complete response within " + std::to_string(QUERY_TIME.count()) + " seconds";
        }
        const std::unique_ptr<PGresult, decltype(&PQclear)> result(Pq().PQgetResult(connection),
                                                                   Pq().PQclear);
        const ExecStatusType status = Pq().PQresultStatus(result.get());
        if (status == PGRES_TUPLES_OK) {
            return "";
        }
        const char* text = status == PGRES_SINGLE_TUPLE ? Pq().PQgetvalue(result.get(), 0, 0) : nullptr;
        if (text == nullptr) {
            const std::string message = Pq().PQerrorMessage(connection);
            return message.empty() ? "unexpected response from the server" : message;
        }
        rows.emplace_back(text);
        bytes += ROW_HEADER_BYTES + rows.back().Text().size();
        if (bytes > MAX_LISTING_BYTES) {
            rows.pop_back();
            syslog(LOG_WARNING, "video library: only the first %zu collections are listed", rows.size());
            return "";
        }
    }
}

// Logs only the first line of libpq's message. The other lines show a position in the query.
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
    const char* const names[] = {"host", "user", "password", "dbname", "client_encoding", "options", nullptr};
    const char* const values[] = {host, user, password, database, "UTF8", SERVER_OPTIONS, nullptr};
    PGconn* connection = Pq().PQconnectStartParams(names, values, 0);
    Pq().PQsetNoticeProcessor(connection, IgnoreNotice, nullptr);
    if (Pq().PQstatus(connection) == CONNECTION_BAD || !FinishConnecting(connection)) {
        Pq().PQfinish(connection);
        return nullptr;
    }
    return new VexaDb{connection};
}

void VEXADBClose(VexaDb* connection) {
    Pq().PQfinish(connection->connection);
    delete connection;
}

namespace LibKinovo::db::api {

void BaseAPI::Paging(int offset, int limit) {
    offset_ = offset;
    limit_ = limit;
}

Json::Value CollectionRecord::ToJson() const {
    Json::Value row;
    ParseJson(text_, row);
    return row;
}

std::vector<CollectionRecord> CollectionAPI::List() const {
    std::vector<CollectionRecord> records;
    const std::unique_ptr<VexaDb, decltype(&VEXADBClose)> database(
        VEXADBConnect(nullptr, VIDEO_DATABASE_USER, nullptr, VIDEO_DATABASE), VEXADBClose);
    if (database == nullptr) {
        LogFailure("libpq can't be loaded, or there is no connection");
        return records;
    }
    const std::string query =
        std::string("SELECT left(row_to_json(c)::text, $4) FROM collection c WHERE uid = $1 ") +
        "ORDER BY title" + (order_ == 0 ? "" : " DESC") + ", id OFFSET $2 LIMIT $3";
    const std::string uid = std::to_string(uid_);
    const std::string offset = std::to_string(offset_);
    const std::string limit = std::to_string(limit_);
    const std::string length = std::to_string(MAX_ROW_CHARACTERS);
    const char* const parameters[] = {uid.c_str(), offset.c_str(), limit_ < 0 ? nullptr : limit.c_str(),
                                      length.c_str()};
    PGconn* connection = database->connection;
    const Clock::time_point deadline = Clock::now() + QUERY_TIME;
    const bool sent = Pq().PQsetnonblocking(connection, 1) == 0 &&
                      Pq().PQsendQueryParams(connection, query.c_str(), std::size(parameters), nullptr,
                                             parameters, nullptr, nullptr, 0) == 1 &&
                      Pq().PQsetSingleRowMode(connection) == 1;
    const std::string error =
        sent ? ReadRows(connection, deadline, records) : Pq().PQerrorMessage(connection);
    if (!error.empty()) {
        LogFailure(error);
        records.clear();
    }
    return records;
}

}  // namespace LibKinovo::db::api
