#include "sim_harness.h"

#include "strict_json.h"

#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

extern char** environ;

namespace {

const char* kSourceDir = DC_SOURCE_DIR;
const char* kBuildDir = DC_BUILD_DIR;

// Regular files only: a FIFO left by a sequence would block the reader.
std::string read_file(const std::string& path, bool* ok = nullptr) {
    struct stat st;
    if (ok) *ok = false;
    if (stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return "";
    std::ifstream in(path, std::ios::binary);
    if (ok) *ok = static_cast<bool>(in);
    if (!in) return "";
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

bool write_file(const std::string& path, const std::string& content, mode_t mode = 0644) {
    std::string dir = path.substr(0, path.rfind('/'));
    for (size_t i = 1; i <= dir.size(); ++i) {
        if (i == dir.size() || dir[i] == '/') mkdir(dir.substr(0, i).c_str(), 0755);
    }
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out) return false;
    out << content;
    out.close();
    return chmod(path.c_str(), mode) == 0 && static_cast<bool>(out);
}

// Removes a directory tree without following symbolic links. Bounded depth:
// only our own temporary trees are passed here.
void remove_tree(const std::string& path, int depth = 0) {
    struct stat st;
    if (lstat(path.c_str(), &st) != 0) return;
    if (S_ISDIR(st.st_mode) && depth < 64) {
        if (DIR* d = opendir(path.c_str())) {
            std::vector<std::string> names;
            while (dirent* e = readdir(d)) {
                if (strcmp(e->d_name, ".") != 0 && strcmp(e->d_name, "..") != 0)
                    names.emplace_back(e->d_name);
            }
            closedir(d);
            for (const auto& n : names) remove_tree(path + "/" + n, depth + 1);
        }
        rmdir(path.c_str());
    } else {
        unlink(path.c_str());
    }
}

struct TempDir {
    std::string path;
    TempDir() {
        const char* base = getenv("TMPDIR");
        std::string tmpl = std::string(base && *base ? base : "/tmp") + "/dc-sim.XXXXXX";
        std::vector<char> buf(tmpl.begin(), tmpl.end());
        buf.push_back('\0');
        if (mkdtemp(buf.data())) path = buf.data();
    }
    ~TempDir() {
        if (!path.empty()) remove_tree(path);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
};

// The store file escapes newlines, carriage returns and backslashes.
std::string store_escape(const std::string& v) {
    std::string out;
    for (char c : v) {
        if (c == '\n') out += "\\n";
        else if (c == '\r') out += "\\r";
        else if (c == '\\') out += "\\\\";
        else out += c;
    }
    return out;
}

std::string store_unescape(const std::string& v) {
    std::string out;
    for (size_t i = 0; i < v.size(); ++i) {
        if (v[i] == '\\' && i + 1 < v.size()) {
            char n = v[i + 1];
            if (n == 'n' || n == 'r' || n == '\\') {
                out += n == 'n' ? '\n' : n == 'r' ? '\r' : '\\';
                ++i;
                continue;
            }
        }
        out += v[i];
    }
    return out;
}

std::string router_rel(const std::string& router_path) {
    size_t i = 0;
    while (i < router_path.size() && router_path[i] == '/') ++i;
    return router_path.substr(i);
}

bool write_fixture(const std::string& fx, const Scenario& sc) {
    bool ok = true;
    for (const auto& [path, content] : sc.files) {
        mode_t mode = content.rfind("#!", 0) == 0 ? 0755 : 0644;
        ok &= write_file(fx + "/rootfs/" + router_rel(path), content, mode);
    }
    for (const auto& [path, contents] : sc.sequences) {
        for (size_t i = 0; i < contents.size(); ++i)
            ok &= write_file(fx + "/seq/" + router_rel(path) + "/" + std::to_string(i + 1),
                             contents[i]);
    }
    // Named to sort after every fragment of the sample router.
    std::string store;
    for (const auto& [k, v] : sc.store) store += k + "=" + store_escape(v) + "\n";
    for (const auto& k : sc.unset_keys) store += "!" + k + "\n";
    if (!store.empty()) ok &= write_file(fx + "/store.d/zz-scenario.store", store);
    std::string del;
    for (const auto& p : sc.remove) del += p + "\n";
    if (!del.empty()) ok &= write_file(fx + "/delete", del);
    std::string ifs;
    for (const auto& l : sc.netifs) ifs += l + "\n";
    if (!ifs.empty()) ok &= write_file(fx + "/netifs", ifs);
    if (sc.uptime >= 0) ok &= write_file(fx + "/uptime", std::to_string(sc.uptime) + "\n");
    return ok;
}

// Runs the simulator with its own output to files; returns its exit status.
int spawn_sim(const std::vector<std::string>& args, const std::string& log) {
    std::vector<char*> cargv;
    for (const auto& a : args) cargv.push_back(const_cast<char*>(a.c_str()));
    cargv.push_back(nullptr);
    posix_spawn_file_actions_t fa;
    posix_spawn_file_actions_init(&fa);
    posix_spawn_file_actions_addopen(&fa, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&fa, 1, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_adddup2(&fa, 1, 2);
    pid_t pid = -1;
    int rc = posix_spawn(&pid, cargv[0], &fa, nullptr, cargv.data(), environ);
    posix_spawn_file_actions_destroy(&fa);
    if (rc != 0) return -1;
    int st = 0;
    while (waitpid(pid, &st, 0) < 0) {
        if (errno != EINTR) return -1;
    }
    return WIFEXITED(st) ? WEXITSTATUS(st) : 128 + WTERMSIG(st);
}

// Every event document a run writes is copied to $DC_DOC_DIR (when set) for
// the schema check that ends the suite (tools/validate-documents). Files the
// scenario planted are the test's own input, not the collector's output.
void collect_documents(const SimResult& r, const std::vector<std::string>& argv,
                       const Scenario& sc) {
    const char* into = getenv("DC_DOC_DIR");
    if (!into || !*into || r.dir.empty()) return;
    static unsigned seq = 0;
    const auto* info = testing::UnitTest::GetInstance()->current_test_info();
    std::string tag = info ? std::string(info->test_suite_name()) + "." + info->name() : "run";
    tag += "." + std::to_string(getpid()) + "." + std::to_string(++seq);
    for (char& c : tag)
        if (c == '/') c = '_';
    std::vector<std::string> docs;
    if (DIR* d = opendir((r.dir + "/tmp").c_str())) {
        while (dirent* e = readdir(d)) {
            if (strncmp(e->d_name, "aws_json_", 9) == 0) docs.emplace_back(e->d_name);
        }
        closedir(d);
    }
    for (const auto& name : docs) {
        if (sc.files.count("/tmp/" + name)) continue;
        bool ok = false;
        std::string text = read_file(r.dir + "/tmp/" + name, &ok);
        // The word after "aws_json_" names the schema; a cloud command's
        // output is a forwarded document whatever its name.
        std::string word = name.substr(9);
        if (argv.size() >= 4 && argv[1] == "cloud" && argv[3] == "/tmp/" + name) word = "cloud";
        if (ok) write_file(std::string(into) + "/" + tag + "." + word + ".json", text);
    }
}

std::string abs_fixture(const std::string& d) {
    return !d.empty() && d[0] == '/' ? d : std::string(kSourceDir) + "/" + d;
}

}  // namespace

SimResult run_in_router(const std::vector<std::string>& argv, const Scenario& sc) {
    SimResult r;
    auto tmp = std::make_shared<TempDir>();
    r.keep_ = tmp;
    if (tmp->path.empty()) {
        r.err = "cannot create a temporary directory";
        return r;
    }
    const std::string fx = tmp->path + "/fixture";
    r.dir = tmp->path + "/out";
    mkdir(fx.c_str(), 0755);
    if (!write_fixture(fx, sc)) {
        r.err = "cannot write the scenario fixture";
        return r;
    }
    std::vector<std::string> args = {std::string(kSourceDir) + "/tools/router-sim",
                                     "--bin", kBuildDir,
                                     "--fixture", std::string(kSourceDir) + "/sim/router"};
    for (const auto& d : sc.extra_fixtures) {
        args.push_back("--fixture");
        args.push_back(abs_fixture(d));
    }
    if (sc.timeout_s > 0) args.insert(args.end(), {"--timeout", std::to_string(sc.timeout_s)});
    args.insert(args.end(), {"--fixture", fx, "--out", r.dir, "--"});
    args.insert(args.end(), argv.begin(), argv.end());

    const std::string log = tmp->path + "/router-sim.log";
    int rc = spawn_sim(args, log);
    bool ran = false;
    std::string status = read_file(r.dir + "/status", &ran);
    if (!ran) {
        r.err = "router-sim failed (exit " + std::to_string(rc) + "): " + read_file(log);
        return r;
    }
    r.status = atoi(status.c_str());
    r.out = read_file(r.dir + "/stdout");
    r.err = read_file(r.dir + "/stderr");
    collect_documents(r, argv, sc);
    return r;
}

std::string SimResult::file(const std::string& router_path) const {
    if (dir.empty()) return "";
    return read_file(dir + "/" + router_rel(router_path));
}

bool SimResult::exists(const std::string& router_path) const {
    struct stat st;
    return !dir.empty() && lstat((dir + "/" + router_rel(router_path)).c_str(), &st) == 0;
}

namespace {
void list_files(const std::string& host, const std::string& router, std::vector<std::string>& out) {
    DIR* d = opendir(host.c_str());
    if (!d) return;
    while (dirent* e = readdir(d)) {
        std::string name = e->d_name;
        if (name == "." || name == "..") continue;
        struct stat st;
        if (lstat((host + "/" + name).c_str(), &st) != 0) continue;
        if (S_ISDIR(st.st_mode))
            list_files(host + "/" + name, router + "/" + name, out);
        else
            out.push_back(router + "/" + name);
    }
    closedir(d);
}
}  // namespace

std::vector<std::string> SimResult::files_with_prefix(const std::string& prefix) const {
    std::vector<std::string> all, out;
    if (!dir.empty()) list_files(dir + "/tmp", "/tmp", all);
    for (const std::string& f : all)
        if (f.rfind(prefix, 0) == 0) out.push_back(f);
    return out;
}

SimJson SimResult::json(const std::string& router_path) const {
    bool ok = false;
    std::string text = dir.empty() ? "" : read_file(dir + "/" + router_rel(router_path), &ok);
    if (!ok) return nullptr;
    json_tokener* tok = json_tokener_new();
    if (!tok) return nullptr;
    json_object* obj = json_tokener_parse_ex(tok, text.c_str(), static_cast<int>(text.size()));
    bool good = json_tokener_get_error(tok) == json_tokener_success;
    // Trailing text after the document means the file is not one document.
    if (good) {
        for (size_t i = json_tokener_get_parse_end(tok); i < text.size(); ++i)
            if (!isspace(static_cast<unsigned char>(text[i]))) good = false;
    }
    json_tokener_free(tok);
    if (!good) {
        json_object_put(obj);
        return nullptr;
    }
    // json-c takes more than the cloud does (NaN, invalid UTF-8, ...): every
    // document a test reads must also pass the cloud's strict rules.
    std::string why;
    if (!json_text_is_strict(text.data(), text.size(), &why))
        ADD_FAILURE() << router_path << " is not strict JSON: " << why;
    return SimJson(obj);
}

namespace {
bool store_lookup(const std::string& dir, const std::string& key, std::string* value) {
    std::istringstream in(read_file(dir + "/tmp/config.store"));
    std::string line;
    bool found = false;
    while (std::getline(in, line)) {
        size_t eq = line.find('=');
        if (eq == std::string::npos || line.compare(0, eq, key) != 0 || eq != key.size()) continue;
        *value = store_unescape(line.substr(eq + 1));  // the last line wins
        found = true;
    }
    return found;
}
}  // namespace

std::string SimResult::store(const std::string& key) const {
    std::string v;
    return !dir.empty() && store_lookup(dir, key, &v) ? v : "";
}

bool SimResult::store_has(const std::string& key) const {
    std::string v;
    return !dir.empty() && store_lookup(dir, key, &v);
}

bool sim_available(std::string* why) {
    static int state = -1;  // -1 unknown, 0 no, 1 yes
    static std::string reason;
    if (state < 0) {
        SimResult r = run_in_router({"/bin/true"});
        state = r.status == 0 ? 1 : 0;
        if (!state) {
            reason = "simulated router unavailable: " + r.err;
            while (!reason.empty() && (reason.back() == '\n' || reason.back() == ' '))
                reason.pop_back();
        }
    }
    if (why) *why = reason;
    return state == 1;
}

std::vector<std::string> member_names(json_object* obj) {
    std::vector<std::string> names;
    if (!obj || !json_object_is_type(obj, json_type_object)) return names;
    json_object_object_foreach(obj, key, val) {
        (void)val;
        names.emplace_back(key);
    }
    return names;
}

std::string json_type_name(json_object* obj) {
    switch (json_object_get_type(obj)) {
        case json_type_object: return "object";
        case json_type_array: return "array";
        case json_type_string: return "string";
        case json_type_int: return "int";
        case json_type_double: return "double";
        case json_type_boolean: return "boolean";
        default: return "null";
    }
}

std::string json_shape(json_object* o) {
    std::string type = json_type_name(o), s;
    if (type == "object") {
        for (const auto& n : member_names(o))
            s += (s.empty() ? "" : ",") + n + ":" + json_shape(json_object_object_get(o, n.c_str()));
        return "{" + s + "}";
    }
    if (type != "array") return type;
    for (size_t i = 0; i < json_object_array_length(o); ++i)
        s += (i ? "," : "") + json_shape(json_object_array_get_idx(o, i));
    return "[" + s + "]";
}

json_object* json_at(json_object* root, const std::string& dotted_path) {
    json_object* cur = root;
    size_t start = 0;
    while (cur && start <= dotted_path.size()) {
        size_t dot = dotted_path.find('.', start);
        std::string part = dotted_path.substr(start, dot == std::string::npos ? std::string::npos
                                                                               : dot - start);
        if (json_object_is_type(cur, json_type_array)) {
            char* end = nullptr;
            long idx = strtol(part.c_str(), &end, 10);
            if (part.empty() || *end || idx < 0 ||
                static_cast<size_t>(idx) >= json_object_array_length(cur))
                return nullptr;
            cur = json_object_array_get_idx(cur, static_cast<size_t>(idx));
        } else if (!json_object_object_get_ex(cur, part.c_str(), &cur)) {
            return nullptr;
        }
        if (dot == std::string::npos) return cur;
        start = dot + 1;
    }
    return nullptr;
}

std::string json_str(json_object* root, const std::string& dotted_path) {
    json_object* v = json_at(root, dotted_path);
    return v && json_object_is_type(v, json_type_string) ? json_object_get_string(v) : "";
}

ItemRun run_item(const std::string& item, const Scenario& sc, const std::vector<std::string>& argv) {
    ItemRun run{run_in_router(argv.empty() ? std::vector<std::string>{"data_collector", item} : argv,
                              sc), nullptr};
    EXPECT_EQ(run.r.status, 0) << run.r.err.substr(0, 2000);
    run.doc = run.r.json("/tmp/aws_json_" + item);
    EXPECT_TRUE(run.doc) << item << ": " << run.r.file("/tmp/aws_json_" + item).substr(0, 2000);
    return run;
}

std::string json_text(json_object* root, const std::string& dotted_path) {
    json_object* v = json_at(root, dotted_path);
    if (!v) return "<absent>";
    return json_object_is_type(v, json_type_string)
               ? json_object_get_string(v)
               : json_object_to_json_string_ext(v, JSON_C_TO_STRING_PLAIN);
}

void expect_members(json_object* root, const Members& want) {
    for (const auto& [path, value] : want) EXPECT_EQ(json_text(root, path), value) << path;
}

std::vector<std::string> golden_members(const std::string& item, const std::string& dotted_path,
                                        const std::vector<std::string>& drop) {
    SimJson golden(json_object_from_file((std::string(kSourceDir) + "/docs/golden/" + item + ".json").c_str()));
    std::vector<std::string> out;
    json_object* obj = dotted_path.empty() ? golden.get() : json_at(golden.get(), dotted_path);
    for (const auto& n : member_names(obj))
        if (std::find(drop.begin(), drop.end(), n) == drop.end()) out.push_back(n);
    return out;
}
