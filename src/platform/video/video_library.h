// The database of the video library (PostgreSQL).
//
// The interface is that of the appliance's video library: that is why it has a connection with four
// arguments, a base class for paging, and a sort order, although this program always lists all collections
// by title.
//
// libpq is loaded at the first connection, because it loads over twenty libraries and only one of the
// nineteen actions needs it.
#pragma once

#include <json/value.h>

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

constexpr char VIDEO_DATABASE[] = "video_metadata";
constexpr char VIDEO_DATABASE_USER[] = "postgres";

// The size limit of a listing, in bytes of the server's messages: enough for 50,000 collections with titles
// of 40 bytes.
constexpr size_t MAX_LISTING_BYTES = 5 << 20;

// The size limit of a row. A longer row is cut and is then not valid JSON.
constexpr size_t MAX_ROW_CHARACTERS = 64 << 10;

// An open connection to the database.
struct VexaDb;

// Connects to the database within 5 seconds. A null argument selects libpq's default, which its
// environment variables can change. Returns null if it can't connect or libpq can't be loaded. The
// caller closes the connection with VEXADBClose.
VexaDb* VEXADBConnect(const char* host, const char* user, const char* password, const char* database);
void VEXADBClose(VexaDb* connection);

namespace LibKinovo::db::api {

class BaseAPI {
  public:
    using SortOrder = int;

    // Makes a listing return at most `limit` elements, from element number `offset` (0 for the first); all if
    // `limit` is negative.
    void Paging(int offset, int limit);

  protected:
    int offset_ = 0;
    int limit_ = -1;
};

class CollectionRecord {
  public:
    explicit CollectionRecord(std::string text) : text_(std::move(text)) {}
    virtual ~CollectionRecord() = default;

    // Returns the whole row as an object with a member for each column; null if it is not valid JSON.
    virtual Json::Value ToJson() const;

    // Returns the row as the server sent it.
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

    // 0 sorts by ascending title, any other value by descending title; equal titles by ascending id.
    void OrderByTitle(SortOrder order) { order_ = order; }

    // Connects and runs the query, which may take at most 10 seconds. Logs one line and returns an empty list
    // on failure. Logs one line and returns the first rows if the listing exceeds MAX_LISTING_BYTES.
    std::vector<CollectionRecord> List() const;

  private:
    unsigned int uid_;
    SortOrder order_ = 0;
};

}  // namespace LibKinovo::db::api
