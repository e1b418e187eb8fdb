// The map of the system: one class, with a member for each action. An action reads its form fields, does its
// work and writes exactly one response. It is defined in the source file of its topic.
#pragma once

#include <json/value.h>

#include <cstdint>

#include "platform/cgi/request.h"

struct SettingsPage;

// The source name in log lines of the forms "%s:%d ..." and "%s (%d) ...". The number after it identifies the
// message. These numbers are fixed, so that support can search for them; they are not lines of these files.
constexpr char SOURCE_NAME[] = "mediaserv";

// The content type of raw JSON responses.
constexpr char JSON_TEXT_TYPE[] = "text/plain; charset=\"UTF-8\"";

// The appliance's CGI framework requires Hook1 and Hook2; nothing calls them. Integer results are those of
// the appliance's interface: ControlDms returns 0 for success, RestartDms returns 0 for failure.
class MediaServiceHandler : public ServerFormHandler {
  public:
    MediaServiceHandler() : ServerFormHandler(nullptr) {}
    ~MediaServiceHandler() override = default;

    // Runs the action of the request. Writes nothing if the request is not authenticated or names no known
    // action.
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

    // Stores the language code `value`. Returns 0 or more, or -1 if it can't be written or is null.
    static int SetDmsLanguage(const char* value);

    // Runs the daemon's control script for DMS_STOP, DMS_START or DMS_RESTART and waits for its end. Returns
    // 0, or -1 if the script failed or the mode is unknown.
    static int ControlDms(int mode);

    // Restarts the daemon and records the event. Returns 1, or 0 without an event if the restart failed.
    static int RestartDms();

    // Asks the daemon to read the settings file again (SIGHUP). Does nothing if the daemon is not running.
    static void ReloadDms();

    // Reads the JSON document at `path`. Returns false and logs one line if the file can't be opened (`value`
    // is unchanged), or can't be read or is not valid JSON (`value` is null); `reason` says why.
    static bool GetJsonFromFile(const char* path, Json::Value& value);
    static bool GetJsonFromFile(const char* path, Json::Value& value, std::string& reason);

    // Gets the user id of the authenticated user. Returns false with `uid` unchanged and logs one line if the
    // system does not know the user.
    bool GetLoginUid(uint32_t& uid) const;

    // Returns whether the video library's database accepts a connection.
    static bool IsVideoDbAvailable();

    // Return whether the appliance has the video library integration (always true), whether the integration
    // is enabled, and whether the appliance can transcode videos (always false).
    static bool IsKinovoSupported();
    static bool IsKinovoEnabled();
    static bool IsVideoTranscodingSupported();

  private:
    // Writes the raw response `body` with a header for `contentType`.
    void WriteJsonResponse(Json::Value& body, const char* contentType);

    // Writes the raw response {"success":success}.
    void WriteResult(bool success);

    // Writes the framework's error report with the general system error and a failure number (see
    // settings/settings_page.h).
    void ReportFailure(int failureNumber);

    // Returns the page's stored settings by JSON member: switches as booleans, texts as strings.
    Json::Value LoadSettings(const SettingsPage& page);

    // Saves the submitted form of a settings page, and restarts or reloads the daemon if a setting has
    // changed. Returns false after it has responded with an error.
    bool SaveSettings(const SettingsPage& page);

    // Adds the appliance's interfaces and the selected one to the response of the general page.
    static void LoadNetworkInterfaces(Json::Value& response);

    // Responds with the document of a JSON file and "success": true. Responds with {"ClientList":0,
    // "success":false} if the file can't be read or its document is neither an object nor null. `tagOf` gives
    // the tag of the document; null for none.
    void RespondWithJsonFile(const char* path, EntityTag (*tagOf)(const Json::Value& document) = nullptr);
};
