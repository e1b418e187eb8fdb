// How a request comes in: login, form, refusals, dispatch.
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "tests/appliance.h"

namespace {

using std::string_literals::operator""s;

const std::string HEADER_END =
    "; charset=\"UTF-8\"\r\nCache-Control: no-store\r\nX-Content-Type-Options: nosniff\r\n\r\n";
const std::string FORM = "application/x-www-form-urlencoded";
const std::string MULTIPART = "multipart/form-data; boundary=XX";
const std::string NAMED = "Content-Disposition: form-data; name=\"content\"";
constexpr size_t LARGEST_BODY = 32U << 20U;

// The body of a multipart form with a field.
std::string Part(const std::string& header, const std::string& value, const std::string& end = "--XX--") {
    return "--XX\r\n" + header + "\r\n\r\n" + value + "\r\n" + end;
}

class RequestTest : public Appliance {
  protected:
    static Request SaveMenu(const std::string& type, const std::string& body, const std::string& query) {
        Request request = {PostRequest("").environment, body};
        request.environment["CONTENT_TYPE"] = type;
        request.environment["CONTENT_LENGTH"] = std::to_string(body.size());
        request.environment["QUERY_STRING"] = "action=savemenu&template=probe" + query;
        return request;
    }

    // The value of the field "content" as an action gets it.
    static std::string ContentOf(const std::string& type, const std::string& body, const std::string& query = "") {
        std::filesystem::remove(ETC + "/menu_probe.xml");
        const Answer answer = Send(SaveMenu(type, body, query));
        return answer.body == SUCCESS ? ReadAll(ETC + "/menu_probe.xml") : "(none)";
    }

    static void ExpectRefused(
        const std::string& status, const std::string& type, const std::string& body, const std::string& length = "") {
        Request request = SaveMenu(type, body, "&content=x");
        request.environment["CONTENT_LENGTH"] = length.empty() ? std::to_string(body.size()) : length;
        const Answer answer = Send(request);
        EXPECT_EQ(answer.output, "Status: " + status + "\r\nContent-Type: application/json" + HEADER_END + Error(0))
            << type << length << body;
        EXPECT_EQ(answer.log, Strings{"request refused: " + status});
        EXPECT_FALSE(std::filesystem::exists(ETC + "/menu_probe.xml"));
    }
};

TEST_F(RequestTest, AnswersAreExactToTheByte) {
    EXPECT_EQ(Post("loadlogconf").output,
        "Content-Type: application/json" + HEADER_END + "{\"data\":{\"dmslog\":false},\"success\":true}\n");
    EXPECT_EQ(Post("getdmslangtext").output, "Content-Type: text/plain" + HEADER_END + SUCCESS);
}

TEST_F(RequestTest, LoginDecidesBeforeAnythingElse) {
    const struct {
        std::map<std::string, std::string> environment;
        bool served, warned = !served;
    } cases[] = {
        {{}, true},
        {{{"REMOTE_USER", ""}}, false, false},
        {{{"HTTP_SEC_FETCH_SITE", "same-origin"}, {"HTTP_ORIGIN", "null"}}, true},
        {{{"HTTP_SEC_FETCH_SITE", "none"}}, true},
        {{{"HTTP_SEC_FETCH_SITE", "same-site"}}, false},
        {{{"HTTP_SEC_FETCH_SITE", "cross-site\nfake"}}, false},
        {{{"HTTP_SEC_FETCH_SITE", ""}}, false},
        {{{"HTTP_ORIGIN", "http://box:5000"}, {"HTTP_HOST", "box:5000"}}, true},
        {{{"HTTP_ORIGIN", "http://box"}, {"HTTP_HOST", "box:5000"}}, false},
        {{{"HTTP_ORIGIN", "null"}, {"HTTP_HOST", "null"}}, false},
        {{{"HTTP_ORIGIN", "http://box"}}, false},
    };
    for (const auto& [environment, served, warned] : cases) {
        for (const std::string length : {"", "x"}) {
            Request request = PostRequest("");
            request.environment["QUERY_STRING"] = "action=loadlogconf";
            request.environment["CONTENT_LENGTH"] = length;
            for (const auto& [name, value] : environment) {
                request.environment[name] = value;
            }
            const Answer answer = Send(request);
            EXPECT_EQ(!answer.output.empty(), served) << testing::PrintToString(environment);
            EXPECT_EQ(answer.log.size(), warned || (served && length == "x") ? 1U : 0U);
        }
    }
    EXPECT_EQ(Send({{{"QUERY_STRING", "action=loadlogconf"}}, ""}).output, "");
}

TEST_F(RequestTest, OtherActionsAreNotAnswered) {
    for (const char* name : {"", "Load_dma_page", "load_dma_page ", "load_dma_pag", "HandleRequest"}) {
        EXPECT_EQ(Post(name).output, "") << name;
    }
    EXPECT_EQ(Send({{{"REMOTE_USER", "root"}}, "action=loadlogconf"}).output, "");
}

TEST_F(RequestTest, MalformedRequestsAreRefused) {
    const std::string bad = "400 Bad Request";
    for (const char* length : {"4", "-1", "3x", " 3", "+3"}) {
        ExpectRefused(bad, FORM, "a=b", length);
    }
    for (const std::string& length : {std::to_string(LARGEST_BODY + 1), "99999999999999999999999"s}) {
        ExpectRefused("413 Content Too Large", FORM, "a=b", length);
    }
    for (const std::string& type : {"application/json"s, ""s, FORM + "x"}) {
        ExpectRefused("415 Unsupported Media Type", type, "a=b");
    }
    const std::string good = Part(NAMED, "v");
    for (const std::string& parameter :
        {""s, "; boundary="s, "; boundary=\"XX"s, "; boundary=" + std::string(71, 'X')}) {
        ExpectRefused(bad, "multipart/form-data" + parameter, good);
    }
    ExpectRefused(bad, MULTIPART, "", "1");
    for (const std::string& body : {"junk"s, Part(NAMED, "v", ""), good + "more", Part(NAMED, "in --XX the text"),
             "--XX\r\n" + NAMED + "\r\n--XX--",  // no end of the header
             "--XX\r\n\r\nv\r\n--XX--"s,         // no header
             Part("X: form-data; name=\"a\"", "v"), Part("Content-Disposition: form-data; name=a", "v"),
             Part("Content-Disposition: form-data; filename=\"f\"", "v"),
             Part("Content-Disposition: form-data; filename=\"f\"; name=\"a\"", "v")}) {
        ExpectRefused(bad, MULTIPART, body);
    }
}

TEST_F(RequestTest, UrlencodedFieldsComeWhole) {
    const struct {
        std::string body, value, query = {};
    } cases[] = {{"content=a;b=c==&c", "a;b=c=="}, {"content=a%3Bb+c%2B%22%0A%0D\"'", "a;b c+\"\n\r\"'"},
        {"content=%", "%"}, {"content=%zz%41%4", "%zzA%4"}, {"content=one&content=two", "one", "&content=three"},
        {"x=y", "q;r", "&content=q;r"}, {"Content=a&CONTENT=b", "(none)"}, {"content&x=y", ""}, {"x=y&content", ""},
        {"&&&content=a&&", "a"}, {"content=a%00b", "a"}, {"content=a\0b"s, "a"},
        {"content=%FF%C3%28\xE4", "\xFF\xC3(\xE4"}, {std::string(1U << 20U, '&') + "content=v", "v"}};
    for (const auto& [body, value, query] : cases) {
        EXPECT_EQ(ContentOf(FORM, body, query), value) << body.substr(0, 60);
    }
    const std::string largest(LARGEST_BODY - 8, 'x');
    EXPECT_TRUE(ContentOf("Application/X-WWW-Form-URLencoded; charset=UTF-8", "content=" + largest) == largest);
}

TEST_F(RequestTest, MultipartFieldsComeWhole) {
    const struct {
        std::string body, value, query = {};
    } cases[] = {{Part(NAMED, "a;b&c=d+%41\r\n\r\n\"\xFF", "--XX--\r\n"), "a;b&c=d+%41\r\n\r\n\"\xFF"},
        {Part(NAMED, ""), ""}, {Part(NAMED, "one", Part(NAMED, "two")), "one", "&content=three"},
        {Part("X: y\r\ncontent-disposition: form-data; name=\"content\"", "lower"), "lower"},
        {Part(NAMED + "; filename=\"f.xml\"\r\nContent-Type: text/xml", "a file"), "a file", "&content=later"},
        {Part("Content-Disposition: form-data; name=\"Content\"", "x"), "(none)"},
        {Part(NAMED, "-- XX\r\n-XX\r\n--X\r\n"), "-- XX\r\n-XX\r\n--X\r\n"}, {"--XX--\r\n", "query", "&content=query"}};
    for (const std::string& type : {MULTIPART, "Multipart/Form-Data;charset=x; Boundary=\"XX\"; y=z"s,
             "multipart/form-data; a=\";\"; boundary=XX ; y"s}) {
        for (const auto& [body, value, query] : cases) {
            EXPECT_EQ(ContentOf(type, body, query), value) << type << "\n" << body;
        }
    }
}

TEST_F(RequestTest, ASaveOutlivesItsClient) {
    WriteProgram(SCRIPT, "echo $1 >> " + ROOT + "/calls; sleep 1\n");
    Request request = PostRequest("save_browsing_page", {{"enableradio", "true"}});
    // The client is gone before there is an answer, and the server ends the program.
    request.beforeExec = [] {
        int closed[2];
        static_cast<void>(!pipe(closed));
        close(closed[0]);
        dup2(closed[1], STDOUT_FILENO);
    };
    request.whileRunning = [](pid_t program) {
        while (ReadAll(ROOT + "/calls").empty()) {
            usleep(10000);
        }
        for (const int number : {SIGTERM, SIGHUP, SIGINT, SIGPIPE}) {
            kill(program, number);
        }
    };
    EXPECT_EQ(Send(request).Events().back(), "0x11B00508");
    EXPECT_EQ(ScriptCalls(), Strings{"restart"});
}

}  // namespace
