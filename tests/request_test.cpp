// The request: its login, its form, and how a save survives the loss of the client.
#include <unistd.h>

#include <csignal>

#include "tests/appliance.h"

namespace {

const std::string FORM = "application/x-www-form-urlencoded";
const std::string MULTIPART = "multipart/form-data; boundary=XX";
constexpr size_t LARGEST_BODY = 32U << 20U;

class RequestTest : public Appliance {
  protected:
    static Request ProbeRequest(const std::string& type, const std::string& body) {
        Request request = {PostRequest("").environment, body};
        request.environment["CONTENT_TYPE"] = type;
        request.environment["CONTENT_LENGTH"] = std::to_string(body.size());
        request.environment["QUERY_STRING"] = "action=savemenu&template=probe";
        return request;
    }

    // Returns the value of the field "content" that an action receives.
    static std::string ContentOf(const std::string& type, const std::string& body) {
        EXPECT_EQ(Send(ProbeRequest(type, body)).body, SUCCESS);
        return ReadAll(ETC + "/menu_probe.xml");
    }

    static std::string Part(const std::string& name, const std::string& value) {
        return "--XX\r\nContent-Disposition: form-data; name=\"" + name + "\"\r\n\r\n" + value + "\r\n";
    }
};

TEST_F(RequestTest, WithoutLoginOrContentLengthThereIsNoResponse) {
    EXPECT_EQ(Send({{{"QUERY_STRING", "action=loadlogconf"}}, ""}).output, "");
    EXPECT_EQ(Send({{{"REMOTE_USER", "root"}}, "action=loadlogconf"}).output, "");
}

TEST_F(RequestTest, LargeAndBinaryFieldsAreReadCompletely) {
    const std::string largest(LARGEST_BODY - 8, 'x');
    EXPECT_TRUE(ContentOf("Application/X-WWW-Form-URLencoded; charset=UTF-8", "content=" + largest) == largest);
    EXPECT_EQ(ContentOf(FORM, std::string(1U << 20U, '&') + "content=%FF%C3%28\xE4"), "\xFF\xC3(\xE4");
    std::string content;
    for (int i = 0; i < 256; ++i) {
        content += static_cast<char>(i);
    }
    EXPECT_EQ(ContentOf(MULTIPART, Part("content", "\xFF" + content.substr(1)) + "--XX--"), "\xFF" + content.substr(1));
}

TEST_F(RequestTest, TheNumberOfFieldsIsLimited) {
    const auto urlencoded = [](int fields) {
        std::string body;
        for (int i = 0; i < fields; ++i) {
            body += "&=";
        }
        return Send(ProbeRequest(FORM, body)).body;
    };
    const auto multipart = [](int fields) {
        std::string body;
        for (int i = 0; i < fields; ++i) {
            body += Part("c", "");
        }
        return Send(ProbeRequest(MULTIPART, body + "--XX--")).body;
    };
    // The two fields of the query string are counted, too. Without a content the action fails.
    for (const auto& response : {std::function(urlencoded), std::function(multipart)}) {
        EXPECT_EQ(response(9998), FAILURE);
        for (const int fields : {9999, 10001, 300000}) {
            EXPECT_EQ(response(fields), Error(0));
        }
    }
}

TEST_F(RequestTest, ASaveSurvivesTheLossOfItsClient) {
    WriteProgram(SCRIPT, "echo $1 >> " + ROOT + "/calls; sleep 1\n");
    Request request = PostRequest("save_browsing_page", {{"enableradio", "true"}});
    // The client disconnects before the response, and the web server sends signals to end the program.
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
    EXPECT_EQ(Send(request).Events().back(), "508");
    EXPECT_EQ(ScriptCalls(), Strings{"restart"});
}

}  // namespace
