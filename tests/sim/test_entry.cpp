// The command line as the router's scripts use it: usage, unknown words, the
// model probe and the model's gating of "all", run through the real binary in
// the simulated router.

#include "sim_test.h"

using Entry = SimTest;

// One router run: no word, an empty one, and unknown words (item words are
// case-sensitive); none writes a document. The usage lists every command word.
// Then the model probe, which must never run the board file as shell.
TEST_F(Entry, UsageUnknownWordsAndModelProbe) {
    const std::string words[] = {"-", "", "foo", "RouterInfo", std::string(50, 'x')};
    std::string script;
    for (const std::string& word : words)
        script += (word == "-" ? "data_collector" : "data_collector '" + word + "'") + "; echo rc=$?; ";
    Scenario sc;
    sc.files["/module_name"] = "zt500'; touch /tmp/pwned; echo '\n";
    sc.files["/etc/init.d/model_check.sh"] = "#!/bin/sh\necho \"$2\" > /tmp/model_arg\necho ZT500\n";
    script += "ls /tmp/aws_json_*; data_collector eventtype4 >/dev/null";
    SimResult r = run_in_router({"sh", "-c", script}, sc);
    std::vector<std::string> out;
    for (size_t at = 0, end; (end = r.out.find("rc=0\n", at)) != std::string::npos; at = end + 5)
        out.push_back(r.out.substr(at, end - at));
    ASSERT_EQ(out.size(), std::size(words)) << r.out;
    const std::string& usage = out[0];
    EXPECT_EQ(usage.rfind("Usage: data_collector\n\n", 0), 0u) << usage;
    for (const char* word : {"eventtype4", "routerInfo", "routerConfig", "connectedDevice", "cpu", "memory",
                             "eventtype2", "eventtype0", "all", "vumba", "mediaDevice", "firmware",
                             "eventtype5", "eventtype7", "cloud", "eventtype10"})
        EXPECT_NE(usage.find(std::string("\n  data_collector ") + word), std::string::npos) << word;
    EXPECT_EQ(out[1], "");
    for (size_t i = 2; i < out.size(); ++i) EXPECT_EQ(out[i], "Wrong option, Please try again\n" + usage);
    EXPECT_EQ(r.out.substr(r.out.rfind("rc=0\n") + 5), "");  // ls found no document

    EXPECT_FALSE(r.exists("/tmp/pwned"));
    EXPECT_EQ(r.file("/tmp/model_arg"), "zt500'; touch /tmp/pwned; echo '\n");
    // Written pretty-printed as json-c does, two-blank indentation.
    EXPECT_EQ(r.file("/tmp/aws_json_eventtype4").rfind("{\n  \"routerHardware\":{\n", 0), 0u);
}

using AllDocument = SimTest;

// The model without USB: the single items' gating by model carries over into
// the "all" document (the sample router's is its golden document).
TEST_F(AllDocument, ModelWithoutUsbLeavesOutUsbMediaQosAndVpn) {
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
