// The "cloud" command's merge of a producer document into a header, and the
// device-location request's stage choice and command line.
#include "collect_cloudinfo.h"
#include "test_util.h"
#include "xagent.h"

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

// The arguments the shell gave curl from the firmware's command line.
std::vector<std::string> shell_words(const std::string& id, const std::string& code) {
    const std::string line = "printf '%s\\n' --capath /etc/ssl/certs -X GET "
                             "https://loc.example.invalid/device-location/resolve"
                             " -H \"content-type: application/json\" -H \"Authorization:\"" +
                             id + "\":\"" + code +
                             " -o /tmp/Tarnel_MAXmind --connect-timeout 3";
    std::vector<std::string> words{"curl"};
    FILE* p = popen(line.c_str(), "r");
    char buf[1024];
    while (p && fgets(buf, sizeof buf, p)) words.emplace_back(buf, strcspn(buf, "\n"));
    if (p) pclose(p);
    return words;
}

TEST(WanIpRequest, ArgumentsAsTheShellGaveThemAndSettingsStayOneArgument) {
    for (const char* id : {"QA-12ab", "0", "DEV-9f8e7d6c5b4a"})
        EXPECT_EQ(wanip_request_argv("loc.example.invalid", id, "C0DE"), shell_words(id, "C0DE"));
    const std::string id = "x\"; touch /pwned; \"", code = "a'b$(id)`id` *";
    std::vector<std::string> argv = wanip_request_argv("h", id.c_str(), code.c_str());
    ASSERT_EQ(argv.size(), 14u);
    EXPECT_EQ(argv[9], "Authorization:" + id + ":" + code);
    EXPECT_TRUE(wanip_request_argv("h", nullptr, "c").empty());
}

}  // namespace
