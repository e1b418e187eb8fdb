// The video library's database, PostgreSQL. libpq is loaded when a connection is first asked for: one action
// of nineteen needs it, and it brings over twenty libraries.
#pragma once

#include <json/value.h>

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

constexpr char VIDEO_DATABASE[] = "video_metadata";
constexpr char VIDEO_DATABASE_USER[] = "postgres";

// Of one listing, as the server sends it: 60,000 collections with titles of 40 bytes.
constexpr size_t MAX_LISTING_BYTES = 5 << 20;
// Of one row; a longer one is cut, and so can't be read.
constexpr size_t MAX_ROW_CHARACTERS = 64 << 10;

// An open connection to the database.
struct VexaDb;

// Connects within 5 seconds, whatever the server does; a null argument leaves libpq's own default, its
// environment included. Returns null when no connection can be made, or libpq can't be loaded. The caller
// closes it with VEXADBClose.
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
    explicit CollectionRecord(std::string text) : text_(std::move(text)) {}
    virtual ~CollectionRecord() = default;

    // The whole row, members named as the columns; null when it can't be read.
    virtual Json::Value ToJson() const;

    // The row as the server sent it.
    const std::string& Text() const { return text_; }

  private:
    std::string text_;
};

// The collections of one user:
//
//     CREATE TABLE collection (id integer ... PRIMARY KEY, uid bigint NOT NULL, title text NOT NULL);
class CollectionAPI : public BaseAPI {
  public:
    explicit CollectionAPI(unsigned int uid) : uid_(uid) {}

    // 0 sorts by title ascending, then id; anything else descending.
    void OrderByTitle(SortOrder order) { order_ = order; }

    // Connects and runs the query, which ends 10 seconds after it was sent, whatever the server does. A
    // failure logs one line and lists nothing, a list beyond the limit logs one and ends there.
    std::vector<CollectionRecord> List() const;

  private:
    unsigned int uid_;
    SortOrder order_ = 0;
};

}  // namespace LibKinovo::db::api
