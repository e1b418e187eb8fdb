// One request (CGI/1.1, RFC 3875), its parameters, and the ways to respond to it.
//
// The interface is that of the appliance's CGI framework. It includes functions that this program never calls
// (Hook1, Hook2, ExLock, ShLock), an argument that is not used (`name`) and a body that is not const.
#pragma once

#include <json/value.h>

#include <string>
#include <vector>

#include "platform/cgi/conditional_request.h"
#include "platform/cgi/form.h"

// The request's parameters and the raw response.
class WebMan {
  public:
    // Returns the value of the parameter `name`, up to its first zero byte. Names are compared byte for byte;
    // if a name occurs more than once, its first value is used. Returns `defaultValue` itself if the request
    // has no such parameter. The value is valid as long as this object exists.
    const char* In(const char* name, const char* defaultValue) const;

    // Sets the header of the response: see ResponseHeader.
    void WriteHeader(const char* contentType);

    // Writes the header, and `body` as compact ASCII JSON, members in name order, with a line feed.
    void WriteBody(Json::Value& body);

    // Adds a header field, which includes its line end, to the response. Call it before the response.
    void AddHeaderField(const std::string& field) { header_ += field; }

    // The header fields that were added so far, for an action that writes its own header.
    const std::string& HeaderFields() const { return header_; }

    // Returns the name of the authenticated user; empty if nobody is authenticated.
    std::string GetLoginUserName() const;

  private:
    friend class ServerFormHandler;
    std::vector<FormField> fields_;
    std::string header_;
};

// The base class of a request handler. It reads the request and writes the framework's reports.
class ServerFormHandler {
  public:
    // Ignores the signals that a web server sends when its client disconnects, so that a save is always
    // completed. Checks the login and, if it is valid, reads the form. Responds to a malformed request
    // with an error report; the request then has no parameters.
    explicit ServerFormHandler(const char* name);
    ServerFormHandler(const ServerFormHandler&) = delete;
    ServerFormHandler& operator=(const ServerFormHandler&) = delete;

    virtual void HandleRequest() = 0;
    virtual void Hook1() = 0;
    virtual void Hook2() = 0;
    virtual ~ServerFormHandler();
    virtual void ExLock();
    virtual void ShLock();

    // Returns whether the request is authenticated: see IsLoggedIn.
    virtual bool Authenticate();

    // Writes the response of a successful action: see WriteSuccessReport.
    void ReportSuccess(const Json::Value& data);

    // Sets the error of the next ReportError: a section and a key of the UI's string tables, and a number.
    void SetFormErrInfo(const char* section, const char* key, int line);

    // Writes the response of a failed action: see WriteErrorReport. Without SetFormErrInfo, it reports the
    // general system error with line 0.
    void ReportError();

  protected:
    // The conditional request (RFC 9110, 13.1.1) is not part of the framework's interface.

    // Returns whether the request's condition holds for the stored state with this tag. Otherwise responds
    // with the status 412 and the error report with line 0.
    bool CheckCondition(const EntityTag& state);

    // Adds the tag of the state that was loaded or saved to the response, if the request has a condition.
    void TagResponse(const EntityTag& state);

    // Returns whether the request has a condition, so that a tag is needed.
    bool IsConditional() const { return condition_.IsPresent(); }

    WebMan web_;

  private:
    // Responds with this HTTP status and the error report with line 0.
    void Refuse(const char* status);

    struct FormError {
        std::string section = "common";
        std::string key = "error_system";
        int line = 0;
    };
    FormError error_;
    IfMatch condition_;
    bool authenticated_;
};
