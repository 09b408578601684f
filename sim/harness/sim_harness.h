// Runs commands inside the simulated router (tools/router-sim) for the
// simulated-router tests. A Scenario describes how one test's router differs
// from the sample router in sim/router/; the SimResult holds what the command
// printed, its exit status and the router's /tmp after the run.
#pragma once

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

struct SimJsonPut {
    void operator()(json_object* o) const { json_object_put(o); }
};
// Owns one reference to a parsed document.
using SimJson = std::unique_ptr<json_object, SimJsonPut>;

struct Scenario {
    // Router path -> content, e.g. "/tmp/reboot_reason". Content starting with
    // "#!" makes an executable (a fake tool such as "/usr/bin/d2").
    std::map<std::string, std::string> files;
    // Configuration store overrides: key -> value.
    std::map<std::string, std::string> store;
    // Keys absent from the store.
    std::vector<std::string> unset_keys;
    // Router paths removed (files of the sample router or the host).
    std::vector<std::string> remove;
    // Router path -> contents served on its 1st, 2nd, ... open (the last one
    // for every later open), e.g. two samples of "/proc/stat".
    std::map<std::string, std::vector<std::string>> sequences;
    // Network interface lines "NAME MAC [IPV4/PREFIX]" added or redefined;
    // "!NAME" removes an interface of the sample router.
    std::vector<std::string> netifs;
    // Seconds since boot; -1 keeps the fixture's.
    long uptime = -1;
    // Further fixture directories (relative ones to the source tree), laid
    // over sim/router before this scenario.
    std::vector<std::string> extra_fixtures;
    // The router's time limit in seconds; 0 keeps router-sim's.
    int timeout_s = 0;
};

struct SimResult {
    int status = -1;     // exit status of the command; -1 when the router did not run
    std::string out;     // its standard output
    std::string err;     // its standard error (or why the router did not run)
    std::string dir;     // the run's output directory (tmp/, stdout, stderr, status)

    // Content of a file of the router's /tmp after the run ("" when absent).
    std::string file(const std::string& router_path) const;
    bool exists(const std::string& router_path) const;
    // Files of the router's /tmp after the run whose paths start with prefix.
    std::vector<std::string> files_with_prefix(const std::string& prefix) const;
    // The file parsed as JSON; nullptr when absent or not parseable.
    SimJson json(const std::string& router_path) const;
    // Value of a key of the configuration store after the run ("" when absent).
    std::string store(const std::string& key) const;
    bool store_has(const std::string& key) const;

    std::shared_ptr<void> keep_;  // removes the temporary directories when last copy goes
};

// Runs argv (e.g. {"data_collector", "cpu"}) in the sample router changed by sc.
SimResult run_in_router(const std::vector<std::string>& argv, const Scenario& sc = {});

// Whether namespaces can be used here; *why tells the reason when not.
bool sim_available(std::string* why = nullptr);

#define REQUIRE_SIM()                                                   \
    do {                                                                \
        std::string sim_why_;                                           \
        if (!sim_available(&sim_why_)) GTEST_SKIP() << sim_why_;        \
    } while (0)

// Member names of an object, in document order (empty for a non-object).
std::vector<std::string> member_names(json_object* obj);
// "object", "array", "string", "int", "double", "boolean" or "null".
std::string json_type_name(json_object* obj);
// Member names and JSON types of a whole tree in document order, such as
// "{a:string,b:[int,int]}".
std::string json_shape(json_object* obj);
// The member at a dotted path ("routerHardware.deviceInfo.macAddress"); array
// elements by number ("timeStamp.date.0"). Borrowed; nullptr when absent.
json_object* json_at(json_object* root, const std::string& dotted_path);
// String value at a dotted path ("" when absent or not a string).
std::string json_str(json_object* root, const std::string& dotted_path);

inline bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// One item's run and its document.
struct ItemRun {
    SimResult r;
    SimJson doc;
    json_object* at(const std::string& path) const { return json_at(doc.get(), path); }
};
// Runs `data_collector item` (or argv, which writes the item's document) in
// the router changed by sc; expects exit status 0 and a document. Member
// order, types and event types are the schemas' to check.
ItemRun run_item(const std::string& item, const Scenario& sc = {},
                 const std::vector<std::string>& argv = {});
// A member as text: a string as it is, anything else as compact JSON;
// "<absent>" when absent or null.
std::string json_text(json_object* root, const std::string& dotted_path);
using Members = std::vector<std::pair<std::string, std::string>>;
void expect_members(json_object* root, const Members& want);
// Member names of the object at dotted_path in docs/golden/<item>.json, less
// those in drop: a variant of the sample router described by what it lacks.
std::vector<std::string> golden_members(const std::string& item, const std::string& dotted_path,
                                        const std::vector<std::string>& drop = {});
