// The "cloud" command's merge of a producer document into a header, and the
// device-location request's stage choice and command line.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <unistd.h>

#include "collect_cloudinfo.h"
#include "test_util.h"
#include "xagent.h"
#include "zol_json.h"

namespace {

const std::string kHeader =
    R"({"routerHardware":{"productFamily":"router","eventType":0,)"
    R"("timeStamp":{"date":[2020,1,1],"time":[0,0,0]},"tncVersion":"2020-05-13"})";

class CloudMerge : public TempDirTest {
   protected:
    // Merges text (as the producer's file) into a header-only document and
    // returns the document serialised, so any freed member would show up.
    std::string merge(const std::string& text) {
        put("in.json", text);
        JsonPtr doc(json_tokener_parse((kHeader + "}").c_str()));
        testing::internal::CaptureStdout();
        get_cloudinfo(doc.get(), "publishEventname", path("in.json").c_str());
        testing::internal::GetCapturedStdout();
        return json_object_to_json_string_ext(doc.get(), JSON_C_TO_STRING_PLAIN);
    }
};

// A full producer document is checked in the simulated router. Here each
// override is set even when the producer leaves it out (all of them when
// publishEventInfo is no object); a root that is no object adds nothing.
TEST_F(CloudMerge, ProducerIdentityAndMalformedDocuments) {
    const std::string nulled = R"({"routerHardware":{"productFamily":"router","eventType":null,)"
                               R"("timeStamp":null,"tncVersion":"2020-05-13","epochTimeStamp":null,)"
                               R"("ntpResult":)";
    const std::pair<const char*, std::string> cases[] = {
        {R"({"publishEventInfo":{"ntpResult":true}})", nulled + "true}}"},
        {R"({"publishEventInfo":"6","x":1})", nulled + R"(null},"x":1})"},
        {R"({"publishEventInfo":null})", nulled + "null}}"},
        {R"([{"publishEventInfo":{"eventType":6}}])", kHeader + "}"},
        {"this is not json", kHeader + "}"},
    };
    for (const auto& c : cases) EXPECT_EQ(merge(c.first), c.second) << c.first;

    // Only an object root with routerHardware counts as already headed.
    const std::pair<const char*, int> heads[] = {
        {"not json", 0}, {R"({"a":1,"routerHardware":{}})", 1}, {R"([{"routerHardware":{}}])", 0}};
    for (const auto& h : heads)
        EXPECT_EQ(check_header_of_inputfile(put("h.json", h.first).c_str()), h.second) << h.first;
}

TEST(CloudStage, ChosenByCaseSensitivePrefix) {
    const std::pair<const char*, CloudStage> cases[] = {
        {"DEV-1234", CloudStage::dev}, {"QA-1234", CloudStage::qa},  {"qa-1234", CloudStage::prod},
        {"DEV1234", CloudStage::prod}, {"QA", CloudStage::prod}};
    for (const auto& c : cases) EXPECT_EQ(get_stage_of_agent_id(c.first), c.second) << c.first;
    EXPECT_STRNE(get_device_location_host(CloudStage::qa),
                 get_device_location_host(CloudStage::prod));
}

// The arguments curl would get from the command line, as the shell splits it.
std::vector<std::string> shell_words(const std::string& cmd) {
    std::vector<std::string> words;
    if (cmd.rfind("curl ", 0) != 0 || cmd.size() < 7 || cmd.substr(cmd.size() - 2) != " &")
        return words;
    FILE* p = popen(("printf '%s\\n' " + cmd.substr(5, cmd.size() - 7)).c_str(), "r");
    char line[1024];
    while (p && fgets(line, sizeof line, p)) words.emplace_back(line, strcspn(line, "\n"));
    if (p) pclose(p);
    return words;
}

class WanIpCommand : public TempDirTest {};

TEST_F(WanIpCommand, AgentSettingsStayOneArgument) {
    char cmd[512];
    ASSERT_TRUE(format_wanip_command(cmd, sizeof cmd, "loc.example.invalid", "QA-12ab", "C0DE"));
    EXPECT_EQ(shell_words(cmd),
              (std::vector<std::string>{"--capath", "/etc/ssl/certs", "-X", "GET",
                                        "https://loc.example.invalid/device-location/resolve",
                                        "-H", "content-type: application/json", "-H",
                                        "Authorization:QA-12ab:C0DE", "-o",
                                        "/tmp/Tarnel_MAXmind", "--connect-timeout", "3"}));

    const std::string marker = path("pwned");
    const std::string id = "x\"; touch " + marker + "; \"";
    const std::string code = "a'b$(touch " + marker + ")`id`";
    ASSERT_TRUE(format_wanip_command(cmd, sizeof cmd, "h", id.c_str(), code.c_str()));
    std::vector<std::string> words = shell_words(cmd);
    ASSERT_EQ(words.size(), 13u) << cmd;
    EXPECT_EQ(words[8], "Authorization:" + id + ":" + code);
    EXPECT_NE(access(marker.c_str(), F_OK), 0);

    // A command that would not fit is not cut (a cut one could lose its
    // closing quote or the "&"): nothing is produced.
    const std::string quotes(62, '\'');
    EXPECT_FALSE(format_wanip_command(cmd, sizeof cmd, "h", quotes.c_str(), quotes.c_str()));
    EXPECT_STREQ(cmd, "");
}

}  // namespace
