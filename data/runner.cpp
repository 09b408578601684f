#include "runner.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

#include "file_update.h"

extern char** environ;

namespace {

constexpr int kGraceMs = 200;
constexpr int kReapMs = 1000;
// How often a running tool's pipe is emptied; its buffer is enlarged so that
// a tool printing much waits little meanwhile.
constexpr long kDrainMs = 10;
constexpr int kPipeBytes = 1 << 20;

long g_budget_ms = DC_RUN_CHILD_BUDGET_MS;
std::vector<std::string> g_stopped;
// Whole answers to reusable questions, by question; small ones only, so the
// run's peak memory does not grow with them.
std::map<std::string, RunResult> g_answers;
constexpr size_t kKeptAnswerBytes = 16 * 1024;

long now_ms() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return ts.tv_sec * 1000L + ts.tv_nsec / 1000000L;
}

void on_child(int) {}

// While a child runs, SIGQUIT and SIGINT are ignored, as with system(), and
// SIGCHLD is blocked but for the waits, which it ends: the collector sleeps
// until its child prints, ends or reaches its deadline. The caller's handlers
// and mask come back after.
class ChildSignals {
public:
    ChildSignals() {
        struct sigaction ignore {}, wake {};
        ignore.sa_handler = SIG_IGN;
        wake.sa_handler = on_child;
        sigemptyset(&ignore.sa_mask);
        sigemptyset(&wake.sa_mask);
        sigaction(SIGQUIT, &ignore, &old_quit_);
        sigaction(SIGINT, &ignore, &old_int_);
        sigaction(SIGCHLD, &wake, &old_chld_);
        sigset_t chld;
        sigemptyset(&chld);
        sigaddset(&chld, SIGCHLD);
        sigprocmask(SIG_BLOCK, &chld, &caller_mask);
        wait_mask = caller_mask;
        sigdelset(&wait_mask, SIGCHLD);
    }
    ~ChildSignals() {
        sigprocmask(SIG_SETMASK, &caller_mask, nullptr);  // a pending SIGCHLD ends here
        sigaction(SIGQUIT, &old_quit_, nullptr);
        sigaction(SIGINT, &old_int_, nullptr);
        sigaction(SIGCHLD, &old_chld_, nullptr);
    }
    ChildSignals(const ChildSignals&) = delete;
    ChildSignals& operator=(const ChildSignals&) = delete;

    sigset_t caller_mask;  // what the child starts with
    sigset_t wait_mask;    // what a wait runs with: SIGCHLD comes through

private:
    struct sigaction old_quit_ {}, old_int_ {}, old_chld_ {};
};

// Sleeps until a SIGCHLD arrives or ms pass.
void wait_event(const ChildSignals& sig, long ms) {
    timespec ts{ms / 1000, (ms % 1000) * 1000000L};
    ppoll(nullptr, 0, &ts, &sig.wait_mask);
}

// Where the shell would find the program: a name with a slash as it is, else
// the first executable regular file of that name along PATH.
std::string resolve(const std::string& name) {
    if (name.empty() || name.find('/') != std::string::npos) return name;
    const char* path = getenv("PATH");
    std::string dirs = path && *path ? path : "/usr/sbin:/usr/bin:/sbin:/bin";
    size_t start = 0;
    while (start <= dirs.size()) {
        size_t end = dirs.find(':', start);
        if (end == std::string::npos) end = dirs.size();
        std::string dir = dirs.substr(start, end - start);
        std::string full = (dir.empty() ? "." : dir) + "/" + name;
        struct stat st;
        if (stat(full.c_str(), &st) == 0 && S_ISREG(st.st_mode) && access(full.c_str(), X_OK) == 0)
            return full;
        start = end + 1;
    }
    return "";
}

// The child's side, between vfork and execve: system calls only, on memory
// the parent prepared.
struct ChildSetup {
    const char* path = nullptr;
    char* const* argv = nullptr;
    char* const* envp = nullptr;
    int pipe_write = -1;
    Capture capture = Capture::Stdout;
    bool quiet = false;     // stdout and stderr to /dev/null
    bool detach = false;    // own session and a kernel timer instead of a group
    const char* output = nullptr;
    const char* output2 = nullptr;
    unsigned char mode = 0;
    const sigset_t* mask = nullptr;  // the child's signal mask, when given
};

const char* errno_text(int err) {
#if defined(__GLIBC__) && (__GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 32))
    // Untranslated and allocation-free: safe in a vfork child.
    const char* text = strerrordesc_np(err);
    return text ? text : "Unknown error";
#else
    return strerror(err);
#endif
}

[[noreturn]] void child_fail_open(const char* name, int err) {
    for (const char* part : {"can not open ", name, " ", errno_text(err), "\n"}) {
        ssize_t ignored = write(STDOUT_FILENO, part, strlen(part));
        (void)ignored;
    }
    _exit(127);
}

int child_open(const char* path, unsigned char mode) {
    bool append = mode & 2;
    if (!append) unlink(path);
    return open(path, O_WRONLY | O_CREAT | (append ? O_APPEND : O_TRUNC), 0666);
}

void child_files(const ChildSetup& s) {
    if (s.output) {
        int fd = child_open(s.output, s.mode);
        if (fd < 0) child_fail_open(s.output, errno);
        dup2(fd, STDOUT_FILENO);
        if (s.mode & 1) dup2(fd, STDERR_FILENO);
        if (fd > STDERR_FILENO) close(fd);
    }
    if (s.output2) {
        int fd = child_open(s.output2, s.mode);
        if (fd < 0) child_fail_open(s.output, errno);  // names output, as the firmware's does
        if (s.mode & 3) dup2(fd, STDERR_FILENO);
        if (fd > STDERR_FILENO) close(fd);
    }
}

[[noreturn]] void child_main(const ChildSetup& s) {
    signal(SIGQUIT, SIG_DFL);
    signal(SIGINT, SIG_DFL);
    signal(SIGCHLD, SIG_DFL);
    if (s.mask) sigprocmask(SIG_SETMASK, s.mask, nullptr);
    if (s.detach) {
        setsid();
        alarm(DC_DETACHED_LIMIT_S);  // kept across execve: the kernel ends it
    } else {
        setpgid(0, 0);
    }
    int null_fd = open("/dev/null", O_RDWR);
    if (null_fd >= 0) dup2(null_fd, STDIN_FILENO);
    if (s.quiet && null_fd >= 0) {
        dup2(null_fd, STDOUT_FILENO);
        dup2(null_fd, STDERR_FILENO);
    }
    if (s.pipe_write >= 0) {
        bool out = s.capture != Capture::Stderr, err = s.capture != Capture::Stdout;
        // What only a terminal would have seen goes nowhere.
        if (out || null_fd >= 0) dup2(out ? s.pipe_write : null_fd, STDOUT_FILENO);
        if (err) dup2(s.pipe_write, STDERR_FILENO);
    }
    if (null_fd > STDERR_FILENO) close(null_fd);
    child_files(s);
    execve(s.path, s.argv, s.envp);
    _exit(127);
}

pid_t spawn(const ChildSetup& s) {
    // Buffered output would otherwise be written twice or lost around the child.
    fflush(stdout);
    fflush(stderr);
    // The parent sleeps until the child has execed or exited, so the child
    // is in its own group before the parent can signal it.
    pid_t pid = vfork();
    if (pid == 0) child_main(s);
    return pid;
}

bool has_exited(pid_t pid) {
    siginfo_t si{};
    return waitid(P_PID, static_cast<id_t>(pid), &si, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           si.si_pid == pid;
}

// Reaps the child once it has ended; its group goes with it, so nothing it
// left behind lives on. The leader is still a zombie while the group is
// signalled, so its number cannot have been reused.
int reap(const ChildSignals& sig, pid_t pid) {
    kill(-pid, SIGKILL);
    int status = -1;
    for (long end = now_ms() + kReapMs;;) {
        pid_t got = waitpid(pid, &status, WNOHANG);
        if (got == pid) return status;
        if (got < 0 && errno != EINTR) return -1;
        long left = end - now_ms();
        if (left <= 0) return -1;  // stuck in the kernel: left to init
        wait_event(sig, left);
    }
}

// SIGTERM to the group, a short grace, then SIGKILL; always reaped.
int stop(const ChildSignals& sig, pid_t pid) {
    kill(-pid, SIGTERM);
    for (long end = now_ms() + kGraceMs; !has_exited(pid);) {
        long left = end - now_ms();
        if (left <= 0) break;
        wait_event(sig, left);
    }
    return reap(sig, pid);
}

// Appends what fd has now, up to max_bytes in all; false at its end.
bool read_some(int fd, std::string& out, size_t max_bytes, bool& cut) {
    char buf[4096];
    for (;;) {
        ssize_t n = read(fd, buf, sizeof buf);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return errno == EAGAIN;
        if (n == 0) return false;
        size_t room = max_bytes - std::min(max_bytes, out.size());
        out.append(buf, std::min(room, static_cast<size_t>(n)));
        if (static_cast<size_t>(n) > room) {
            cut = true;
            return false;
        }
    }
}

// Reads the child's output until it ends, prints too much or its deadline.
void supervise(const ChildSignals& sig, pid_t pid, int fd, size_t max_bytes, long deadline,
               RunResult& r) {
    if (fd >= 0) fcntl(fd, F_SETFL, O_NONBLOCK);
    bool open_pipe = fd >= 0;
    for (;;) {
        if (open_pipe && !read_some(fd, r.out, max_bytes, r.cut)) open_pipe = false;
        if (r.cut) break;
        if (has_exited(pid)) {
            // A background child of the tool may hold the pipe: take what is there.
            if (open_pipe) read_some(fd, r.out, max_bytes, r.cut);
            r.status = reap(sig, pid);
            return;
        }
        long left = deadline - now_ms();
        if (left <= 0) {
            r.timed_out = true;
            break;
        }
        // The pipe is drained on a slow beat, not at every write: a tool that
        // prints line by line would otherwise wake the collector per line.
        wait_event(sig, open_pipe ? std::min(left, kDrainMs) : left);
    }
    r.status = stop(sig, pid);
}

bool was_stopped(const std::string& path) {
    return std::find(g_stopped.begin(), g_stopped.end(), path) != g_stopped.end();
}

// A deadline for the next child, or -1 when the run's budget is spent.
long child_deadline(int timeout_ms, long start) {
    long allowed = std::min<long>(timeout_ms, g_budget_ms);
    return allowed <= 0 ? -1 : start + allowed;
}

void charge(const std::string& path, long start, bool timed_out) {
    g_budget_ms -= now_ms() - start;
    if (timed_out) g_stopped.push_back(path);
}

struct CStrings {
    std::vector<std::string> keep;
    std::vector<char*> ptrs;
    char* const* get() {
        ptrs.clear();
        for (auto& s : keep) ptrs.push_back(s.data());
        ptrs.push_back(nullptr);
        return ptrs.data();
    }
};

std::string question_of(const RunRequest& req) {
    std::string key = std::to_string(req.max_bytes) + '\0' +
                      std::to_string(static_cast<int>(req.capture));
    for (const auto* list : {&req.argv, &req.env})
        for (const std::string& s : *list) key += '\0' + s + '\x01';
    return key;
}

// The collector's environment with the request's entries put in.
CStrings environment(const std::vector<std::string>& extra) {
    CStrings env;
    for (char** e = environ; e && *e; ++e) {
        std::string entry = *e;
        std::string name = entry.substr(0, entry.find('='));
        bool replaced = std::any_of(extra.begin(), extra.end(), [&](const std::string& x) {
            return x.compare(0, name.size() + 1, name + "=") == 0;
        });
        if (!replaced) env.keep.push_back(entry);
    }
    env.keep.insert(env.keep.end(), extra.begin(), extra.end());
    return env;
}

RunResult run_tool(const RunRequest& req) {
    RunResult r;
    if (req.argv.empty()) return r;
    std::string path = resolve(req.argv[0]);
    if (path.empty()) {
        r.status = 127 << 8;  // as the shell reports a command it cannot find
        return r;
    }
    long start = now_ms();
    long deadline = child_deadline(req.timeout_ms, start);
    if (was_stopped(path) || deadline < 0) {
        r.timed_out = true;
        return r;
    }
    CStrings argv;
    argv.keep = req.argv;
    CStrings env;
    if (!req.env.empty()) env = environment(req.env);
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) return r;
    if (req.max_bytes > 64 * 1024) fcntl(fds[0], F_SETPIPE_SZ, kPipeBytes);  // as the system allows

    ChildSignals signals;
    ChildSetup s;
    s.path = path.c_str();
    s.argv = argv.get();
    s.envp = req.env.empty() ? environ : env.get();
    s.pipe_write = fds[1];
    s.capture = req.capture;
    s.mask = &signals.caller_mask;
    pid_t pid = spawn(s);
    close(fds[1]);
    if (pid > 0) {
        r.started = true;
        supervise(signals, pid, fds[0], req.max_bytes, deadline, r);
        charge(path, start, r.timed_out);
    }
    close(fds[0]);
    if (r.timed_out) r.out.clear();
    return r;
}

}  // namespace

RunResult run_program(const RunRequest& req) {
    if (!req.reuse) return run_tool(req);
    std::string question = question_of(req);
    auto kept = g_answers.find(question);
    if (kept != g_answers.end()) return kept->second;
    RunResult r = run_tool(req);
    if (r.finished() && !r.cut && r.out.size() <= kKeptAnswerBytes) g_answers.emplace(question, r);
    return r;
}

std::string program_output(std::vector<std::string> argv, size_t max_bytes) {
    RunRequest req;
    req.argv = std::move(argv);
    req.max_bytes = max_bytes;
    return run_program(req).out;
}

std::string program_answer(std::vector<std::string> argv, size_t max_bytes) {
    RunRequest req(std::move(argv), max_bytes);
    req.reuse = true;
    return run_program(req).out;
}

RunResult run_to_file(const RunRequest& req, const char* file) {
    RunResult r = run_program(req);
    if (!file) return r;
    if (r.timed_out)
        unlink(file);
    else
        file_update::replace_keep_mode(file, r.out);
    return r;
}

void run_detached(const std::vector<std::string>& args) {
    if (args.empty()) return;
    std::string path = resolve(args[0]);
    if (path.empty()) return;
    CStrings argv;
    argv.keep = args;
    CStrings env = environment({});
    ChildSetup s;
    s.path = path.c_str();
    s.argv = argv.get();
    s.envp = env.get();
    s.quiet = true;
    s.detach = true;
    spawn(s);  // reaped by init once this process has ended
}

int run_with_files(const char* path, char* const* argv, const char* output, const char* output2,
                   unsigned char mode) {
    long start = now_ms();
    long deadline = child_deadline(DC_CHILD_TIMEOUT_MS, start);
    if (!path || was_stopped(path) || deadline < 0) return -1;
    ChildSignals signals;
    ChildSetup s;
    s.path = path;
    s.argv = argv;
    s.envp = environ;
    s.output = output;
    s.output2 = output2;
    s.mode = mode;
    s.mask = &signals.caller_mask;
    pid_t pid = spawn(s);
    if (pid <= 0) return -1;
    RunResult r;
    supervise(signals, pid, -1, 0, deadline, r);
    charge(path, start, r.timed_out);
    return r.timed_out ? -1 : r.status;
}

RunLock::RunLock(const std::string& lock_path)
    : start_(now_ms()),
      lock_(lock_path, std::min<long>(DC_CHILD_TIMEOUT_MS, std::max(g_budget_ms, 0L))) {
    g_budget_ms -= now_ms() - start_;
}

void runner_forget_stopped() {
    g_stopped.clear();
    g_answers.clear();
    g_budget_ms = DC_RUN_CHILD_BUDGET_MS;
}
