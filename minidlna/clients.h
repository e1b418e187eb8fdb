// The clients that dms knows, in the file that the pages change (src/clients/client_list.h).
#pragma once

#include <json/value.h>

#include <string>
#include <vector>

#include "minidlna/dms_log.h"
#include "minidlna/status_page.h"

class Clients {
  public:
    explicit Clients(DmsLog& log);

    // What the file says counts, a missing file included; one that can't be understood changes nothing.
    void TakeBack();

    // Adds the clients that aren't known yet, with access and the profile that their type suggests; of known
    // ones only the IP address is brought up to date. Changes of the file come first. It is written when
    // something changed, or when there is none yet.
    void Merge(const std::vector<PageClient>& met);

    // The hardware addresses of those without access.
    std::vector<std::string> Denied() const;

  private:
    bool ReadList(Json::Value& list) const;

    DmsLog& log_;
    Json::Value list_;  // the file's document
};
