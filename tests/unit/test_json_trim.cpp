// The fast trimming must leave exactly the file that the one-step-at-a-time
// rule leaves (the cloud agent measures files, so every byte counts).
#include <algorithm>

#include "../../bench/merge_reference.h"
#include "event_document.h"
#include "test_util.h"

namespace {

const unsigned long kCeiling = 0x20000;
const int kPretty = JSON_C_TO_STRING_PRETTY, kPlain = JSON_C_TO_STRING_PLAIN;

class TrimTest : public TempDirTest {
   protected:
    // A list document like the scratch files: {object: {count?, array: [...]}}
    // with elements of uneven size, written the way the collector writes it,
    // at fast and, for the reference rule, at ref.
    void write_list(const char* object, const char* array, int n, bool with_count = false,
                    int flags = kPretty) {
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
        json_object_to_file_ext(fast().c_str(), doc.get(), flags);
        put("ref", slurp(fast()));
    }
    std::string fast() const { return path("fast"); }
    std::string ref() const { return path("ref"); }
};

// What the trimming leaves: kSome is fewer but not none.
enum Left { kUntouched, kAll, kSome, kFewer, kNone, kAny };

TEST_F(TrimTest, BothRulesLeaveTheStepByStepBytes) {
    // root = kCeiling - side * keep + add (side: the list file's size);
    // count < 0 drops the oldest first, otherwise by the average size.
    const struct {
        const char *object, *array;
        int n, flags, count;
        double keep;
        long add;
        Left left;
    } cases[] = {
        {"wifiScanResult", "wifiScanResult", 400, kPretty, -1, 1, 500, kSome},
        {"wifiScanResult", "wifiScanResult", 400, kPretty, -1, 0.5, 0, kSome},
        {"wifiScanResult", "wifiScanResult", 400, kPretty, -1, 0, -400, kSome},
        // A compact (or hand-edited) file is reprinted on the first step.
        {"wifiConnectEvent", "event", 300, kPlain, -1, 0.5, 0, kSome},
        {"wifiConnectEvent", "event", 50, kPretty, -1, 1, 0, kUntouched},
        {"wifiConnectEvent", "event", 50, kPretty, -1, 1, 1, kSome},
        {"wifiConnectEvent", "event", 20, kPretty, -1, 0, 0, kNone},
        {"connectedDeviceDetails", "connDevices", 300, kPretty, 300, 1, 300, kFewer},
        {"connectedDeviceDetails", "connDevices", 300, kPretty, 300, 1.0 / 3, 0, kFewer},
        {"connectedDeviceDetails", "connDevices", 300, kPretty, 300, 0, -100, kFewer},
        // A count larger than the list; a zero count stops at once.
        {"connectedDeviceDetails", "connDevices", 300, kPretty, 5000, 0.5, 0, kAny},
        {"connectedDeviceDetails", "connDevices", 300, kPretty, 0, 0.5, 0, kUntouched},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.object) + " keep " + std::to_string(c.keep) + " add " +
                     std::to_string(c.add) + " count " + std::to_string(c.count));
        write_list(c.object, c.array, c.n, c.count >= 0, c.flags);
        const std::string before = slurp(fast());
        const unsigned long root = kCeiling - static_cast<unsigned long>(before.size() * c.keep) + c.add;
        if (c.count < 0) {
            trim_oldest(fast().c_str(), c.object, c.array, root, kCeiling);
            reference::trim_oldest(ref().c_str(), c.object, c.array, root, kCeiling);
        } else {
            trim_by_average(fast().c_str(), c.object, c.array, root, c.count, kCeiling);
            reference::trim_by_average(ref().c_str(), c.object, c.array, root, c.count, kCeiling);
            // The device count is the list's, never the number kept.
            EXPECT_EQ(get_second_object_int_from_file(fast().c_str(), c.object, "numberOfDevices"), c.n);
        }
        EXPECT_EQ(slurp(fast()), slurp(ref()));
        const size_t left = reference::array_length(fast().c_str(), c.object, c.array), n = c.n;
        EXPECT_TRUE(c.left != kUntouched || slurp(fast()) == before);
        EXPECT_TRUE(c.left > kAll || left == n) << left;
        EXPECT_TRUE(c.left != kNone || left == 0) << left;
        EXPECT_TRUE(c.left != kSome || left > 0) << left;
        EXPECT_TRUE((c.left != kSome && c.left != kFewer) || left < n) << left;
        EXPECT_TRUE(c.left != kSome || root + reference::file_size(fast().c_str()) <= kCeiling);
        // The newest element is always the last one kept.
        const std::string newest = "\"index\":" + std::to_string(c.n - 1);
        EXPECT_TRUE(c.count >= 0 || left == 0 || slurp(fast()).find(newest) != std::string::npos);
    }

    // No such array, or an unreadable file: nothing to trim, file untouched.
    write_list("wifiConnectEvent", "other", 20);
    std::string before = slurp(fast());
    trim_oldest(fast().c_str(), "wifiConnectEvent", "event", kCeiling, kCeiling);
    EXPECT_EQ(slurp(fast()), before);
    put("fast", std::string(200000, '\x01'));
    trim_oldest(fast().c_str(), "wifiConnectEvent", "event", 0, kCeiling);
    EXPECT_EQ(slurp(fast()).size(), 200000u);
    EXPECT_EQ(get_second_object_int_from_file(fast().c_str(), "absent", "x"), 0);
    EXPECT_EQ(get_second_object_int_from_file("/nonexistent/file", "a", "b"), 0);
}

// Merges of the collector's own files splice text; the bytes must be those of
// the tree merge (the side file's member added to the root), whatever the
// member holds and whether or not the root already has it, the side file has
// more members or another layout, or is missing (the member is then null).
TEST_F(TrimTest, MergedFileIsTheTreeMergeByteForByte) {
    const char* o = "wifiConnectEvent";
    const struct {
        const char* root_extra;
        int root_flags, side_flags, side_count;
        bool side_extra;
    } cases[] = {{nullptr, kPretty, kPretty, 7, false}, {nullptr, kPretty, kPretty, 0, false},
                 {o, kPretty, kPretty, 3, false},       {nullptr, kPretty, kPlain, 3, false},
                 {nullptr, kPlain, kPretty, 3, false},  {nullptr, kPretty, kPretty, 3, true},
                 {nullptr, kPretty, kPretty, -1, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.side_count) + " " + std::to_string(c.side_flags));
        JsonPtr root(json_object_new_object());
        Add_object_string(root.get(), "routerHardware", "a/\"b\"\x01");
        Add_object_double(root.get(), "eventType", 3.5);
        if (c.root_extra) Add_object_int(root.get(), c.root_extra, 1);
        json_object_to_file_ext(path("root").c_str(), root.get(), c.root_flags);
        write_list(o, "event", std::max(c.side_count, 0), false, c.side_flags);
        if (c.side_count < 0) unlink(fast().c_str());
        JsonPtr side(json_object_from_file(fast().c_str()));
        if (c.side_extra) {
            Add_object_string(side.get(), "later", "x");
            json_object_to_file_ext(fast().c_str(), side.get(), c.side_flags);
        }
        json_object* value = nullptr;
        if (side && json_object_object_get_ex(side.get(), o, &value)) json_object_get(value);
        json_object_object_add(root.get(), o, value);
        combine_connectevent_json(path("root").c_str(), fast().c_str());
        EXPECT_EQ(slurp(path("root")), json_object_to_json_string_ext(root.get(), kPretty));
    }
}

}  // namespace
