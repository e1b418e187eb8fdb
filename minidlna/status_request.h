#pragma once

#include "minidlna/status_page.h"

namespace dms {

// Loads the status page from minidlnad on this machine. Returns false after half a second without a complete
// response, or if the response is not a status page; the content of `page` is unspecified then.
bool FetchStatusPage(int port, StatusPage& page);

}  // namespace dms
