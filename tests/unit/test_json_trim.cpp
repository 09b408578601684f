// The fast trimming must leave exactly the file that the one-step-at-a-time
// rule leaves (the cloud agent measures files, so every byte counts).
#include <gtest/gtest.h>
#include <fstream>
#include <string>

#include "../../bench/merge_reference.h"
#include "Add_object.h"
#include "event_document.h"
#include "test_util.h"
#include "zol_json.h"

namespace {

const unsigned long kCeiling = 0x20000;

class TrimTest : public TempDirTest {
   protected:
    void SetUp() override {
        TempDirTest::SetUp();
        fast_ = path("fast");
        ref_ = path("ref");
    }

    // A list document like the scratch files: {object: {count?, array: [...]}}
    // with elements of uneven size, written the way the collector writes it.
    void write_list(const char* object, const char* array, int n, bool with_count = false,
                    int flags = JSON_C_TO_STRING_PRETTY) {
        JsonPtr doc(json_object_new_object());
        json_object* inner = json_object_new_object();
        if (with_count) Add_object_int(inner, "numberOfDevices", n);
        json_object* arr = json_object_new_array();
        for (int i = 0; i < n; ++i) {
            json_object* e = json_object_new_object();
            Add_object_int(e, "index", i);
            Add_object_string(e, "name", std::string(5 + (i * 37) % 90, 'a' + i % 26).c_str());
            Add_object_double(e, "rate", i * 1.25);
            json_object* nested = json_object_new_array();
            for (int k = 0; k < i % 4; ++k) Add_object_Array_string(nested, "x/y\"z");
            json_object_object_add(e, "tags", nested);
            json_object_array_add(arr, e);
        }
        json_object_object_add(inner, array, arr);
        json_object_object_add(doc.get(), object, inner);
        json_object_to_file_ext(fast_.c_str(), doc.get(), flags);
        std::ifstream in(fast_, std::ios::binary);
        std::ofstream(ref_, std::ios::binary) << in.rdbuf();
    }

    size_t length(const std::string& path, const char* object, const char* array) {
        return reference::array_length(path.c_str(), object, array);
    }

    std::string fast_, ref_;
};

TEST_F(TrimTest, DropsOldestExactlyAsStepByStep) {
    const char* o = "wifiScanResult";
    write_list(o, o, 400);
    const unsigned long side = reference::file_size(fast_.c_str());
    // Keep most, about half, or a single element of the list.
    for (unsigned long root : {kCeiling - side + 500, kCeiling - side / 2, kCeiling - 400}) {
        write_list(o, o, 400);
        trim_oldest(fast_.c_str(), o, o, root, kCeiling);
        reference::trim_oldest(ref_.c_str(), o, o, root, kCeiling);
        EXPECT_EQ(slurp(fast_), slurp(ref_)) << "root size " << root;
        EXPECT_LE(root + reference::file_size(fast_.c_str()), kCeiling);
        // The newest element is always the last one kept.
        EXPECT_NE(slurp(fast_).find("\"index\":399"), std::string::npos);
    }
}

TEST_F(TrimTest, ListWrittenByAnotherHandTrimsTheSame) {
    // A compact (or hand-edited) file is reprinted on the first step; the
    // result must still be what the step-by-step rule gives.
    const char* o = "wifiConnectEvent";
    write_list(o, "event", 300, false, JSON_C_TO_STRING_PLAIN);
    const unsigned long side = reference::file_size(fast_.c_str());
    trim_oldest(fast_.c_str(), o, "event", kCeiling - side / 2, kCeiling);
    reference::trim_oldest(ref_.c_str(), o, "event", kCeiling - side / 2, kCeiling);
    EXPECT_EQ(slurp(fast_), slurp(ref_));
    EXPECT_LT(length(fast_, o, "event"), 300u);
}

TEST_F(TrimTest, LeavesFileAloneAtOrUnderTheCeiling) {
    write_list("wifiConnectEvent", "event", 50);
    std::string before = slurp(fast_);
    unsigned long exact = kCeiling - before.size();
    trim_oldest(fast_.c_str(), "wifiConnectEvent", "event", exact, kCeiling);
    EXPECT_EQ(slurp(fast_), before);
    trim_oldest(fast_.c_str(), "wifiConnectEvent", "event", exact + 1, kCeiling);
    EXPECT_EQ(length(fast_, "wifiConnectEvent", "event"), 49u);
}

TEST_F(TrimTest, StopsWhenNothingIsLeftToDrop) {
    write_list("wifiConnectEvent", "event", 20);
    trim_oldest(fast_.c_str(), "wifiConnectEvent", "event", kCeiling, kCeiling);
    reference::trim_oldest(ref_.c_str(), "wifiConnectEvent", "event", kCeiling, kCeiling);
    EXPECT_EQ(length(fast_, "wifiConnectEvent", "event"), 0u);
    EXPECT_EQ(slurp(fast_), slurp(ref_));

    // No such array, or an unreadable file: nothing to trim, file untouched.
    write_list("wifiConnectEvent", "other", 20);
    std::string before = slurp(fast_);
    trim_oldest(fast_.c_str(), "wifiConnectEvent", "event", kCeiling, kCeiling);
    EXPECT_EQ(slurp(fast_), before);
    std::ofstream(fast_, std::ios::binary) << std::string(200000, '\x01');
    trim_oldest(fast_.c_str(), "wifiConnectEvent", "event", 0, kCeiling);
    EXPECT_EQ(slurp(fast_).size(), 200000u);
}

TEST_F(TrimTest, AverageRuleMatchesStepByStepAndKeepsTheCount) {
    const char* o = "connectedDeviceDetails";
    write_list(o, "connDevices", 300, true);
    const unsigned long side = reference::file_size(fast_.c_str());
    for (unsigned long root : {kCeiling - side + 300, kCeiling - side / 3, kCeiling - 100}) {
        write_list(o, "connDevices", 300, true);
        trim_by_average(fast_.c_str(), o, "connDevices", root, 300, kCeiling);
        reference::trim_by_average(ref_.c_str(), o, "connDevices", root, 300, kCeiling);
        EXPECT_EQ(slurp(fast_), slurp(ref_)) << "root size " << root;
        EXPECT_LT(length(fast_, o, "connDevices"), 300u);
        EXPECT_EQ(get_second_object_int_from_file(fast_.c_str(), o, "numberOfDevices"), 300);
    }
    // A count larger than the list only rewrites; a zero count stops at once.
    write_list(o, "connDevices", 300, true);
    trim_by_average(fast_.c_str(), o, "connDevices", kCeiling - side / 2, 5000, kCeiling);
    reference::trim_by_average(ref_.c_str(), o, "connDevices", kCeiling - side / 2, 5000,
                               kCeiling);
    EXPECT_EQ(slurp(fast_), slurp(ref_));
    write_list(o, "connDevices", 300, true);
    std::string before = slurp(fast_);
    trim_by_average(fast_.c_str(), o, "connDevices", kCeiling - side / 2, 0, kCeiling);
    EXPECT_EQ(slurp(fast_), before);
}

TEST_F(TrimTest, ArrayEditsInPlace) {
    write_list("wifiConnectEvent", "event", 10);
    delete_array_from_file(fast_.c_str(), "wifiConnectEvent", "event", 4);
    EXPECT_EQ(length(fast_, "wifiConnectEvent", "event"), 4u);
    // Out-of-range or missing targets change nothing and do not crash.
    delete_array_idx_from_file(fast_.c_str(), "wifiConnectEvent", "event", 99);
    delete_array_from_file(fast_.c_str(), "wifiConnectEvent", "nothing", 1);
    delete_array_from_file(fast_.c_str(), "absent", "event", 1);
    EXPECT_EQ(length(fast_, "wifiConnectEvent", "event"), 4u);
    EXPECT_EQ(get_second_object_int_from_file(fast_.c_str(), "absent", "x"), 0);
    EXPECT_EQ(get_second_object_int_from_file("/nonexistent/file", "a", "b"), 0);
}

// The merge as a tree would do it: the side file's member added to the root.
std::string tree_merge(const std::string& root_file, const std::string& side_file,
                       const char* member) {
    JsonPtr root(json_object_from_file(root_file.c_str()));
    JsonPtr side(json_object_from_file(side_file.c_str()));
    json_object* value = nullptr;
    if (side && json_object_object_get_ex(side.get(), member, &value)) json_object_get(value);
    json_object_object_add(root.get(), member, value);
    return json_object_to_json_string_ext(root.get(), JSON_C_TO_STRING_PRETTY);
}

// Merges of the collector's own files splice text; the bytes must be those of
// the tree merge, whatever the member holds and whether or not the root
// already has it, the side file has more members or another layout.
TEST_F(TrimTest, MergedFileIsTheTreeMergeByteForByte) {
    const char* o = "wifiConnectEvent";
    auto root = [&](const char* extra, int flags) {
        JsonPtr doc(json_object_new_object());
        Add_object_string(doc.get(), "routerHardware", "a/\"b\"\x01");
        Add_object_double(doc.get(), "eventType", 3.5);
        if (extra) Add_object_int(doc.get(), extra, 1);
        json_object_to_file_ext(path("root").c_str(), doc.get(), flags);
        return path("root");
    };
    const int kPretty = JSON_C_TO_STRING_PRETTY, kPlain = JSON_C_TO_STRING_PLAIN;
    struct Case {
        const char* root_extra;
        int root_flags, side_flags, side_count;
        bool side_extra;
    } cases[] = {{nullptr, kPretty, kPretty, 7, false}, {nullptr, kPretty, kPretty, 0, false},
                 {o, kPretty, kPretty, 3, false},       {nullptr, kPretty, kPlain, 3, false},
                 {nullptr, kPlain, kPretty, 3, false},  {nullptr, kPretty, kPretty, 3, true}};
    for (const Case& c : cases) {
        write_list(o, "event", c.side_count, false, c.side_flags);
        if (c.side_extra) {
            JsonPtr side(json_object_from_file(fast_.c_str()));
            Add_object_string(side.get(), "later", "x");
            json_object_to_file_ext(fast_.c_str(), side.get(), c.side_flags);
        }
        std::string want = tree_merge(root(c.root_extra, c.root_flags), fast_, o);
        combine_connectevent_json(path("root").c_str(), fast_.c_str());
        EXPECT_EQ(slurp(path("root")), want) << c.side_count << " " << c.side_flags;
    }
    // A missing side file leaves the member null.
    std::string want = tree_merge(root(nullptr, kPretty), path("none"), o);
    combine_connectevent_json(path("root").c_str(), path("none").c_str());
    EXPECT_EQ(slurp(path("root")), want);
}

}  // namespace
