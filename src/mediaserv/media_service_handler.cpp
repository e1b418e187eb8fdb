#include "mediaserv/media_service_handler.h"

#include <syslog.h>

#include <cstring>

#include "platform/json/json_file.h"

namespace {

struct Action {
    const char* name;
    void (MediaServiceHandler::*handle)();
};

constexpr Action ACTIONS[] = {
    {"load_dma_page", &MediaServiceHandler::LoadDmaPage},
    {"save_dma_page", &MediaServiceHandler::SaveDmaPage},
    {"load_browsing_page", &MediaServiceHandler::LoadBrowsingPage},
    {"save_browsing_page", &MediaServiceHandler::SaveBrowsingPage},
    {"load_general_page", &MediaServiceHandler::LoadGeneralPage},
    {"save_general_page", &MediaServiceHandler::SaveGeneralPage},
    {"loadmenu", &MediaServiceHandler::LoadMenu},
    {"savemenu", &MediaServiceHandler::SaveMenu},
    {"getdmslangtext", &MediaServiceHandler::GetDmsLangText},
    {"loadlogconf", &MediaServiceHandler::LoadLogConf},
    {"applylogconf", &MediaServiceHandler::ApplyLogConf},
    {"downloadlog", &MediaServiceHandler::DownloadLog},
    {"clearlog", &MediaServiceHandler::ClearLog},
    {"saveClientList", &MediaServiceHandler::SaveClientList},
    {"loadClientList", &MediaServiceHandler::LoadClientList},
    {"loadProfileList", &MediaServiceHandler::LoadProfileList},
    {"clearClientList", &MediaServiceHandler::ClearClientList},
    {"loadCollection", &MediaServiceHandler::LoadCollection},
    {"saveCollection", &MediaServiceHandler::SaveCollection},
};

}  // namespace

void MediaServiceHandler::HandleRequest() {
    if (!Authenticate()) {
        return;
    }
    const char* name = web_.In("action", nullptr);
    if (name == nullptr) {
        return;
    }
    for (const Action& action : ACTIONS) {
        if (strcmp(name, action.name) == 0) {
            (this->*action.handle)();
            return;
        }
    }
}

void MediaServiceHandler::WriteJsonResponse(Json::Value& body, const char* contentType) {
    web_.WriteHeader(contentType);
    web_.WriteBody(body);
}

void MediaServiceHandler::WriteResult(bool success) {
    Json::Value response(Json::objectValue);
    response["success"] = success;
    WriteJsonResponse(response, JSON_TEXT_TYPE);
}

void MediaServiceHandler::ReportFailure(int failureNumber) {
    SetFormErrInfo("common", "error_system", failureNumber);
    ReportError();
}

bool MediaServiceHandler::GetJsonFromFile(const char* path, Json::Value& value) {
    std::string reason;
    return GetJsonFromFile(path, value, reason);
}

bool MediaServiceHandler::GetJsonFromFile(const char* path, Json::Value& value, std::string& reason) {
    switch (ReadJsonFile(path, value, reason)) {
        case JsonFileStatus::Read:
            return true;
        case JsonFileStatus::CantOpen:
            syslog(LOG_ERR, "%s:%d Error: MediaServiceHandler::GetJsonFromFile - %s could not open",
                   SOURCE_NAME, 1579, path);
            return false;
        default:
            syslog(LOG_ERR, "%s:%d Error: MediaServiceHandler::GetJsonFromFile - Json::Reader::parse failed",
                   SOURCE_NAME, 1584);
            return false;
    }
}
