// What dms reads from minidlnad's status page, and from pages that only claim to be one.
#include "minidlna/status_page.h"

#include <climits>

#include "tests/appliance.h"

namespace {

using Clients = std::vector<dms::SeenClient>;

const std::string AUDIO = "<tr><td>Audio files</td><td>12</td></tr>";
const std::string MAC = "02:00:5E:10:00:01";

std::string Repeated(const std::string& text, size_t size = dms::MAX_STATUS_PAGE - 1000) {
    std::string result;
    while (result.size() + text.size() <= size) {
        result += text;
    }
    return result;
}

std::string ClientRow(const std::string& type, const std::string& ip = "192.0.2.1", const std::string& mac = MAC) {
    return "<tr><td>0</td><td>" + type + "</td><td>" + ip + "</td><td>" + mac + "</td><td>1</td></tr>";
}

TEST(StatusPageTest, ReadsCountsAndScan) {
    const std::pair<std::string, dms::StatusPage> cases[] = {
        {AUDIO + "<tr><td>Video files</td><td>5</td></tr><tr><td>Image files</td><td>34</td></tr></table><i>* Media "
                 "scan "
                 "in progress</i>",
            {12, 5, 34, true, {}}},
        {AUDIO + "<tr>", {12, 0, 0, false, {}}},
        {AUDIO + "<tr><td>Video", {12, 0, 0, false, {}}},
        {AUDIO + "<tr></tr><tr><td>scan in progress</td></tr>", {12, 0, 0, false, {}}},
        {"<tr><td>Audio files<td>99999999999999999999<tr><td>Video files<td>-1<tr><td>Image files<td>x",
            {LONG_MAX, 0, 0, false, {}}},
        {AUDIO + "<tr><td><table><tr><td>Video files<td>2</table><td>3", {12, 0, 0, false, {}}},
        {AUDIO + Repeated("<tr>"), {12, 0, 0, false, {}}},
        {"\xFF\xFE" + AUDIO, {12, 0, 0, false, {}}},
    };
    for (const auto& [rows, expected] : cases) {
        dms::StatusPage page;
        EXPECT_TRUE(dms::ParseStatusPage("<h3>Media library</h3><table>" + rows, page)) << rows.substr(0, 200);
        EXPECT_TRUE(page == expected) << rows.substr(0, 200);
    }
}

TEST(StatusPageTest, RejectsOtherPages) {
    const std::string cases[] = {"", " ", std::string(100, '\0'), "<", "text", "<table></table>",
        "<table><tr></tr></table>", "<table><tr></tr>" + AUDIO, "<table><tr>text</tr>", "<table><tr><td></td></tr>",
        "<html>", "<!--", Repeated("<tr>"), Repeated("<table><tr><td>") + AUDIO, Repeated("&amp;"),
        AUDIO + Repeated("<tr>", dms::MAX_STATUS_PAGE)};
    for (const std::string& html : cases) {
        dms::StatusPage page;
        EXPECT_FALSE(dms::ParseStatusPage(html, page)) << html.substr(0, 200);
    }
}

TEST(StatusPageTest, ReadsClients) {
    const std::string e = "\xC3\xA9";
    const std::string lower = "02:00:5e:10:00:ff";
    const std::pair<std::string, Clients> cases[] = {
        {ClientRow("Samsung Series [Q]"), {{"Samsung Series [Q]", "192.0.2.1", MAC}}},
        {ClientRow("A &amp; <b>B</b>&eacute;", "2001:db8::1", lower), {{"A & B" + e, "2001:db8::1", lower}}},
        {ClientRow("a\tb&#10;c\x7F&#x85;d"), {{"a b c  d", "192.0.2.1", MAC}}},
        {ClientRow(e + "\xF5\xA9x"), {{e + "\xEF\xBF\xBD\xEF\xBF\xBDx", "192.0.2.1", MAC}}},
        {ClientRow(Repeated(e, 300)), {{Repeated(e, 128), "192.0.2.1", MAC}}},
        {ClientRow("x" + Repeated(e, 300)), {{"x" + Repeated(e, 126), "192.0.2.1", MAC}}},
        {ClientRow("a", "192.0.2") + ClientRow("b", "; drop") + ClientRow("c", ""),
            {{"a", "", MAC}, {"b", "", MAC}, {"c", "", MAC}}},
        {ClientRow("a", "192.0.2.1", "FF:FF:FF:FF:FF:FF") + ClientRow("b", "192.0.2.1", "00:00:00:00:00:00"), {}},
        {ClientRow("a", "192.0.2.1", "02:00:5E:10:00") + ClientRow("b", "192.0.2.1", "02:00:5E:10:00:0G") +
                ClientRow("c", "192.0.2.1", "02-00-5E-10-00-01") + ClientRow("d", "192.0.2.1", MAC + " "),
            {}},
        {"<tr><td>0</td><td>a</td><td>192.0.2.1</td><td>" + MAC, {}},
    };
    for (const auto& [rows, clients] : cases) {
        dms::StatusPage page;
        EXPECT_TRUE(dms::ParseStatusPage("<table>" + AUDIO + rows, page)) << rows;
        EXPECT_TRUE(page.clients == clients) << rows;
    }
}

}  // namespace
