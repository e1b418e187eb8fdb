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

std::string NumberedPort(const std::string& lanPort, const std::string& name) {
    const long number = name.size() > 3 ? strtol(name.c_str() + 3, nullptr, 10) : 0;
    return lanPort + " " + std::to_string(number + 1LL);
}

// An interface that no rule covers shows its own name.
std::string DisplayText(const StringBundle& texts, int position, long lanPorts, const std::string& name) {
    std::string lanPort = texts.Text("tcpip_lan_port", "");
    if (position == 0) {
        if (lanPorts == 1) {
            return lanPort;
        }
        return name.starts_with("bond") ? texts.Text("linkaggr_desc", "") : NumberedPort(lanPort, name);
    }
    if (name == VEXAWirelessInterfaceGet()) {
        return texts.Text("wireless_network", "");
    }
    if (name.starts_with("eth")) {
        return NumberedPort(lanPort, name);
    }
    return name.starts_with("lbr") ? texts.Text("leaf_wireless_ap", "") : name;
}

// The first line as it stands, its end included: the daemon writes none.
TextBuffer<256> ServedAddress() {
    std::string content;
    ReadFile(DMS_IP_FILE, content);
    const size_t end = content.find('\n');
    return TextBuffer<256>(content.substr(0, end == std::string::npos ? end : end + 1).c_str());
}

// The entries for `count` interfaces, up to the first whose card can't be asked; moves `selected` to the last
// interface that has the address the daemon serves on.
Json::Value ListInterfaces(std::span<const VexaInterface> interfaces, long lanPorts, Json::Value& selected) {
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
            TextBuffer<256>(DisplayText(texts, position, lanPorts, interface.name).c_str()).c_str();
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
    std::array<VexaInterface, INTERFACE_LIST_MAX> records = {};
    const int count = VLIBNetGetInterfaceInfo(records.data(), INTERFACE_LIST_MAX, 2);
    response["network"] = Json::Value();
    response["network_total"] = count;
    if (count <= 0) {
        syslog(LOG_ERR, "%s:%d Failed to VLIBNetGetPsIf()=[%d], vexaerr=0x%04X", SOURCE_NAME, 1217, count,
               static_cast<unsigned int>(VLIBCErrGet()));
        return;
    }
    const std::string lanPortsText = VexaConf().Def("maxlanport", "1");
    const long lanPorts = strtol(lanPortsText.c_str(), nullptr, 10);
    if (lanPorts <= 0) {
        syslog(LOG_ERR, "%s:%d Failed to _VexaInfo.Def(maxlanport)=[%s]", SOURCE_NAME, 1223,
               lanPortsText.c_str());
        return;
    }
    TextBuffer<32> configured("eth0");
    ReadText(NETWORK_KEY, configured);
    Json::Value selected = configured.c_str();
    response["network"] =
        ListInterfaces(std::span(records).first(static_cast<size_t>(count)), lanPorts, selected);
    response["dmsInterface"] = selected;
}
