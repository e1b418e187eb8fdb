#include "mediaserv/media_service_handler.h"

int main() {
    MediaServiceHandler handler;
    handler.HandleRequest();
    return 0;
}
