#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "mediaserv/media_service_handler.h"

namespace {

// The option works on a command line only: in CGI use, a query string can become command-line arguments
// (RFC 3875, 4.4).
bool IsVersionRequest(int count, char** arguments) {
    return count == 2 && strcmp(arguments[1], "--version") == 0 && getenv("GATEWAY_INTERFACE") == nullptr &&
           getenv("REQUEST_METHOD") == nullptr;
}

}  // namespace

int main(int argc, char** argv) {
    if (IsVersionRequest(argc, argv)) {
        puts("mediaserv " MEDIASERV_VERSION);
        return 0;
    }
    MediaServiceHandler handler;
    handler.HandleRequest();
    return 0;
}
