// The web-administration CGI framework: one request (CGI/1.1, RFC 3875), its parameters, and the ways to
// answer it.
#pragma once

#include <json/value.h>

#include <string>
#include <vector>

#include "platform/cgi/form.h"

// The request's parameters and the raw answer.
class WebMan {
  public:
    // The value of the parameter `name` (matched byte for byte; the first one counts) up to its first zero
    // byte, valid as long as this object; `defaultValue` itself when the request has no such parameter.
    const char* In(const char* name, const char* defaultValue) const;

    // The header block and the body of an answer: see WriteAnswerHeader and WriteAnswerBody.
    void WriteHeader(const char* contentType);
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

    // Answers that the call succeeded: see WriteSuccessReport.
    void ReportSuccess(const Json::Value& data);

    // Records what the next ReportError tells: section and key of the UI's string tables, and a line.
    void SetFormErrInfo(const char* section, const char* key, int line);

    // Answers that the call failed: see WriteErrorReport. With nothing recorded it is the general system
    // error with line 0.
    void ReportError();

  protected:
    WebMan web_;

  private:
    struct FormError {
        std::string section = "common";
        std::string key = "error_system";
        int line = 0;
    };
    FormError error_;
    bool authenticated_;
};
