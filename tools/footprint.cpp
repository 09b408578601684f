// dc_footprint: runs one command under ptrace and reports what it cost.
//
//   dc_footprint [--own] OUTFILE COMMAND [ARGS...]
//
// Writes one line of "name=value" fields to OUTFILE (the command's own output
// is left alone):
//   status       exit status of the command (128+N when killed by signal N)
//   wall_us      from the start to the command's exit
//   cpu_us       CPU time of the command's own process
//   child_cpu_us CPU time of every process it started, and theirs
//   rss_kb       the command's peak resident set
//   children     number of processes started below it
//   direct       how many of them the command started itself
//   names        their names in order of start, comma-separated
// Only process events stop the command (fork, exec, exit); CPU times come from
// the scheduler's nanosecond accounting, read as each process exits.
// Each stop at a fork is two context switches the command pays for, about as
// much as the fork itself: with --own only the command's exit stops it, so
// wall_us, cpu_us and rss_kb are what it costs untraced (children and
// child_cpu_us are then 0).
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace {

long long now_us() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return ts.tv_sec * 1000000LL + ts.tv_nsec / 1000;
}

std::string proc_text(pid_t pid, const char* entry) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/" + entry);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    return text;
}

// First field of schedstat: nanoseconds spent on a CPU.
long long cpu_us(pid_t pid) {
    return std::strtoll(proc_text(pid, "schedstat").c_str(), nullptr, 10) / 1000;
}

long long peak_rss_kb(pid_t pid) {
    std::string status = proc_text(pid, "status");
    size_t at = status.find("VmHWM:");
    return at == std::string::npos ? 0 : std::strtoll(status.c_str() + at + 6, nullptr, 10);
}

struct Process {
    int order;
    std::string name;
};

}  // namespace

int main(int argc, char** argv) {
    bool own_only = argc > 1 && strcmp(argv[1], "--own") == 0;
    if (own_only) {
        --argc;
        ++argv;
    }
    if (argc < 3) {
        fprintf(stderr, "usage: dc_footprint [--own] OUTFILE COMMAND [ARGS...]\n");
        return 2;
    }
    long long start = now_us();
    pid_t root = fork();
    if (root < 0) return perror("fork"), 125;
    if (root == 0) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        execvp(argv[2], argv + 2);
        _exit(127);
    }
    int st = 0;
    if (waitpid(root, &st, 0) != root || !WIFSTOPPED(st)) return 125;
    long follow = own_only ? 0 : PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK | PTRACE_O_TRACECLONE;
    ptrace(PTRACE_SETOPTIONS, root, nullptr, follow | PTRACE_O_TRACEEXIT | PTRACE_O_EXITKILL);
    ptrace(PTRACE_CONT, root, nullptr, nullptr);

    long long wall = 0, own = 0, children_cpu = 0, rss = 0;
    int status = 125, started = 0, direct = 0;
    std::map<pid_t, Process> seen;
    for (;;) {
        pid_t pid = waitpid(-1, &st, __WALL);
        if (pid < 0) {
            if (errno == EINTR) continue;
            break;  // ECHILD: everything has exited
        }
        if (WIFEXITED(st) || WIFSIGNALED(st)) {
            if (pid == root) {
                wall = now_us() - start;
                status = WIFEXITED(st) ? WEXITSTATUS(st) : 128 + WTERMSIG(st);
            }
            continue;
        }
        if (!WIFSTOPPED(st)) continue;
        int event = st >> 16, sig = WSTOPSIG(st), deliver = 0;
        if (event == PTRACE_EVENT_EXIT) {
            if (pid == root) {
                own = cpu_us(pid);
                rss = peak_rss_kb(pid);
            } else {
                children_cpu += cpu_us(pid);
                std::string comm = proc_text(pid, "comm");
                if (!comm.empty() && comm.back() == '\n') comm.pop_back();
                seen[pid].name = comm;
            }
        } else if (event == PTRACE_EVENT_FORK || event == PTRACE_EVENT_VFORK ||
                   event == PTRACE_EVENT_CLONE) {
            unsigned long child = 0;
            ptrace(PTRACE_GETEVENTMSG, pid, nullptr, &child);
            seen[static_cast<pid_t>(child)].order = ++started;
            if (pid == root) ++direct;
        } else if (event == 0 && sig != SIGSTOP && sig != SIGTRAP) {
            deliver = sig;  // an ordinary signal: pass it on
        }
        ptrace(PTRACE_CONT, pid, nullptr, reinterpret_cast<void*>(static_cast<long>(deliver)));
    }

    std::vector<std::string> names(static_cast<size_t>(started));
    for (const auto& p : seen)
        if (p.second.order > 0) names[static_cast<size_t>(p.second.order - 1)] = p.second.name;
    std::string joined;
    for (const auto& n : names) joined += (joined.empty() ? "" : ",") + (n.empty() ? "?" : n);
    FILE* out = fopen(argv[1], "w");
    if (!out) return perror(argv[1]), 125;
    fprintf(out,
            "status=%d wall_us=%lld cpu_us=%lld child_cpu_us=%lld rss_kb=%lld children=%d direct=%d "
            "names=%s\n",
            status, wall, own, children_cpu, rss, started, direct, joined.c_str());
    fclose(out);
    return 0;
}
