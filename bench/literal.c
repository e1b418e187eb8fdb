/* Prints the response of a load from a literal: the least that a start of any program costs, in static and
 * dynamic C. */
#include <stdio.h>

int main(void) {
    puts(
        "Content-Type: application/json; charset=\"UTF-8\"\r\n"
        "Cache-Control: no-store\r\n"
        "X-Content-Type-Options: nosniff\r\n"
        "\r\n"
        "{\"data\":{\"albumartlist\":\"cover.jpg;Cover.jpg;COVER.jpg;folder.jpg;Folder.jpg;FOLDER.jpg\","
        "\"cmzalbumart\":false,\"ebdvideoinfo\":false,\"enableradio\":false,\"integrateKinovo\":false,"
        "\"kinovo_enabled\":false,\"musicdisplayinfo\":\"title\",\"photo_sort_by\":\"filename\","
        "\"photo_sort_order\":\"asc\",\"sendthumb\":false,\"support_kinovo\":true},\"success\":true}");
    return 0;
}
