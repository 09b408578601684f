// Starts the firmware's tools: never through a shell, stdin from /dev/null,
// each in a process group of its own, under a deadline, always reaped. What a
// tool prints comes back through a pipe, read up to the bound its reader
// keeps; a tool that prints more is stopped there.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "file_update.h"

// How long one tool may run before it is stopped (milliseconds).
#ifndef DC_CHILD_TIMEOUT_MS
#define DC_CHILD_TIMEOUT_MS 5000
#endif
// What all the tools of one run may take together (milliseconds): whatever
// they do, a run ends within its own designed waits plus some ten seconds.
#ifndef DC_RUN_CHILD_BUDGET_MS
#define DC_RUN_CHILD_BUDGET_MS 8000
#endif
// How long a command started in the background may live (seconds).
#ifndef DC_DETACHED_LIMIT_S
#define DC_DETACHED_LIMIT_S 60
#endif

enum class Capture { Stdout, Stderr, Both };

struct RunRequest {
    RunRequest() = default;
    RunRequest(std::vector<std::string> args, size_t max = 64 * 1024,
               Capture what = Capture::Stdout)
        : argv(std::move(args)), max_bytes(max), capture(what) {}

    // argv[0] is a path, or a name looked up in PATH as the shell does.
    std::vector<std::string> argv;
    size_t max_bytes = 64 * 1024;
    Capture capture = Capture::Stdout;
    int timeout_ms = DC_CHILD_TIMEOUT_MS;
    // "NAME=value" entries put into the tool's environment.
    std::vector<std::string> env;
    // A question whose answer holds for the run (a setting, a status report):
    // asked again, the first whole answer comes back without starting the
    // tool a second time.
    bool reuse = false;
};

struct RunResult {
    bool started = false;
    // Stopped at its deadline, or not started because an earlier run of the
    // same tool was (a wedged tool is not waited for twice in one run).
    bool timed_out = false;
    // Printed more than max_bytes: stopped there, out holds the first bytes.
    bool cut = false;
    int status = -1;  // raw wait status; -1 when not started or not reaped
    std::string out;
    // Ran to its end within its deadline; out is everything it printed.
    bool finished() const { return started && !timed_out; }
    bool exited_zero() const { return finished() && status == 0; }
};

RunResult run_program(const RunRequest& req);

// What the tool printed on stdout (at most max_bytes); "" when it could not
// start or was stopped at its deadline.
std::string program_output(std::vector<std::string> argv, size_t max_bytes = 64 * 1024);
// The same for a question whose answer holds for the run: asked once.
std::string program_answer(std::vector<std::string> argv, size_t max_bytes = 64 * 1024);

// Runs the tool and leaves what it printed in file, whole (a file that other
// programs or later runs read): written beside it, then renamed over it. A
// tool that is not there leaves an empty file, as the shell's redirection
// did; one stopped at its deadline leaves none, so nothing stale reads as
// its answer.
RunResult run_to_file(const RunRequest& req, const char* file);

// Starts a command that runs on by design (a request in the background):
// its own session, output to /dev/null, ended by the kernel after
// DC_DETACHED_LIMIT_S seconds; never waited for.
void run_detached(const std::vector<std::string>& argv);

// zol_safe_system's child: the program's stdout (and stderr) go to the
// named files, opened by the child as the firmware's runner does. Returns the
// raw wait status, 127 << 8 when the program cannot run, -1 when it could not
// be started or was stopped at its deadline.
int run_with_files(const char* path, char* const* argv, const char* output, const char* output2,
                   unsigned char mode);

// An exclusive lock on a file that overlapping runs share, waited for no
// longer than the tools' deadline and the run's budget allow (the wait is
// charged to it): another run's wedged tool never holds this one past its
// bound. held() is false when the lock was not had in time.
class RunLock {
public:
    explicit RunLock(const std::string& lock_path);
    bool held() const { return lock_.held(); }

private:
    long start_;
    file_update::Lock lock_;
};

// The tools stopped so far in this run and the answers kept for reuse (for
// tests).
void runner_forget_stopped();
