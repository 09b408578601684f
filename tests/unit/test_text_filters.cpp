// The collector does the shell utilities' work itself. Each command line it
// replaced still runs here as the reference, through /bin/sh (dash with the
// GNU tools) and through busybox (the router's shell and applets), on the
// fixtures' texts and on generated ones, and must give what the collector
// gives. LC_ALL=C for both: the router's busybox knows no locale.
#include <algorithm>
#include <iterator>
#include <random>

#include "test_util.h"
#include "text_filters.h"

namespace {

std::string quoted(const std::string& s) {
    std::string q = "'";
    for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

// What line prints on stdout under shell ("/bin/sh" or "/bin/busybox sh").
std::string shell_output(const std::string& shell, const std::string& line) {
    std::string cmd = "LC_ALL=C " + shell + " -c " + quoted(line) + " 2>/dev/null";
    std::string out;
    FILE* p = popen(cmd.c_str(), "r");
    if (!p) return "popen failed";
    char buf[4096];
    for (size_t n; (n = fread(buf, 1, sizeof buf, p)) > 0;) out.append(buf, n);
    pclose(p);
    return out;
}

// The names in dir (dot files too), one a line, each directory with "/".
std::string listing(const std::string& dir) {
    return shell_output("/bin/sh", "ls -A1p " + quoted(dir));
}

std::string first_word(const std::string& out) {
    size_t start = out.find_first_not_of(" \t");
    if (start == std::string::npos) return "";
    return out.substr(start, out.find_first_of(" \t\n", start) - start);
}

// Deterministic: the same inputs on every machine (mt19937's output is fixed).
class Gen {
   public:
    size_t below(size_t n) { return rng_() % n; }
    template <size_t N>
    std::string join(const char* const (&tokens)[N], size_t most) {
        std::string s;
        for (size_t i = below(most + 1); i > 0; --i) s += tokens[below(N)];
        return s;
    }

   private:
    std::mt19937 rng_{20240607};
};

// No NUL: GNU grep takes such a file for binary and prints no line of it.
const char* const kTextTokens[] = {
    "a4:83:e7:10:00:0b", "A4:83:E7:10:00:0C", "a4:83", "POT:", "POT: 2880", "POT:\t7 x", "pot: 1",
    "plex_net_state", "plex_net_state2=1", "=1", "=", ":", "\"dbgLogs\":{", "\"dbgMsg\":",
    "  \"dbgMsg\": \"a\"", "\t\"dbgMsg\":", "{", "}", "}}", " ", "  ", "\t", "\r", "\n", "\n", "\n",
    "\n\n", "x", "42", ".", "*", "[", "]", "^", "$", "\\", "'", "\xc3\xa9", "\xff"};
// A backslash only before an operator or another backslash: GNU grep reads
// "\e" as "e", busybox's grep (GNU regex, as the collector) matches nothing.
const char* const kPatternTokens[] = {
    "a4", "A4:83", "e7", ":", "0b", "0C", ".", "*", "\\.", "[0-9a-f]", "[[:xdigit:]]", "[^:]",
    "\\(", "\\)", "\\{2\\}", "\\1", "^", "$", "\\\\", "\\+", "\\?", "\\|", "[", "]", "x", " ", "\t",
    "-", "POT", "{", "}", "\\<", "\\w", "\xc3\xa9"};
// Directory entries for ls and rm.
const char* const kNames[] = {
    "thermal_wifi0.conf\n", "thermal_wifi\n", "thermal_wifi3/\n", "thermal_wifi4@\n",
    "thermal_board.conf\n", "Thermal_wifi1\n", ".thermal_wifi2\n", "0:0:0:0/\n", "a b\n", "B\n",
    "b\n", "_x\n", "~z\n", "-n\n", "z@\n", "\xc3\xa9t\xc3\xa9\n"};
// A symlink to nowhere is left out: GNU ls names it, busybox's (as the
// collector) lists nothing.
const char* const kLsArgs[] = {"", "", "", "/B", "/0:0:0:0", "/missing", "/thermal_wifi3"};
const char kValueChars[] = "abcXYZ0189_.:";

// text: the file's content, or for ls and rm the entries of the directory,
// one a line ("name/" a directory, "name@" a symlink to nowhere). arg: the
// pattern, line number, value or, for ls, what follows the directory.
struct Input { std::string text, arg; };

using Str = const std::string&;
using Inputs = std::vector<Input>;

std::string source(const std::string& rel) { return slurp(DC_SOURCE_DIR "/" + rel); }
std::string fixture_dir(const char* rel) { return listing(DC_SOURCE_DIR "/" + std::string(rel)); }
const char kAttached[] = "sim/router/rootfs/tmp/netscan/attach_device";
const char kOffline[] = "sim/router/rootfs/tmp/netscan/offline_mac";
const char kWireless[] = "sim/router/rootfs/tmp/cache/wireless";
std::string golden_doc() { return source("docs/golden/eventtype10.json"); }
// As the collector writes the document, before the edits.
const std::string kWritten =
    "{\n  \"routerHardware\":{\n    \"eventType\":10\n  },\n  \"dbgLogs\":{\n"
    "    \"dbglogType\":\"Flash\",\n    \"dbgMsg\":\"a \\\"dbgMsg\\\":\\n\"\n  }\n}";

// Some of the directory entries; busybox's ls prints a byte past ASCII as
// '?', GNU's as it is, so ls gets none of those.
void entries(Gen& gen, Input& in, bool non_ascii) {
    for (const char* name : kNames)
        if (gen.below(2) && (non_ascii || name[0] != '\xc3')) in.text += name;
}

struct Pair {
    const char* name;
    bool in_dir;
    std::string (*line)(Str path, Str arg);
    // What the collector took from the command's output, or from what it left at path.
    std::string (*taken)(Str out, Str path);
    std::string (*ours)(Str path, const Input& in);
    Inputs (*fixtures)();
    // Gives a generated input its arg (a file's text is drawn before).
    void (*generate)(Gen& gen, Input& in);
};

std::string output(Str out, Str) { return out; }
std::string content(Str, Str path) { return slurp(path); }

const Pair kPairs[] = {
    {"grep", false, [](Str p, Str mac) { return "grep -i -e " + quoted(mac) + " " + p; },
     [](Str out, Str) { return std::string(out.empty() ? "online" : "offline"); },
     [](Str, const Input& in) {
         return std::string(LineGrep(text_lines(in.text)).any_icase(in.arg) ? "offline" : "online");
     },
     [] {
         Inputs in;
         for (const std::string& line : text_lines(source(kAttached)))
             in.push_back({source(kOffline), first_word(line.substr(line.find(' ')))});
         in.push_back({source(kOffline), "a4:83:E7:10:00:0c"});
         // Both greps repeat a repetition; regcomp's strict syntax refused it.
         in.push_back({source(kOffline), "A4:83:E7:10:00:0B**"});
         return in;
     },
     // grep takes a pattern's lines as patterns of their own; a MAC has none.
     [](Gen& gen, Input& in) { in.arg = gen.join(kPatternTokens, 4); }},
    {"pot", false, [](Str p, Str) { return "cat " + p + "|grep POT:|awk '{print $2}'"; }, output,
     [](Str, const Input& in) { return grep_awk_field(in.text, "POT:", 2); },
     [] {
         return Inputs{
             {shell_output("/bin/sh", DC_SOURCE_DIR "/sim/router/rootfs/usr/bin/pot_tool get"), ""}};
     },
     // busybox's awk splits fields at any white space (a CR too), the
     // others at blanks only; the collector does as the latter.
     [](Gen&, Input& in) {
         in.text.erase(std::remove(in.text.begin(), in.text.end(), '\r'), in.text.end());
     }},
    {"plex", false,
     [](Str p, Str) { return "cat " + p + " |grep plex_net_state |grep '=1' |wc -l"; },
     [](Str out, Str) { return std::string(first_line_of(out)); },
     [](Str, const Input& in) {
         return std::string(first_line_of(count_lines_holding(in.text, "plex_net_state", "=1")));
     },
     [] {
         return Inputs{{source("sim/router/store.d/60-usb-satellite.store"), ""},
                       {source("sim/layers/hostile/store.d/61-hostile-usb-satellite.store"), ""}};
     },
     nullptr},
    {"dbgMsg", false,
     [](Str p, Str) {
         return "cat " + p + " | grep -n '^ *\"dbgMsg\":' | awk -F \":\" '{print $1}'";
     },
     output, [](Str, const Input& in) { return matching_line_numbers(in.text, "^ *\"dbgMsg\":"); },
     [] { return Inputs{{golden_doc(), ""}, {kWritten, ""}}; }, nullptr},
    {"dbgLogs", false, [](Str p, Str) { return "sed -i 's/\"dbgLogs\":{/\"dbgLogs\":[{/g' " + p; },
     content,
     [](Str, const Input& in) { return replace_all(in.text, "\"dbgLogs\":{", "\"dbgLogs\":[{"); },
     [] { return Inputs{{golden_doc(), ""}, {kWritten, ""}}; }, nullptr},
    {"brace", false, [](Str p, Str n) { return "sed -i '" + n + "s/}/}]/g' " + p; }, content,
     [](Str, const Input& in) {
         return replace_all_on_line(in.text, std::stol(in.arg), "}", "}]");
     },
     [] {
         return Inputs{
             {golden_doc(), "42"}, {kWritten, "7"}, {replace_all(kWritten, "\":{", "\":[{"), "7"}};
     },
     [](Gen& gen, Input& in) { in.arg = std::to_string(1 + gen.below(8)); }},
    {"ls", true, [](Str p, Str sub) { return "ls " + quoted(p + sub); }, output,
     [](Str p, const Input& in) { return ls_names((p + in.arg).c_str()); },
     [] {
         return Inputs{{fixture_dir("sim/router/rootfs/sys/block/sda/device/scsi_device"), ""},
                       {fixture_dir(kWireless), ""}};
     },
     [](Gen& gen, Input& in) {
         entries(gen, in, false);
         in.arg = kLsArgs[gen.below(std::size(kLsArgs))];
     }},
    {"rm", true, [](Str p, Str) { return "rm " + p + "/thermal_wifi*"; },
     [](Str, Str p) { return listing(p); },
     [](Str p, const Input&) {
         remove_prefixed(p.c_str(), "thermal_wifi");
         return listing(p);
     },
     [] { return Inputs{{fixture_dir(kWireless), ""}}; },
     [](Gen& gen, Input& in) { entries(gen, in, true); }},
    // No output (an unreadable file) reads as 0.
    {"wc", false, [](Str p, Str) { return "wc -l " + p; },
     [](Str out, Str) { return out.empty() ? "0" : first_word(out); },
     [](Str p, const Input&) { return std::to_string(get_file_line_num(p.c_str())); },
     [] { return Inputs{{source(kAttached), ""}, {golden_doc(), ""}, {kWritten, ""}}; }, nullptr},
    // Only plain values (letters, digits, no backslash, no leading '-'): dash's
    // echo reads backslash escapes, busybox's does not, and "-n" is an option.
    {"echo", false, [](Str p, Str v) { return "echo " + v + " > " + p; }, content,
     [](Str, const Input& in) { return in.arg + "\n"; },
     [] { return Inputs{{"old\n", "na"}, {"", "A42B8C5E71D1"}}; },
     [](Gen& gen, Input& in) {
         for (size_t n = 1 + gen.below(12); n > 0; --n)
             in.arg += kValueChars[gen.below(sizeof kValueChars - 1)];
     }},
};

class TextFilters : public TempDirTest,
                    public ::testing::WithParamInterface<std::tuple<size_t, bool>> {
   protected:
    // Lays in out at path at: the file's text, or the directory's entries.
    void lay(const Pair& pair, const Input& in, const std::string& at) {
        if (!pair.in_dir) {
            std::ofstream(at, std::ios::binary | std::ios::trunc) << in.text;
            return;
        }
        ASSERT_EQ(system(("rm -rf " + quoted(at)).c_str()), 0);
        ASSERT_EQ(mkdir(at.c_str(), 0755), 0);
        for (const std::string& entry : text_lines(in.text)) {
            std::string p = at + "/" + entry.substr(0, entry.size() - 1);
            if (entry.back() == '/')
                ASSERT_EQ(mkdir(p.c_str(), 0755), 0);
            else if (entry.back() == '@')
                ASSERT_EQ(symlink("nowhere", p.c_str()), 0);
            else
                std::ofstream(at + "/" + entry) << "x";
        }
    }
};

TEST_P(TextFilters, AsTheCommandLine) {
    const Pair& pair = kPairs[std::get<0>(GetParam())];
    const bool busybox = std::get<1>(GetParam());
    const std::string shell = busybox ? "/bin/busybox sh" : "/bin/sh";
    if (busybox && access("/bin/busybox", X_OK) != 0)
        GTEST_SKIP() << "no /bin/busybox (Debian package busybox-static)";
    Inputs inputs = pair.fixtures();
    Gen gen;
    for (int i = 0; i < 40; ++i) {
        Input in;
        if (!pair.in_dir) in.text = gen.join(kTextTokens, 24);
        if (pair.generate) pair.generate(gen, in);
        inputs.push_back(in);
    }
    const std::string at = path("in");
    int failures = 0;
    for (const Input& in : inputs) {
        lay(pair, in, at);
        std::string line = pair.line(at, in.arg);
        std::string got = pair.taken(shell_output(shell, line), at);
        lay(pair, in, at);
        std::string ours = pair.ours(at, in);
        EXPECT_EQ(ours, got) << shell << " -c " << quoted(line) << "\non "
                             << ::testing::PrintToString(in.text);
        if (ours != got && ++failures == 5) break;
    }
}

INSTANTIATE_TEST_SUITE_P(All, TextFilters,
                         ::testing::Combine(::testing::Range<size_t>(0, std::size(kPairs)),
                                            ::testing::Bool()),
                         [](const auto& info) {
                             return std::string(kPairs[std::get<0>(info.param)].name) +
                                    (std::get<1>(info.param) ? "_busybox" : "_sh");
                         });

}  // namespace
