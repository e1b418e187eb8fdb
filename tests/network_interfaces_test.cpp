// The list of network interfaces, in network namespaces that the tests create and on the host.
#include "platform/system/network.h"
#include "tests/appliance.h"

namespace {

class NetworkInterfacesTest : public Appliance {
  protected:
    const std::string TEXTS = ROOT + "/usr/share/vexa/texts/enu/strings.json";

    void SetUp() override {
        WriteAll(TEXTS,
            R"({"tcpip":{"tcpip_lan_port":"LAN"},"network":{"tcpip_lan_port":"no",)"
            R"("linkaggr_desc":"Bond","wireless_network":"Wireless"},"tree":{"leaf_wireless_ap":"Access point"}})");
        if (Load("add eth0; slave eth1 eth0", "/bin/true").exitStatus != 0) {
            GTEST_SKIP() << "network namespaces are not permitted, or iproute2 is missing";
        }
    }

    // Runs `program` in a new network namespace with the interfaces that the shell commands create: bridges, because
    // their type is Ethernet.
    static Response Load(const std::string& commands, const std::string& program = MEDIASERV_PROGRAM) {
        WriteProgram(ROOT + "/in_network",
            "exec unshare -rnm sh -ec 'mount -t sysfs sysfs /sys\n"
            "add() { ip link add $1 up type bridge; [ -z $2 ] || ip addr add $2/24 dev $1; }\n"
            "slave() { ip link add $1 type veth peer name peer; ip link set $1 up master $2; }\n" +
                commands + "\nexec " + program + "'\n");
        return RunProgram(ROOT + "/in_network", PostRequest("load_general_page"));
    }

    // Returns the interfaces of a response, each as a line "VALUE DISPLAY".
    static std::string List(const Response& response) {
        const Json::Value data = response.Json()["data"];
        std::string list;
        for (const Json::Value& entry : data["network"]) {
            list += entry["value"].asString() + " " + entry["display"].asString() + "\n";
        }
        EXPECT_EQ(data["network_total"].asUInt(), data["network"].size());
        return list;
    }
};

TEST_F(NetworkInterfacesTest, DisplayTextsFollowPositionAndName) {
    const std::pair<std::string, std::string> cases[] = {{"", "eth0 LAN\n"}, {"1", "bond0 LAN\neth0 LAN 1\n"},
        {"2", "bond0 Bond\neth3 LAN 4\nlbr0 Access point\nwan wan\nbond1 bond1\n"},
        {" 4x", "lbr0 LAN 1\nethx LAN 1\neth LAN 1\nlb0 lb0\nEth1 Eth1\neth2147483647 LAN 2147483648\n"}};
    for (const auto& [ports, list] : cases) {
        WriteAll(ROOT + "/etc/vexainfo.conf", ports.empty() ? "" : "maxlanport=\"" + ports + "\"");
        WriteAll(ROOT + "/names", list);
        const Response response = Load("while read name rest; do add $name; done < " + ROOT + "/names");
        EXPECT_EQ(List(response), list);
        EXPECT_EQ(response.log.size(), 0U);
    }
    // The attribute files that the kernel would show for such interfaces.
    const auto withAttribute = [](const std::string& attribute) {
        return Load("mount -t tmpfs tmpfs /sys; for i in 1 2; do mkdir -p /sys/class/net/eth$i/" + attribute +
                    "; done; add eth0; add eth1; add eth2; add eth3");
    };
    for (const std::string wireless : {"wireless", "phy80211"}) {
        EXPECT_EQ(List(withAttribute(wireless)), "eth0 LAN 1\neth1 Wireless\neth2 LAN 3\neth3 LAN 4\n");
    }
    EXPECT_EQ(List(withAttribute("master/bonding")), "eth0 LAN 1\neth3 LAN 4\n");
    WriteAll(TEXTS, R"({"tree":{"tcpip_lan_port":")" + std::string(249, 'x') + "\"}}");
    EXPECT_EQ(List(Load("add eth12345678")), "eth12345678 " + std::string(249, 'x') + " 12345\n");
}

TEST_F(NetworkInterfacesTest, TheServedAddressChoosesTheInterface) {
    // Of two interfaces with the same address, the last is selected.
    const std::string cases[][3] = {{"", "", "eth0"}, {"gone", "", "gone"}, {"eth1", "10.0.0.12", "eth2"},
        {"eth1", "10.0.0.1", "eth3"}, {"eth1", "10.0.0.12\n", "eth1"}, {"eth1", "\n10.0.0.12", "eth1"},
        {"eth1", "10.0.0.123", "eth1"}, {std::string(40, 'x'), "", std::string(31, 'x')}, {"eth1", "10.0.0", "eth1"}};
    for (const auto& [stored, address, selected] : cases) {
        if (!stored.empty()) {
            WriteAll(ROOT + "/var/run/dms.ip", address);
            WriteAll(SETTINGS, "network_mediaservice=\"" + stored + "\"\n");
        }
        const Response response = Load("add eth0 10.0.0.1; add eth1; add eth2 10.0.0.12; add eth3 10.0.0.1");
        EXPECT_EQ(response.Json()["data"]["dmsInterface"], selected) << address;
    }
    WriteProgram(ROOT + "/make_fifo", "cd " + ROOT + "/var/run; rm dms.ip; mkfifo dms.ip");
    RunProgram(ROOT + "/make_fifo", {});
    EXPECT_EQ(
        Load("add eth0").Json()["data"]["dmsInterface"], "eth1");  // the program does not wait for a writer of the FIFO
}

TEST_F(NetworkInterfacesTest, OnlyFreeInterfacesThatAreUpAreListed) {
    const std::string twoFree =
        "ip link set lo up; add eth5; add eth4; ip link set eth4 down; slave eth2 eth5; add eth1";
    EXPECT_EQ(List(Load(twoFree)), "eth5 LAN\neth1 LAN 2\n");
    EXPECT_TRUE(List(Load("for i in $(seq 33); do add eth$i; done")).ends_with("\neth32 LAN 33\n"));
    const auto expectNone = [](const Response& response, const std::string& count, const std::string& problem) {
        EXPECT_EQ(response.body, R"({"data":{"language":"enu","network":null,"network_total":)" + count +
                                     R"(,"ssdp_advr":920,"templatetype":"simple"},"success":true})"
                                     "\n");
        EXPECT_EQ(response.log, Strings{problem});
    };
    expectNone(Load("true"), "0", "mediaserv:1217 Failed to VLIBNetGetPsIf()=[0], vexaerr=0x0000");
    for (const std::string ports : {"0", "-1", "many", ""}) {
        WriteAll(ROOT + "/etc/vexainfo.conf", "maxlanport=\"" + ports + "\"\n");
        expectNone(Load(twoFree), "2", "mediaserv:1223 Failed to _VexaInfo.Def(maxlanport)=[" + ports + "]");
    }
}

TEST(HostInterfacesTest, EveryListedInterfaceIsEthernetAndUp) {
    VexaInterface records[MAX_INTERFACES] = {};
    const int count = VLIBNetGetInterfaceInfo(records, MAX_INTERFACES, 2);
    for (int i = 0; i < count; ++i) {
        const std::string interface = std::string("/sys/class/net/") + records[i].name;
        EXPECT_EQ(ReadAll(interface + "/type"), "1\n") << interface;
        EXPECT_NE(std::stoul(ReadAll(interface + "/flags"), nullptr, 16) & 1U, 0U) << interface;
    }
    VexaNetCard card = {};
    EXPECT_EQ(VEXANetGetCard1(-1, 0, &card), -1);
    EXPECT_EQ(VEXANetGetCard1(count, 0, &card), -1);
    EXPECT_EQ(VLIBNetGetInterfaceInfo(records, MAX_INTERFACES, 1), -1);
}

}  // namespace
