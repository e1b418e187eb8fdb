#include "settings/network_interfaces.h"

#include <syslog.h>

#include <array>
#include <cstdlib>
#include <span>
#include <string>

#include "mediaserv/media_service_handler.h"
#include "platform/files/file_io.h"
#include "platform/system/last_error.h"
#include "platform/system/network.h"
#include "platform/system/system_configuration.h"
#include "platform/system/texts.h"
#include "settings/settings_file.h"

namespace {

std::string NumberedLanPort(const std::string& lanPortText, const std::string& name) {
    const long number = name.size() > 3 ? strtol(name.c_str() + 3, nullptr, 10) : 0;
    return lanPortText + " " + std::to_string(number + 1LL);
}

std::string DisplayText(const StringBundle& texts, int position, long lanPortCount, const std::string& name) {
    std::string lanPortText = texts.Text("tcpip_lan_port", "");
    if (position == 0) {
        if (lanPortCount == 1) {
            return lanPortText;
        }
        return name.starts_with("bond") ? texts.Text("linkaggr_desc", "")
                                        : NumberedLanPort(lanPortText, name);
    }
    if (name == VEXAWirelessInterfaceGet()) {
        return texts.Text("wireless_network", "");
    }
    if (name.starts_with("eth")) {
        return NumberedLanPort(lanPortText, name);
    }
    return name.starts_with("lbr") ? texts.Text("leaf_wireless_ap", "") : name;
}

// Returns the first line of DMS_IP_FILE with its line end, if there is one: a line end makes it differ from
// every address.
TextBuffer<256> ServedAddress() {
    std::string content;
    ReadFile(DMS_IP_FILE, content);
    const size_t end = content.find('\n');
    return TextBuffer<256>(content.substr(0, end == std::string::npos ? end : end + 1).c_str());
}

// Returns an entry for each interface, up to the first one whose address can't be read. If an interface has
// the address that the daemon serves on, sets `selected` to its name.
Json::Value ListInterfaces(std::span<const VexaInterface> interfaces, long lanPortCount,
                           Json::Value& selected) {
    const StringBundle texts("tcpip", "network", "tree");
    const TextBuffer<256> served = ServedAddress();
    Json::Value list;
    int position = 0;
    for (const VexaInterface& interface : interfaces) {
        VexaNetCard card = {};
        if (VEXANetGetCard1(position, 0, &card) <= 0) {
            syslog(LOG_ERR, "%s (%d) Failed to get net card %d info", SOURCE_NAME, 1242, position);
            break;
        }
        Json::Value entry(Json::objectValue);
        entry["display"] =
            TextBuffer<256>(DisplayText(texts, position, lanPortCount, interface.name).c_str()).c_str();
        entry["value"] = interface.name;
        list.append(entry);
        if (!served.empty() && served == card.address) {
            selected = interface.name;
        }
        ++position;
    }
    return list;
}

}  // namespace

void MediaServiceHandler::LoadNetworkInterfaces(Json::Value& response) {
    // The member exists only if the interfaces can be listed.
    Json::Value selected;
    response.removeMember("dmsInterface", &selected);
    std::array<VexaInterface, MAX_INTERFACES> records = {};
    const int count = VLIBNetGetInterfaceInfo(records.data(), MAX_INTERFACES, 2);
    response["network"] = Json::Value();
    response["network_total"] = count;
    if (count <= 0) {
        syslog(LOG_ERR, "%s:%d Failed to VLIBNetGetPsIf()=[%d], vexaerr=0x%04X", SOURCE_NAME, 1217, count,
               static_cast<unsigned int>(VLIBCErrGet()));
        return;
    }
    const std::string maxLanPort = VexaConf().Def("maxlanport", "1");
    const long lanPortCount = strtol(maxLanPort.c_str(), nullptr, 10);
    if (lanPortCount <= 0) {
        syslog(LOG_ERR, "%s:%d Failed to _VexaInfo.Def(maxlanport)=[%s]", SOURCE_NAME, 1223,
               maxLanPort.c_str());
        return;
    }
    response["network"] =
        ListInterfaces(std::span(records).first(static_cast<size_t>(count)), lanPortCount, selected);
    response["dmsInterface"] = selected;
}
