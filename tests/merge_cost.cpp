// What saving a long client list costs against the JSON library alone: the ratio is printed, the growth
// tested.
#include <json/reader.h>
#include <json/writer.h>

#include <chrono>
#include <fstream>
#include <iostream>

#include "tests/appliance.h"

namespace {

class MergeCostTest : public Appliance {
  protected:
    static inline const std::string STORED = ETC + "/client_list.json";

    // Entries as the daemon writes them, or as the page submits them; the changes come in the reverse order.
    static std::string Clients(int count, bool changes) {
        std::string list = changes ? "[" : "{\"ClientList\":[";
        for (int i = 0; i < count; ++i) {
            char text[200];
            snprintf(text, sizeof text, R"(%s{"macAddr":"02:00:%08d","profileName":"%s %d","isAccess":true%s})",
                i == 0 ? "" : ",", changes ? count - 1 - i : i, changes ? "New" : "Old", i % 7,
                changes ? "" : R"(,"ipAddr":"192.168.1.2","deviceName":"Living room")");
            list += text;
        }
        return list + (changes ? "]" : "]}");
    }

    // One multipart body, so that the form costs as little as it can.
    static Request Save(const std::string& changes) {
        Request request = PostRequest("");
        request.body =
            "--X\r\nContent-Disposition: form-data; name=\"modifiedInfo\"\r\n\r\n" + changes + "\r\n--X--\r\n";
        request.environment["CONTENT_TYPE"] = "multipart/form-data; boundary=X";
        request.environment["CONTENT_LENGTH"] = std::to_string(request.body.size());
        request.environment["QUERY_STRING"] = "action=saveClientList";
        return request;
    }

    static double LibraryAlone(const std::string& stored, const std::string& changes) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
        const auto start = std::chrono::steady_clock::now();
        for (const std::string* text : {&stored, &changes}) {
            Json::Value document;
            EXPECT_TRUE(Json::Reader().parse(*text, document, true));
            std::ofstream file(ROOT + "/written");
            Json::StyledStreamWriter("\t").write(file, document);
        }
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
#pragma GCC diagnostic pop
    }

    static double Measure(int count) {
        const std::string stored = Clients(count, false);
        const std::string changes = Clients(count, true);
        WriteAll(STORED, stored);
        const Answer answer = Send(Save(changes));
        EXPECT_EQ(answer.body, SUCCESS);
        EXPECT_NE(ReadAll(STORED).find("\"profileName_UserSelected\" : \"New 6\""), std::string::npos);
        const double alone = LibraryAlone(stored, changes);
        std::cout << count << " clients, " << count << " changes: " << answer.seconds << " s, " << answer.peakKilobytes
                  << " KiB; the library alone " << alone << " s; ratio " << answer.seconds / alone << "\n";
        return answer.seconds;
    }
};

TEST_F(MergeCostTest, GrowsWithTheList) {
    const double ten = Measure(10000);
    EXPECT_LT(Measure(100000), 20 * ten);
}

}  // namespace
