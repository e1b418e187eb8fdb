// The map of the system: one class, every action a member. An action reads its form fields, does its work and
// writes exactly one answer; it is defined in the file of its page.
#pragma once

#include <json/value.h>

#include <cstdint>

#include "platform/cgi/request.h"

struct SettingsPage;

// The source file name in log lines and error records.
constexpr char SOURCE_NAME[] = "mediaserv";

// The content type of the answers that WriteJsonResponse writes.
constexpr char JSON_TEXT_TYPE[] = "text/plain; charset=\"UTF-8\"";

class MediaServiceHandler : public ServerFormHandler {
  public:
    MediaServiceHandler() : ServerFormHandler(nullptr) {}
    ~MediaServiceHandler() override = default;

    // Serves the request: nothing is written for one that is not authenticated or names no known action.
    void HandleRequest() override;
    void Hook1() override {}
    void Hook2() override {}

    // Settings pages
    void LoadDmaPage();
    void SaveDmaPage();
    void LoadBrowsingPage();
    void SaveBrowsingPage();
    void LoadGeneralPage();
    void SaveGeneralPage();

    // Menu templates and texts
    void LoadMenu();
    void SaveMenu();
    void GetDmsLangText();

    // Logs
    void LoadLogConf();
    void ApplyLogConf();
    void DownloadLog();
    void ClearLog();

    // Client list
    void SaveClientList();
    void LoadClientList();
    void LoadProfileList();
    void ClearClientList();

    // Exposed collections
    void LoadCollection();
    void SaveCollection();

    // Writes the configured language. Returns 0 or more, or -1 when it couldn't be written or `value` is
    // null.
    static int SetDmsLanguage(const char* value);

    // Runs the daemon's control script for DMS_STOP, DMS_START or DMS_RESTART and waits for its end. Returns
    // 0, or -1 when the script failed or the mode is unknown.
    static int ControlDms(int mode);

    // Restarts the daemon and records the event. Returns 1, or 0 (and no event) when the restart failed.
    static int RestartDms();

    // Asks the daemon to read the settings file again (SIGHUP); nobody is told when it isn't running.
    static void ReloadDms();

    // Reads the JSON document at `path`. False, with one line in the log, when the file can't be opened
    // (`value` untouched) or parsed (`value` null).
    static bool GetJsonFromFile(const char* path, Json::Value& value);

    // The user id of the logged-in user. False, with one line in the log and `uid` untouched, when the system
    // doesn't know the user.
    bool GetLoginUid(uint32_t& uid) const;

    // Whether the video library's database accepts a connection.
    static bool IsVideoDbAvailable();

    static bool IsKinovoSupported();
    static bool IsKinovoEnabled();
    static bool IsVideoTranscodingSupported();

  private:
    // The raw answer: `body` with the header of `contentType`.
    void WriteJsonResponse(Json::Value& body, const char* contentType);

    // The raw answer {"success":success}.
    void WriteSuccess(bool success);

    // The framework's error report with the general system error and `line`.
    void Fail(int line);

    // Saves the form on one of the settings pages, lets the daemon know and answers.
    void SaveSettingsPage(const SettingsPage& page);

    // Adds the interfaces of the appliance and the one to show as selected to the general page's answer.
    static void LoadNetworkInterfaces(Json::Value& response);

    // Answers with the document of a JSON file, or with the marker of one that can't be read.
    void AnswerFile(const char* path);
};
