// The "all" document of a model without USB: the single items' gating by
// model carries over into it (the sample router's is its golden document).
#include "sim_harness.h"

#include <string>
#include <vector>

TEST(AllDocument, ModelWithoutUsbLeavesOutUsbMediaQosAndVpn) {
    REQUIRE_SIM();
    Scenario sc;
    sc.files["/module_name"] = "ZT410\n";
    ItemRun run = run_item("all", sc);
    EXPECT_EQ(member_names(run.doc.get()), golden_members("all", "", {"vumba", "mediaDevice"}));
    EXPECT_EQ(member_names(run.at("routerInfo")),
              golden_members("routerInfo", "routerInfo",
                             {"vpnLastestConnStatus", "vpnFailedConnReason", "vpnFailedDebugInfo"}));
    EXPECT_EQ(member_names(run.at("routerConfig")),
              golden_members("routerConfig", "routerConfig",
                             {"dynamicQos", "serviceVPN", "ethernetPortAggregation", "vpnClientEnable",
                              "vpnServerProvider", "vpnProtocol", "vpnCountry", "vpnCity"}));
    expect_members(run.at("routerConfig"), {{"mode", "Router"}, {"11axEnable", "true"}});
}
