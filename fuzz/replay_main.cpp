// Runs a fuzz target over saved inputs without fuzzing, for builds without
// libFuzzer: each argument is a file or a directory of files.
#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "fuzz_util.h"
#include "unit.h"

namespace {

void collect(const std::string& path, std::vector<std::string>* files) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0) return;
    if (!S_ISDIR(st.st_mode)) {
        files->push_back(path);
        return;
    }
    DIR* dir = opendir(path.c_str());
    if (!dir) return;
    std::vector<std::string> names;
    while (dirent* e = readdir(dir))
        if (e->d_name[0] != '.') names.push_back(path + "/" + e->d_name);
    closedir(dir);
    std::sort(names.begin(), names.end());
    for (const std::string& n : names) collect(n, files);
}

}  // namespace

int main(int argc, char** argv) {
    // Inputs are read before the private /tmp hides the caller's.
    std::vector<std::string> files;
    for (int i = 1; i < argc; ++i) collect(argv[i], &files);
    std::vector<std::string> inputs(files.size());
    for (size_t i = 0; i < files.size(); ++i) read_whole_file(files[i].c_str(), inputs[i], 1u << 20);
    LLVMFuzzerInitialize(&argc, &argv);
    for (const std::string& input : inputs)
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.data()), input.size());
    printf("%zu inputs replayed\n", inputs.size());
    return 0;
}
