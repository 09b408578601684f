// Command-line access to the configuration store:
//   config get NAME | set NAME=VALUE | unset NAME | show | commit
// Exit status 0 on success, 1 when a write fails, 2 on bad arguments.
#include "config_store.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr size_t kMaxShow = 8 * 1024 * 1024;

int usage() {
    fputs("usage: config get NAME\n"
          "       config set NAME=VALUE\n"
          "       config unset NAME\n"
          "       config show\n"
          "       config commit\n",
          stderr);
    return 2;
}

// Prints the store's name=value lines as they are in the file (values still
// escaped), which is what a hand edit would see.
void print_line(const std::string& line) {
    if (line.find('=') == std::string::npos) return;
    fwrite(line.data(), 1, line.size(), stdout);
    fputc('\n', stdout);
}

int show() {
    const char* env = getenv("CONFIG_STORE");
    const char* path = (env && *env) ? env : "/tmp/config.store";
    FILE* f = fopen(path, "r");
    if (!f) return 0;
    std::string line;
    size_t total = 0;
    int c;
    while (total < kMaxShow && (c = fgetc(f)) != EOF) {
        ++total;
        if (c != '\n') {
            line += static_cast<char>(c);
            continue;
        }
        print_line(line);
        line.clear();
    }
    print_line(line);
    fclose(f);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return usage();
    std::string verb = argv[1];
    if ((verb == "show" || verb == "commit") && argc == 2) {
        if (verb == "show") return show();
        return config_commit() == 0 ? 0 : 1;
    }
    if (argc != 3) return usage();
    const char* arg = argv[2];
    if (verb == "get" && *arg) {
        printf("%s\n", config_get(arg));
        return 0;
    }
    if (verb == "unset" && *arg) return config_unset(arg) == 0 ? 0 : 1;
    if (verb == "set") {
        const char* eq = strchr(arg, '=');
        if (!eq || eq == arg) return usage();
        std::string name(arg, static_cast<size_t>(eq - arg));
        return config_set(name.c_str(), eq + 1) == 0 ? 0 : 1;
    }
    return usage();
}
