#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "mediaserv/media_service_handler.h"

namespace {

// On a command line, not in CGI use: there a query can become arguments (RFC 3875, 4.4).
bool AsksForVersion(int count, char** arguments) {
    return count == 2 && strcmp(arguments[1], "--version") == 0 && getenv("GATEWAY_INTERFACE") == nullptr &&
           getenv("REQUEST_METHOD") == nullptr;
}

}  // namespace

int main(int argc, char** argv) {
    if (AsksForVersion(argc, argv)) {
        puts("mediaserv " MEDIASERV_VERSION);
        return 0;
    }
    MediaServiceHandler handler;
    handler.HandleRequest();
    return 0;
}
