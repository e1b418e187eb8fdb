// How a request comes in: login, form, refusals, dispatch.
#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <thread>

#include "tests/appliance.h"

namespace {

constexpr char REPORT_HEADER[] =
    "Content-Type: application/json; charset=\"UTF-8\"\r\nCache-Control: no-store\r\n"
    "X-Content-Type-Options: nosniff\r\n\r\n";
constexpr size_t LARGEST_BODY = 32U << 20U;

class RequestTest : public Appliance {
  protected:
    // The value of the field "content" as an action gets it; "(none)" when it gets none.
    std::string ContentOf(const std::string& body, const std::string& type, const std::string& query = "") {
        std::filesystem::remove(ETC + "/menu_probe.xml");
        Request request = PostRequest("");
        request.body = body;
        request.environment["CONTENT_TYPE"] = type;
        request.environment["CONTENT_LENGTH"] = std::to_string(body.size());
        request.environment["QUERY_STRING"] = "action=savemenu&template=probe" + query;
        const Answer answer = Send(request);
        return answer.body == SUCCESS ? ReadAll(ETC + "/menu_probe.xml") : "(none)";
    }

    std::string FormContent(const std::string& body, const std::string& query = "") {
        return ContentOf(body, "application/x-www-form-urlencoded", query);
    }
};

std::string Part(const std::string& header, const std::string& value) {
    return "--XX\r\n" + header + "\r\n\r\n" + value + "\r\n";
}

const std::string FIELD = "Content-Disposition: form-data; name=\"content\"";

TEST_F(RequestTest, AnswersAreExactToTheByte) {
    EXPECT_EQ(
        Post("loadlogconf").output, REPORT_HEADER + std::string("{\"data\":{\"dmslog\":false},\"success\":true}\n"));
    EXPECT_EQ(Post("getdmslangtext").output,
        "Content-Type: text/plain; charset=\"UTF-8\"\r\nCache-Control: no-store\r\n"
        "X-Content-Type-Options: nosniff\r\n\r\n{\"success\":true}\n");
}

TEST_F(RequestTest, LoginDecidesBeforeAnythingElse) {
    const struct {
        std::map<std::string, std::string> environment;
        bool served;
        bool warned;
    } cases[] = {
        {{}, true, false},
        {{{"REMOTE_USER", ""}}, false, false},
        {{{"HTTP_SEC_FETCH_SITE", "same-origin"}, {"HTTP_ORIGIN", "null"}}, true, false},
        {{{"HTTP_SEC_FETCH_SITE", "none"}}, true, false},
        {{{"HTTP_SEC_FETCH_SITE", "same-site"}}, false, true},
        {{{"HTTP_SEC_FETCH_SITE", "cross-site\nfake"}}, false, true},
        {{{"HTTP_SEC_FETCH_SITE", ""}}, false, true},
        {{{"HTTP_ORIGIN", "http://box:5000"}, {"HTTP_HOST", "box:5000"}}, true, false},
        {{{"HTTP_ORIGIN", "http://box"}, {"HTTP_HOST", "box:5000"}}, false, true},
        {{{"HTTP_ORIGIN", "http://evil.example"}, {"HTTP_HOST", "box"}}, false, true},
        {{{"HTTP_ORIGIN", "null"}, {"HTTP_HOST", "null"}}, false, true},
        {{{"HTTP_ORIGIN", "http://box"}}, false, true},
    };
    for (const auto& [environment, served, warned] : cases) {
        for (const bool malformed : {false, true}) {
            Request request = PostRequest("loadlogconf");
            for (const auto& [name, value] : environment) {
                request.environment[name] = value;
            }
            if (malformed) {
                request.environment["CONTENT_LENGTH"] = "x";
            }
            const Answer answer = Send(request);
            EXPECT_EQ(!answer.output.empty(), served) << testing::PrintToString(environment);
            EXPECT_EQ(answer.log.size(), warned || (served && malformed) ? 1U : 0U);
        }
    }
    Request nobody = PostRequest("loadlogconf");
    nobody.environment.erase("REMOTE_USER");
    EXPECT_EQ(Send(nobody).output, "");
}

TEST_F(RequestTest, OnlyKnownActionsAnswer) {
    for (const char* name : {"", "Load_dma_page", "load_dma_page ", "load_dma_pag", "HandleRequest"}) {
        EXPECT_EQ(Post(name).output, "") << name;
    }
    Request none = PostRequest("");
    none.environment["CONTENT_LENGTH"] = "";
    EXPECT_EQ(Send(none).output, "");
    for (const char* name :
        {"load_dma_page", "save_dma_page", "load_browsing_page", "save_browsing_page", "load_general_page",
            "save_general_page", "loadmenu", "savemenu", "getdmslangtext", "loadlogconf", "applylogconf", "downloadlog",
            "clearlog", "saveClientList", "loadClientList", "loadProfileList", "loadCollection", "saveCollection"}) {
        EXPECT_NE(Post(name).output, "") << name;
    }
}

TEST_F(RequestTest, MalformedRequestsAreRefused) {
    const std::string form = "application/x-www-form-urlencoded";
    const std::string multipart = "multipart/form-data; boundary=XX";
    const std::string good = Part(FIELD, "v") + "--XX--\r\n";
    const struct {
        std::string type;
        std::string body;
        std::string length;  // "" for the body's own
        std::string status;
    } cases[] = {
        {form, "a=b", "4", "400 Bad Request"},
        {form, "a=b", "-1", "400 Bad Request"},
        {form, "a=b", "3x", "400 Bad Request"},
        {form, "a=b", " 3", "400 Bad Request"},
        {form, "a=b", "+3", "400 Bad Request"},
        {form, "a=b", std::to_string(LARGEST_BODY + 1), "413 Content Too Large"},
        {form, "a=b", "99999999999999999999999", "413 Content Too Large"},
        {"application/json", "{}", "", "415 Unsupported Media Type"},
        {"", "a=b", "", "415 Unsupported Media Type"},
        {"application/x-www-form-urlencodedx", "a=b", "", "415 Unsupported Media Type"},
        {"multipart/form-data", good, "", "400 Bad Request"},
        {"multipart/form-data; boundary=", good, "", "400 Bad Request"},
        {"multipart/form-data; boundary=\"XX", good, "", "400 Bad Request"},
        {"multipart/form-data; boundary=" + std::string(71, 'X'), good, "", "400 Bad Request"},
        {multipart, "", "1", "400 Bad Request"},
        {multipart, "junk", "", "400 Bad Request"},
        {multipart, good.substr(0, good.size() - 8), "", "400 Bad Request"},        // no closing boundary
        {multipart, "--XX\r\n" + FIELD + "\r\n--XX--\r\n", "", "400 Bad Request"},  // no end of the header
        {multipart, "--XX\r\n\r\nv\r\n--XX--\r\n", "", "400 Bad Request"},          // no header
        {multipart, Part("X: form-data; name=\"a\"", "v") + "--XX--\r\n", "", "400 Bad Request"},
        {multipart, Part("Content-Disposition: form-data; name=a", "v") + "--XX--", "", "400 Bad Request"},
        {multipart, Part("Content-Disposition: form-data; filename=\"f\"", "v") + "--XX--", "", "400 Bad Request"},
        {multipart, Part("Content-Disposition: form-data; filename=\"f\"; name=\"a\"", "v") + "--XX--", "",
            "400 Bad Request"},
        {multipart, Part(FIELD, "in --XX the text") + "--XX--", "", "400 Bad Request"},
        {multipart, good + "more", "", "400 Bad Request"},
    };
    for (const auto& [type, body, length, status] : cases) {
        Request request = PostRequest("");
        request.body = body;
        request.environment["QUERY_STRING"] = "action=savemenu&template=x&content=y";
        request.environment["CONTENT_TYPE"] = type;
        request.environment["CONTENT_LENGTH"] = length.empty() ? std::to_string(body.size()) : length;
        const Answer answer = Send(request);
        EXPECT_EQ(answer.output, "Status: " + status + "\r\n" + REPORT_HEADER + Error(0)) << type << "\n" << body;
        EXPECT_EQ(answer.log, std::vector<std::string>{"request refused: " + status});
    }
    EXPECT_FALSE(std::filesystem::exists(ETC + "/menu_x.xml"));
}

TEST_F(RequestTest, UrlencodedFieldsComeWhole) {
    using std::string_literals::operator""s;
    const struct {
        std::string body, query, value;
    } cases[] = {
        {"content=a;b&c", "", "a;b"},
        {"content=a%3Bb+c%2B", "", "a;b c+"},
        {"content=%", "", "%"},
        {"content=%4", "", "%4"},
        {"content=%zz%41", "", "%zzA"},
        {"content=a=b==", "", "a=b=="},
        {"content=one&content=two", "&content=three", "one"},
        {"x=y", "&content=q;r", "q;r"},
        {"Content=a&CONTENT=b", "", "(none)"},
        {"Content=a&content=b", "", "b"},
        {"content", "", ""},
        {"content&x=y", "", ""},
        {"x=y&content", "", ""},
        {"&&&content=a&&", "", "a"},
        {"content=a%00b", "", "a"},
        {"content=a\0b"s, "", "a"},
        {"content=%FF%C3%28\xE4", "", "\xFF\xC3(\xE4"},
        {"content=%22%0A%0D\"'", "", "\"\n\r\"'"},
        {std::string(100, 'a') + "=1&content=v", "", "v"},
        {std::string(1U << 20U, '&') + "content=v", "", "v"},
    };
    for (const auto& [body, query, value] : cases) {
        EXPECT_EQ(FormContent(body, query), value) << body.substr(0, 60);
    }
    EXPECT_EQ(ContentOf("content=a", "Application/X-WWW-Form-URLencoded; charset=UTF-8"), "a");
}

TEST_F(RequestTest, MultipartFieldsComeWhole) {
    const std::string close = "--XX--";
    const std::string file = "Content-Disposition: form-data; name=\"content\"; filename=\"f.xml\"";
    const struct {
        std::string body, query, value;
    } cases[] = {
        {Part(FIELD, "a;b&c=d+%41\r\n\r\n\"\xFF") + close + "\r\n", "", "a;b&c=d+%41\r\n\r\n\"\xFF"},
        {Part(FIELD, "last") + close, "", "last"},
        {Part(FIELD, "") + close, "", ""},
        {Part(FIELD, "one") + Part(FIELD, "two") + close, "&content=three", "one"},
        {Part("X: y\r\ncontent-disposition: form-data; name=\"content\"", "lower") + close, "", "lower"},
        {Part(file + "\r\nContent-Type: text/xml", "a file") + close, "&content=later", "a file"},
        {Part("Content-Disposition: form-data; name=\"Content\"", "x") + close, "", "(none)"},
        {Part(FIELD, "-- XX\r\n-XX\r\n--X\r\n") + close, "", "-- XX\r\n-XX\r\n--X\r\n"},
        {close + "\r\n", "&content=query", "query"},
    };
    for (const char* type : {"multipart/form-data; boundary=XX", "Multipart/Form-Data;charset=x; Boundary=\"XX\"; y=z",
             "multipart/form-data; a=\";\"; boundary=XX ; y"}) {
        for (const auto& [body, query, value] : cases) {
            EXPECT_EQ(ContentOf(body, type, query), value) << type << "\n" << body;
        }
    }
}

TEST_F(RequestTest, TheLargestBodyIsTaken) {
    const std::string start = "content=";
    const std::string text(LARGEST_BODY - start.size(), 'x');
    EXPECT_TRUE(FormContent(start + text) == text);
}

TEST_F(RequestTest, ASaveOutlivesItsClient) {
    WriteProgram(SCRIPT, "echo $1 >> " + ROOT + "/calls; sleep 1\n");
    Request request = PostRequest("save_browsing_page", {{"enableradio", "true"}});
    request.whileRunning = [](pid_t program) {
        while (ReadAll(ROOT + "/calls").empty()) {
            usleep(10000);
        }
        for (const int number : {SIGTERM, SIGHUP, SIGINT, SIGPIPE}) {
            kill(program, number);
        }
    };
    EXPECT_EQ(Send(request).body, SAVED);
    EXPECT_EQ(ScriptCalls(), std::vector<std::string>{"restart"});

    // The client is gone before there is an answer.
    request = PostRequest("save_browsing_page", {{"enableradio", "false"}});
    request.beforeExec = [] {
        int closed[2];
        static_cast<void>(!pipe(closed));
        close(closed[0]);
        dup2(closed[1], STDOUT_FILENO);
    };
    const Answer answer = Send(request);
    EXPECT_EQ(ScriptCalls(), std::vector<std::string>{"restart"});
    EXPECT_EQ(answer.Events().back(), "0x11B00508");
    EXPECT_NE(ReadAll(SETTINGS).find("suppradio_mediaservice=\"no\""), std::string::npos);
}

}  // namespace
