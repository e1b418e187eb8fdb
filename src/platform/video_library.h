// The video library's database, PostgreSQL. libpq is loaded when a connection is first asked for: one action
// of nineteen needs it, and it brings over twenty libraries.
#pragma once

#include <json/value.h>

#include <utility>
#include <vector>

constexpr char VIDEO_DATABASE[] = "video_metadata";
constexpr char VIDEO_DATABASE_USER[] = "postgres";

// An open connection to the database.
struct VexaDb;

// Connects within 5 seconds; a null argument leaves libpq's own default, its environment included. Returns
// null when no connection can be made, or libpq can't be loaded. The caller closes it with VEXADBClose.
VexaDb* VEXADBConnect(const char* host, const char* user, const char* password, const char* database);
void VEXADBClose(VexaDb* connection);

namespace LibKinovo::db::api {

class BaseAPI {
  public:
    using SortOrder = int;

    // From the element `offset` on, `limit` elements; -1 for all.
    void Paging(int offset, int limit);

  protected:
    int offset_ = 0;
    int limit_ = -1;
};

class CollectionRecord {
  public:
    explicit CollectionRecord(Json::Value row) : row_(std::move(row)) {}
    virtual ~CollectionRecord() = default;

    // The whole row, members named as the columns.
    virtual Json::Value ToJson() const { return row_; }

  private:
    Json::Value row_;
};

// The collections of one user:
//
//     CREATE TABLE collection (id integer ... PRIMARY KEY, uid bigint NOT NULL, title text NOT NULL);
class CollectionAPI : public BaseAPI {
  public:
    explicit CollectionAPI(unsigned int uid) : uid_(uid) {}

    // 0 sorts by title ascending, then id; anything else descending.
    void OrderByTitle(SortOrder order) { order_ = order; }

    // Runs the query, for 10 seconds at most. A failure logs one line and lists nothing.
    std::vector<CollectionRecord> List() const;

  private:
    unsigned int uid_;
    SortOrder order_ = 0;
};

}  // namespace LibKinovo::db::api
