// Prints the response of a load that reads nothing: the least that a start of a program with the JSON library
// costs.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <json/value.h>
#include <json/writer.h>

#include <cstdio>

int main() {
    Json::Value report(Json::objectValue);
    Json::Value& data = report["data"];
    data["albumartlist"] = "cover.jpg;Cover.jpg;COVER.jpg;folder.jpg;Folder.jpg;FOLDER.jpg";
    for (const char* on : {"cmzalbumart", "ebdvideoinfo", "enableradio", "integrateKinovo", "kinovo_enabled",
                           "sendthumb", "support_kinovo"}) {
        data[on] = false;
    }
    data["musicdisplayinfo"] = "title";
    data["photo_sort_by"] = "filename";
    data["photo_sort_order"] = "asc";
    report["success"] = true;
    fputs("Content-Type: application/json; charset=\"UTF-8\"\r\n\r\n", stdout);
    fputs(Json::FastWriter().write(report).c_str(), stdout);
    return 0;
}
