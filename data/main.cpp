#include <cstdio>
#include <exception>

#include "data_collector.h"

int main(int argc, char** argv) {
    // Line buffering keeps this program's messages in order with the output
    // of the tools it runs when both go to the same file.
    setvbuf(stdout, nullptr, _IOLBF, 0);
    try {
        data_collector_main(argc, argv);
    } catch (const std::exception& e) {
        fprintf(stderr, "data_collector: %s\n", e.what());
    } catch (...) {
        fprintf(stderr, "data_collector: unexpected error\n");
    }
    return 0;
}
