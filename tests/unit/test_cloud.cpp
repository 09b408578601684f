// The "cloud" command's merge of a producer document into a header, and the
// device-location request's stage choice and command line.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include <unistd.h>

#include "collect_cloudinfo.h"
#include "xagent.h"
#include "zol_json.h"

namespace {

class CloudMerge : public ::testing::Test {
protected:
    void SetUp() override
    {
        char tmpl[] = "/tmp/dc_cloud_unit_XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
        input_ = dir_ + "/in.json";
    }
    void TearDown() override
    {
        unlink(input_.c_str());
        rmdir(dir_.c_str());
    }

    // Merges text (as the producer's file) into a header-only document and
    // returns the document serialised, so any freed member would show up.
    std::string merge(const std::string& text, std::string* out = nullptr)
    {
        std::ofstream(input_) << text;
        JsonPtr doc(json_tokener_parse(
            R"({"routerHardware":{"productFamily":"router","eventType":0,)"
            R"("timeStamp":{"date":[2020,1,1],"time":[0,0,0]},"tncVersion":"2020-05-13"}})"));
        testing::internal::CaptureStdout();
        get_cloudinfo(doc.get(), "publishEventname", input_.c_str());
        std::string printed = testing::internal::GetCapturedStdout();
        if (out)
            *out = printed;
        return json_object_to_json_string_ext(doc.get(), JSON_C_TO_STRING_PLAIN);
    }

    std::string dir_;
    std::string input_;
};

TEST_F(CloudMerge, ProducerIdentityOverridesHeader)
{
    std::string printed;
    EXPECT_EQ(merge(R"({"circleV2":{"a":1},"publishEventInfo":{"ntpResult":true,"eventType":6,)"
                    R"("timeStamp":{"date":[2024,1,2],"time":[3,4,5]}},"extra":[1,2]})",
                    &printed),
              R"({"routerHardware":{"productFamily":"router","eventType":6,)"
              R"("timeStamp":{"date":[2024,1,2],"time":[3,4,5]},"tncVersion":"2020-05-13",)"
              R"("epochTimeStamp":null,"ntpResult":true},"circleV2":{"a":1},"extra":[1,2]})");
    EXPECT_EQ(printed.rfind("DATA_COLLECTOR: raw data " + input_ + "\n {", 0), 0u) << printed;

    // Each override is set even when the producer leaves it out.
    EXPECT_EQ(merge(R"({"publishEventInfo":{},"x":"y"})"),
              R"({"routerHardware":{"productFamily":"router","eventType":null,)"
              R"("timeStamp":null,"tncVersion":"2020-05-13","epochTimeStamp":null,)"
              R"("ntpResult":null},"x":"y"})");
}

TEST_F(CloudMerge, MalformedProducerDocumentsKeepTheHeader)
{
    const std::string untouched =
        R"({"routerHardware":{"productFamily":"router","eventType":0,)"
        R"("timeStamp":{"date":[2020,1,1],"time":[0,0,0]},"tncVersion":"2020-05-13"})";

    EXPECT_EQ(merge(R"({"publishEventInfo":"6","x":1})"), untouched + R"(,"x":1})");
    EXPECT_EQ(merge(R"({"publishEventInfo":[6],"x":1})"), untouched + R"(,"x":1})");
    EXPECT_EQ(merge(R"({"publishEventInfo":null})"), untouched + "}");
    EXPECT_EQ(merge(R"([{"publishEventInfo":{"eventType":6}}])"), untouched + "}");
    EXPECT_EQ(merge("42"), untouched + "}");

    std::string printed;
    EXPECT_EQ(merge("this is not json", &printed), untouched + "}");
    EXPECT_EQ(printed, "not find file_name: " + input_ + "\n");

    EXPECT_EQ(check_header_of_inputfile(input_.c_str()), 0);
    std::ofstream(input_) << R"({"a":1,"routerHardware":{}})";
    EXPECT_EQ(check_header_of_inputfile(input_.c_str()), 1);
    std::ofstream(input_) << R"([{"routerHardware":{}}])";
    EXPECT_EQ(check_header_of_inputfile(input_.c_str()), 0);
}

TEST(CloudStage, ChosenByCaseSensitivePrefix)
{
    EXPECT_EQ(get_stage_of_agent_id("DEV-1234"), CloudStage::dev);
    EXPECT_EQ(get_stage_of_agent_id("QA-1234"), CloudStage::qa);
    EXPECT_EQ(get_stage_of_agent_id("qa-1234"), CloudStage::prod);
    EXPECT_EQ(get_stage_of_agent_id("DEV1234"), CloudStage::prod);
    EXPECT_EQ(get_stage_of_agent_id("QA"), CloudStage::prod);
    EXPECT_EQ(get_stage_of_agent_id("0"), CloudStage::prod);
    EXPECT_STRNE(get_device_location_host(CloudStage::qa),
                 get_device_location_host(CloudStage::prod));
}

// The arguments curl would get from the command line, as the shell splits it.
std::vector<std::string> shell_words(const std::string& cmd)
{
    const std::string head = "curl ", tail = " &";
    EXPECT_EQ(cmd.compare(0, head.size(), head), 0) << cmd;
    EXPECT_EQ(cmd.compare(cmd.size() - tail.size(), tail.size(), tail), 0) << cmd;
    std::string probe = "printf '%s\\n' " +
                        cmd.substr(head.size(), cmd.size() - head.size() - tail.size());
    std::vector<std::string> words;
    FILE* p = popen(probe.c_str(), "r");
    if (!p)
        return words;
    char line[1024];
    while (fgets(line, sizeof line, p)) {
        std::string w(line);
        if (!w.empty() && w.back() == '\n')
            w.pop_back();
        words.push_back(w);
    }
    pclose(p);
    return words;
}

TEST(WanIpCommand, AgentSettingsStayOneArgument)
{
    char cmd[512];
    ASSERT_TRUE(format_wanip_command(cmd, sizeof cmd, "loc.example.invalid", "QA-12ab", "C0DE"));
    EXPECT_EQ(shell_words(cmd),
              (std::vector<std::string>{"--capath", "/etc/ssl/certs", "-X", "GET",
                                        "https://loc.example.invalid/device-location/resolve",
                                        "-H", "content-type: application/json", "-H",
                                        "Authorization:QA-12ab:C0DE", "-o",
                                        "/tmp/Tarnel_MAXmind", "--connect-timeout", "3"}));

    char dir[] = "/tmp/dc_cloud_pwn_XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    const std::string marker = std::string(dir) + "/pwned";
    const std::string id = "x\"; touch " + marker + "; \"";
    const std::string code = "a'b$(touch " + marker + ")`id`";
    ASSERT_TRUE(format_wanip_command(cmd, sizeof cmd, "h", id.c_str(), code.c_str()));
    std::vector<std::string> words = shell_words(cmd);
    ASSERT_EQ(words.size(), 13u) << cmd;
    EXPECT_EQ(words[8], "Authorization:" + id + ":" + code);
    EXPECT_NE(access(marker.c_str(), F_OK), 0);
    unlink(marker.c_str());
    rmdir(dir);

    // A command that would not fit is not cut (a cut one could lose its
    // closing quote or the "&"): nothing is produced.
    const std::string quotes(62, '\'');
    EXPECT_FALSE(format_wanip_command(cmd, sizeof cmd, "h", quotes.c_str(), quotes.c_str()));
    EXPECT_STREQ(cmd, "");
}

}  // namespace
