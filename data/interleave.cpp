// Converts the credential files into their interleaved (hidden) form: after
// an offset copied as it is, every full 128-byte block has its eight 16-byte
// groups permuted; a short tail is copied as it is.
#include "interleave.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "dc_credentials.h"

namespace {

constexpr int kBlock = 128;
constexpr int kGroup = 16;
constexpr int kGroups = kBlock / kGroup;

const int32_t chaos_index_map[kGroups] = {DC_CHAOS_INDEX_MAP};
const int32_t peace_index_map[kGroups] = {DC_PEACE_INDEX_MAP};

// Reads until len bytes or the end of the input, so that a pipe delivering
// short reads is treated like a file. Returns the count, or -1 on error.
ssize_t read_full(int fd, unsigned char* buf, size_t len) {
    size_t got = 0;
    while (got < len) {
        ssize_t n = read(fd, buf + got, len - got);
        if (n < 0) {
            if (errno == EINTR) continue;
            return -1;
        }
        if (n == 0) break;
        got += static_cast<size_t>(n);
    }
    return static_cast<ssize_t>(got);
}

bool write_full(int fd, const unsigned char* buf, size_t len) {
    size_t done = 0;
    while (done < len) {
        ssize_t n = write(fd, buf + done, len - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

int close_both(int in, int out, int rc) {
    close(in);
    close(out);
    return rc;
}

int fail_write(int in, int out, const char* ofile) {
    fprintf(stderr, "write data to %s fail: %s\n", ofile, strerror(errno));
    return close_both(in, out, -1);
}

const char* const kPlain[] = {"/tmp/router-analytics/rootCA.crt",
                              "/tmp/router-analytics/certificate.pem.crt",
                              "/tmp/router-analytics/private.pem.key"};
const char* const kHidden[] = {"/tmp/router-analytics/.rootCA.crt",
                               "/tmp/router-analytics/.certificate.pem.crt",
                               "/tmp/router-analytics/.private.pem.key"};

void remove_all(const char* const (&paths)[3]) {
    for (const char* p : paths) unlink(p);
}

}  // namespace

int interleave_file(const char* ifile, const char* ofile, int offset, int to_chaos) {
    int in = open(ifile, O_RDONLY);
    if (in < 0) {
        fprintf(stderr, "open in file %s fail: %s\n", ifile, strerror(errno));
        return -1;
    }
    // No O_TRUNC: an existing longer file keeps its tail (established
    // behaviour, kept).
    int out = open(ofile, O_WRONLY | O_CREAT, 0644);
    if (out < 0) {
        fprintf(stderr, "open out file %s fail: %s\n", ofile, strerror(errno));
        close(in);
        return -1;
    }

    unsigned char in_block[kBlock];
    unsigned char out_block[kBlock];
    for (int left = offset; left > 0;) {
        int want = left < kBlock ? left : kBlock;
        if (read_full(in, in_block, static_cast<size_t>(want)) != want) {
            fprintf(stderr, "data in %s little than offset %d\n", ifile, offset);
            return close_both(in, out, -1);
        }
        if (!write_full(out, in_block, static_cast<size_t>(want))) return fail_write(in, out, ofile);
        left -= want;
    }

    const int32_t* map = to_chaos ? chaos_index_map : peace_index_map;
    for (;;) {
        memset(in_block, 0, sizeof(in_block));
        memset(out_block, 0, sizeof(out_block));
        ssize_t n = read_full(in, in_block, sizeof(in_block));
        if (n < 0) {
            fprintf(stderr, "read data from %s fail: %s\n", ifile, strerror(errno));
            return close_both(in, out, -1);
        }
        if (n < kBlock) {
            if (!write_full(out, in_block, static_cast<size_t>(n))) return fail_write(in, out, ofile);
            return close_both(in, out, 0);
        }
        for (int i = 0; i < kGroups; ++i)
            memcpy(out_block + map[i] * kGroup, in_block + i * kGroup, kGroup);
        if (!write_full(out, out_block, sizeof(out_block))) return fail_write(in, out, ofile);
    }
}

void interleave_files() {
    static const char* const pairs[][2] = {
        {"/tmp/router-analytics/rootCA.crt", "/tmp/router-analytics/.rootCA.crt"},
        {"/tmp/router-analytics/certificate.pem.crt", "/tmp/router-analytics/.certificate.pem.crt"},
        {"/tmp/router-analytics/private.pem.key", "/tmp/router-analytics/.private.pem.key"},
    };
    for (const auto& pair : pairs) {
        if (interleave_file(pair[0], pair[1], 0, 0) != 0) {
            // No credential may stay behind in either form after a failure.
            remove_all(kHidden);
            break;
        }
    }
    remove_all(kPlain);
}
