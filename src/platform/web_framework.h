// The web-administration CGI framework: one request (CGI/1.1, RFC 3875), its login, and the ways to answer
// it.
#pragma once

#include <json/value.h>

#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include "platform/form.h"

// The request's parameters and the raw answer.
class WebMan {
  public:
    // The value of the parameter `name` (matched byte for byte; the first one counts) up to its first zero
    // byte, valid as long as this object; `defaultValue` itself when the request has no such parameter.
    const char* In(const char* name, const char* defaultValue) const;

    // Writes the header block of an answer: the content type, no caching, no content sniffing.
    void WriteHeader(const char* contentType);

    // Writes `body` as compact ASCII JSON, members in name order, and a line feed; nothing stays buffered.
    void WriteBody(Json::Value& body);

    // The user that the web server authenticated (REMOTE_USER); empty when there is none.
    std::string GetLoginUserName() const;

  private:
    friend class ServerFormHandler;
    std::vector<FormField> fields_;
};

// The base of a request handler: it reads the request when it is made, and writes the framework's reports.
class ServerFormHandler {
  public:
    // Makes the process fit for a request (the signals that a web server sends when its client leaves are
    // ignored, so that what was begun is finished), judges the login and, when it holds, reads the form.
    // A malformed request is answered here and then has no parameters. `name` is not used.
    explicit ServerFormHandler(const char* name);
    ServerFormHandler(const ServerFormHandler&) = delete;
    ServerFormHandler& operator=(const ServerFormHandler&) = delete;

    virtual void HandleRequest() = 0;
    virtual void Hook1() = 0;
    virtual void Hook2() = 0;
    virtual ~ServerFormHandler();
    virtual void ExLock();
    virtual void ShLock();

    // Whether the web server has authenticated the user and the request comes from a page of its own site.
    virtual bool Authenticate();

    // Answers {"data":data,"success":true}.
    void ReportSuccess(const Json::Value& data);

    // Records what the next ReportError tells: section and key of the UI's string tables, and a line.
    void SetFormErrInfo(const char* section, const char* key, int line);

    // Answers {"error":{"key":...,"line":...,"section":...},"success":false}; with nothing recorded, the
    // general system error with line 0.
    void ReportError();

  protected:
    WebMan web_;

  private:
    void Report(Json::Value report);

    struct FormError {
        std::string section = "common";
        std::string key = "error_system";
        int line = 0;
    };
    FormError error_;
    bool authenticated_;
};

// The localized texts of up to six sections of the UI's string tables, in the language of the appliance.
class StringBundle {
  public:
    explicit StringBundle(const char* s1, const char* s2 = nullptr, const char* s3 = nullptr,
                          const char* s4 = nullptr, const char* s5 = nullptr, const char* s6 = nullptr);

    // The text of `key` in the first opened section that has it; the key itself when none has. `second` is
    // not used.
    std::string Text(const char* key, const char* second) const;

  private:
    std::array<const char*, 6> sections_;
    Json::Value texts_;
};

// Sends a stream to the client as a file.
class HTTPFileOutputer {
  public:
    // Ends the header block with `contentType`, `fileName` as its name and the protective headers, then
    // copies `stream` to its end. A client that has gone ends the copy quietly.
    void Output(FILE* stream, const char* fileName, const char* contentType);
};
