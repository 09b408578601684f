// guest-measure: runs one command inside the emulated ARM router, within a
// bound, and reports what it cost. Built static for the guest, where busybox
// has neither `time -v` nor a `date` with sub-second precision.
//
//   guest-measure BOUND_SECONDS OUTFILE COMMAND [ARGS...]
//
// Writes one line of "name=value" fields to OUTFILE:
//   status        exit status (128+N when killed by signal N; 124 past the bound)
//   timed_out     1 when the bound ended the command
//   wall_us       from the start to the command's exit
//   cpu_us        CPU time of the command's own process
//   child_cpu_us  CPU time of every process it started, with theirs
//   rss_kb        the command's own peak resident set
//   tasks         process ids the kernel handed out while it ran, less its
//                 own: the processes it started, with theirs
//   leftover      processes of the command still alive after it exited (each
//                 is killed, and named in leftover_names)
// Only the command's exit stops it under ptrace (its forks are not traced, so
// they cost what they cost untraced): there its own CPU time and peak RSS are
// still readable. Orphans come back to this process (a child subreaper), so
// whatever the command leaves behind is found, counted and reaped.
#include <signal.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <dirent.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

namespace {

long long now_us() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return ts.tv_sec * 1000000LL + ts.tv_nsec / 1000;
}

std::string read_text(const std::string& path) {
    std::ifstream in(path);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::string proc_text(pid_t pid, const char* entry) {
    return read_text("/proc/" + std::to_string(pid) + "/" + entry);
}

// The fifth field of /proc/loadavg: the last process id the kernel handed out.
long last_pid() {
    std::string text = read_text("/proc/loadavg");
    size_t slash = text.find('/');
    size_t space = slash == std::string::npos ? slash : text.find(' ', slash);
    return space == std::string::npos ? -1 : std::strtol(text.c_str() + space, nullptr, 10);
}

long long usage_us(const rusage& ru) {
    return (ru.ru_utime.tv_sec + ru.ru_stime.tv_sec) * 1000000LL + ru.ru_utime.tv_usec +
           ru.ru_stime.tv_usec;
}

// The parent field of /proc/PID/stat; the name before it may hold spaces.
pid_t parent_of(const std::string& stat) {
    size_t close = stat.rfind(')');
    if (close == std::string::npos || close + 4 >= stat.size()) return -1;
    return static_cast<pid_t>(std::strtol(stat.c_str() + close + 4, nullptr, 10));
}

std::string comm_of(pid_t pid) {
    std::string comm = proc_text(pid, "comm");
    while (!comm.empty() && (comm.back() == '\n' || comm.back() == ' ')) comm.pop_back();
    return comm.empty() ? "?" : comm;
}

// Live children of this process: after the command's exit, only its orphans.
std::set<pid_t> live_children() {
    std::set<pid_t> out;
    DIR* dir = opendir("/proc");
    if (!dir) return out;
    const pid_t self = getpid();
    while (dirent* e = readdir(dir)) {
        char* end = nullptr;
        long pid = std::strtol(e->d_name, &end, 10);
        if (pid <= 0 || *end) continue;
        std::string stat = proc_text(static_cast<pid_t>(pid), "stat");
        size_t close = stat.rfind(')');
        bool zombie = close != std::string::npos && close + 2 < stat.size() && stat[close + 2] == 'Z';
        if (!zombie && parent_of(stat) == self) out.insert(static_cast<pid_t>(pid));
    }
    closedir(dir);
    return out;
}

long long field_kb(const std::string& text, const char* name) {
    size_t at = text.find(name);
    return at == std::string::npos ? 0 : std::strtoll(text.c_str() + at + strlen(name), nullptr, 10);
}

// The kernel moves a process's page counts into its totals in batches (every
// 64 faults, and at exit only after this stop), so VmHWM may still miss the
// latest pages; the page-table walk of smaps_rollup counts them all.
long long peak_rss_kb(pid_t pid) {
    long long hwm = field_kb(proc_text(pid, "status"), "VmHWM:");
    long long now = field_kb(proc_text(pid, "smaps_rollup"), "\nRss:");
    return hwm > now ? hwm : now;
}

struct Result {
    int status = 125;
    bool timed_out = false;
    long long wall = 0, own = 0, total = 0, orphans = 0, rss = 0;
    int leftover = 0;
    std::string leftover_names;
};

// Reaps whatever has exited among this process's children, the command
// included; returns false once the command itself has been reaped.
bool reap(pid_t root, Result& r, long long start) {
    for (;;) {
        int st = 0;
        rusage ru{};
        pid_t pid = wait4(-1, &st, WNOHANG | __WALL, &ru);
        if (pid <= 0) return true;
        if (pid == root && WIFSTOPPED(st)) {
            int sig = WSTOPSIG(st), event = st >> 16, deliver = 0;
            if (event == PTRACE_EVENT_EXIT) {
                // Still a whole process here: its schedstat and memory are readable.
                r.own = std::strtoll(proc_text(pid, "schedstat").c_str(), nullptr, 10) / 1000;
                r.rss = peak_rss_kb(pid);
            } else if (event == 0 && sig != SIGSTOP && sig != SIGTRAP) {
                deliver = sig;
            }
            ptrace(PTRACE_CONT, pid, nullptr, reinterpret_cast<void*>(static_cast<long>(deliver)));
            continue;
        }
        if (!WIFEXITED(st) && !WIFSIGNALED(st)) continue;
        if (pid != root) {
            r.orphans += usage_us(ru);
            continue;
        }
        r.wall = now_us() - start;
        r.total = usage_us(ru);
        if (!r.timed_out) r.status = WIFEXITED(st) ? WEXITSTATUS(st) : 128 + WTERMSIG(st);
        return false;
    }
}

// Kills and reaps what the command left running, repeatedly: a killed
// orphan's own children come back here in turn.
void clean_up(Result& r) {
    std::set<pid_t> seen;
    for (int round = 0; round < 50; ++round) {
        std::set<pid_t> live = live_children();
        if (live.empty()) break;
        for (pid_t pid : live) {
            if (seen.insert(pid).second) {
                ++r.leftover;
                r.leftover_names += (r.leftover_names.empty() ? "" : ",") + comm_of(pid);
            }
            kill(pid, SIGKILL);
        }
        usleep(20000);
        int st = 0;
        rusage ru{};
        while (wait4(-1, &st, WNOHANG | __WALL, &ru) > 0) {}
    }
    int st = 0;
    while (waitpid(-1, &st, WNOHANG | __WALL) > 0) {}
}

Result run(int bound_s, char** argv) {
    Result r;
    sigset_t chld;
    sigemptyset(&chld);
    sigaddset(&chld, SIGCHLD);
    sigprocmask(SIG_BLOCK, &chld, nullptr);
    prctl(PR_SET_CHILD_SUBREAPER, 1);

    long long start = now_us();
    pid_t root = fork();
    if (root < 0) return perror("fork"), r;
    if (root == 0) {
        sigprocmask(SIG_UNBLOCK, &chld, nullptr);
        setpgid(0, 0);
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        execvp(argv[0], argv);
        perror(argv[0]);
        _exit(127);
    }
    int st = 0;
    if (waitpid(root, &st, __WALL) != root || !WIFSTOPPED(st)) return r;
    ptrace(PTRACE_SETOPTIONS, root, nullptr, PTRACE_O_TRACEEXIT | PTRACE_O_EXITKILL);
    ptrace(PTRACE_CONT, root, nullptr, nullptr);

    const long long deadline = start + bound_s * 1000000LL;
    while (reap(root, r, start)) {
        long long left = deadline - now_us();
        if (left <= 0 && !r.timed_out) {
            r.timed_out = true;
            r.status = 124;
            kill(-root, SIGKILL);
            kill(root, SIGKILL);
            left = 1000000;
        }
        timespec wait{static_cast<time_t>(left / 1000000), static_cast<long>(left % 1000000) * 1000};
        sigtimedwait(&chld, nullptr, &wait);
    }
    // The group killed at the deadline is not left over: on a busy machine its
    // members may still be on their way out, so they are given time to go
    // before what lives on is counted.
    for (int i = 0; r.timed_out && i < 100 && kill(-root, 0) == 0; ++i) {
        int st = 0;
        rusage ru{};
        while (wait4(-1, &st, WNOHANG | __WALL, &ru) > 0) r.orphans += usage_us(ru);
        usleep(10000);
    }
    clean_up(r);
    return r;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        fprintf(stderr, "usage: guest-measure BOUND_SECONDS OUTFILE COMMAND [ARGS...]\n");
        return 2;
    }
    int bound = std::atoi(argv[1]);
    long before = last_pid();
    Result r = run(bound > 0 ? bound : 60, argv + 3);
    long after = last_pid();
    // The command's own id is the first one handed out after `before`.
    long tasks = before < 0 || after < before ? -1 : after - before - 1;
    FILE* out = fopen(argv[2], "w");
    if (!out) return perror(argv[2]), 125;
    fprintf(out,
            "status=%d timed_out=%d wall_us=%lld cpu_us=%lld child_cpu_us=%lld rss_kb=%lld "
            "tasks=%ld leftover=%d leftover_names=%s\n",
            r.status, r.timed_out ? 1 : 0, r.wall, r.own, r.total - r.own + r.orphans, r.rss, tasks,
            r.leftover, r.leftover_names.c_str());
    fclose(out);
    return r.status;
}
