// The list of the network's interfaces: those of a network made for the test, and the host's own.
#include "platform/system_library.h"

#include <net/if.h>
#include <net/if_arp.h>

#include <filesystem>

#include "tests/appliance.h"

namespace fs = std::filesystem;

namespace {

class NetworkInterfacesTest : public Appliance {
  protected:
    const std::string TEXTS = ROOT + "/usr/share/vexa/texts/enu/strings.json";

    void SetUp() override {
        WriteAll(TEXTS, R"({"tcpip":{"tcpip_lan_port":"LAN"},"network":{"tcpip_lan_port":"no",)"
                        R"("linkaggr_desc":"Bond"},"tree":{"leaf_wireless_ap":"Access point"}})");
        if (RunInNetwork("/bin/true", "add eth0; slave eth1 eth0").exitStatus != 0) {
            GTEST_SKIP() << "no permission, or no iproute2, for a network of one's own";
        }
    }

    // Runs `program` in a network that has what `commands` make: bridges, which are of Ethernet type.
    static Answer RunInNetwork(const std::string& program, const std::string& commands) {
        WriteProgram(ROOT + "/in_network",
            "exec unshare -rnm sh -ec 'mount -t sysfs sysfs /sys\n"
            "add() { ip link add $1 up type bridge; [ -z $2 ] || ip addr add $2/24 dev $1; }\n"
            "slave() { ip link add $1 type veth peer name peer; ip link set $1 up master $2; }\n" +
                commands + "\nexec " + program + "'\n");
        return RunProgram(ROOT + "/in_network", PostRequest("load_general_page"));
    }

    static Answer Load(const std::string& commands) { return RunInNetwork(MEDIASERV_PROGRAM, commands); }

    // The list of `answer` as "value display" lines.
    static std::string List(const Answer& answer) {
        const Json::Value data = answer.Json()["data"];
        std::string list;
        for (const Json::Value& entry : data["network"]) {
            list += entry["value"].asString() + " " + entry["display"].asString() + "\n";
        }
        EXPECT_EQ(data["network_total"].asUInt(), data["network"].size());
        return list;
    }
};

TEST_F(NetworkInterfacesTest, DisplayTextsFollowPositionAndName) {
    const struct {
        const char *configuration, *list;
    } cases[] = {
        {"", "eth0 LAN\n"},
        {"maxlanport=\"1\"", "bond0 LAN\neth0 LAN 1\n"},
        {"maxlanport=\"2\"", "eth0 LAN 1\neth1 LAN 2\n"},
        {"maxlanport=\"2\"", "bond0 Bond\neth3 LAN 4\nlbr0 Access point\nwan wan\nbond1 bond1\n"},
        {"maxlanport=\" 4x\"", "lbr0 LAN 1\nethx LAN 1\neth LAN 1\nlb0 lb0\nEth1 Eth1\n"},
        {"maxlanport=\"2\"", "eth2147483647 LAN 2147483648\n"},
    };
    for (const auto& [configuration, list] : cases) {
        WriteAll(ROOT + "/etc/vexainfo.conf", configuration);
        WriteAll(ROOT + "/names", list);
        const Answer answer = Load("while read name rest; do add $name; done < " + ROOT + "/names");
        EXPECT_EQ(List(answer), list);
        EXPECT_EQ(answer.log.size(), 0U);
    }
    WriteAll(TEXTS, R"({"tree":{"tcpip_lan_port":")" + std::string(300, 'x') + "\"}}");
    EXPECT_EQ(List(Load("add eth")), "eth " + std::string(255, 'x') + "\n");
}

TEST_F(NetworkInterfacesTest, TheServedAddressChoosesTheInterface) {
    const struct {
        std::string stored, address, selected;
    } cases[] = {{"", "", "eth0"}, {"gone", "", "gone"}, {"eth1", "10.0.0.12", "eth2"},
        {"eth1", "10.0.0.1", "eth3"},  // the last that has it
        {"eth1", "10.0.0.12\n", "eth1"}, {"eth1", "\n10.0.0.12", "eth1"}, {"eth1", "10.0.0.123", "eth1"}};
    for (const auto& [stored, address, selected] : cases) {
        if (!stored.empty()) {
            WriteAll(ROOT + "/var/run/dms.ip", address);
            WriteAll(SETTINGS, "network_mediaservice=\"" + stored + "\"\n");
        }
        const Answer answer = Load("add eth0 10.0.0.1; add eth1; add eth2 10.0.0.12; add eth3 10.0.0.1");
        EXPECT_EQ(answer.Json()["data"]["dmsInterface"], selected) << address;
    }
}

TEST_F(NetworkInterfacesTest, OnlyFreeInterfacesThatAreUpAreListed) {
    EXPECT_EQ(
        List(Load("add eth5; add eth4; ip link set eth4 down; slave eth2 eth5; add eth1")), "eth5 LAN\neth1 LAN 2\n");
    EXPECT_TRUE(List(Load("for i in $(seq 33); do add eth$i; done")).ends_with("\neth32 LAN 33\n"));
    const std::string start = R"({"data":{"language":"enu","network":null,"network_total":)";
    const std::string rest = R"(,"ssdp_advr":920,"templatetype":"simple"},"success":true})"
                             "\n";
    Answer answer = Load("true");
    EXPECT_EQ(answer.body, start + "0" + rest);
    EXPECT_EQ(answer.log, std::vector<std::string>{"mediaserv:1217 Failed to VLIBNetGetPsIf()=[0], vexaerr=0x0000"});
    for (const std::string ports : {"0", "-1", "many", ""}) {
        WriteAll(ROOT + "/etc/vexainfo.conf", "maxlanport=\"" + ports + "\"\n");
        answer = Load("add eth0; add eth1");
        EXPECT_EQ(answer.body, start + "2" + rest);
        EXPECT_EQ(
            answer.log, std::vector<std::string>{"mediaserv:1223 Failed to _VexaInfo.Def(maxlanport)=[" + ports + "]"});
    }
}

TEST(HostInterfacesTest, AreThoseOfTheKernel) {
    VexaInterface records[INTERFACE_LIST_MAX] = {};
    const int count = VLIBNetGetInterfaceInfo(records, INTERFACE_LIST_MAX, 2);
    int position = 0;
    struct if_nameindex* all = if_nameindex();
    for (const struct if_nameindex* i = all; i->if_index != 0; ++i) {
        const fs::path interface = fs::path("/sys/class/net") / i->if_name;
        if ((std::stoul(ReadAll(interface / "flags"), nullptr, 16) & IFF_UP) != 0 &&
            ReadAll(interface / "type") == std::to_string(ARPHRD_ETHER) + "\n" &&
            !fs::exists(interface / "master/bonding") && !fs::exists(interface / "master/bridge")) {
            ASSERT_LT(position, count) << i->if_name;
            EXPECT_STREQ(records[position++].name, i->if_name);
        }
        EXPECT_EQ(fs::exists(interface / "phy80211") && *VEXAWirelessInterfaceGet() == '\0', false);
    }
    if_freenameindex(all);
    EXPECT_EQ(position, count);
    VexaNetCard card = {};
    EXPECT_EQ(VEXANetGetCard1(-1, 0, &card), -1);
    EXPECT_EQ(VEXANetGetCard1(count, 0, &card), -1);
    EXPECT_EQ(VLIBNetGetInterfaceInfo(records, INTERFACE_LIST_MAX, 1), -1);
}

}  // namespace
