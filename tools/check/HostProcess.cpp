#include <check/HostProcess.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <map>
#include <set>
#include <sstream>

#include <dirent.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <shared/PeerProcess.h>
#include <shared/Waiting.h>

namespace applistctl {

namespace {

constexpr int SAMPLES = 6;
constexpr double BETWEEN_SAMPLES_S = 0.1;
constexpr std::size_t MOST_POLLED = 1024;
constexpr double LONGEST_CALL_S = 25; ///< the limit of a call without a limit of its own
constexpr double SHORTEST_CALL_S = 20;

std::string PathOf(guint32 pid, const std::string& file) {
    return "/proc/" + std::to_string(pid) + "/" + file;
}

// Empty if the process ends during the call. A stream buffer would throw an exception then.
std::string ReadFile(const std::string& path) {
    g_autofree gchar* text = nullptr;
    gsize size = 0;
    return g_file_get_contents(path.c_str(), &text, &size, nullptr) != FALSE
               ? std::string(text, size)
               : "";
}

std::vector<std::string> ListFolder(const std::string& path) {
    std::vector<std::string> names;
    DIR* const folder = opendir(path.c_str());
    if (folder == nullptr) {
        return names;
    }
    while (const dirent* const entry = readdir(folder)) {
        if (entry->d_name[0] != '.') {
            names.emplace_back(entry->d_name);
        }
    }
    closedir(folder);
    return names;
}

std::string LinkOf(const std::string& path) {
    char target[4096];
    const ssize_t size = readlink(path.c_str(), target, sizeof(target));
    return size > 0 ? std::string(target, static_cast<std::size_t>(size)) : "";
}

// A main context has an eventfd, whose count stays above zero until the context is iterated.
std::uint64_t WakeUpCount(guint32 pid, const std::string& descriptor) {
    std::istringstream info(ReadFile(PathOf(pid, "fdinfo/" + descriptor)));
    std::string word;
    std::uint64_t count = 0;
    while (info >> word) {
        if (word == "eventfd-count:") {
            info >> std::hex >> count;
        }
    }
    return count;
}

std::set<int> Eventfds(guint32 pid) {
    std::set<int> descriptors;
    for (const std::string& descriptor : ListFolder(PathOf(pid, "fd"))) {
        if (LinkOf(PathOf(pid, "fd/" + descriptor)) == "anon_inode:[eventfd]") {
            descriptors.insert(std::atoi(descriptor.c_str()));
        }
    }
    return descriptors;
}

// GLib's own threads iterate contexts of their own.
bool IsOfGLib(const std::string& thread) {
    return thread == "gdbus" || thread == "gmain" || thread == "dconf worker" ||
           thread.rfind("pool-", 0) == 0;
}

bool IsPoll(long number) {
#ifdef SYS_poll
    if (number == SYS_poll) {
        return true;
    }
#endif
#ifdef SYS_ppoll
    return number == SYS_ppoll;
#else
    return false;
#endif
}

// An address of the other process.
bool ReadMemory(guint32 pid, std::uint64_t address, void* target, std::size_t size) {
    const iovec here = {target, size};
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    const iovec there = {reinterpret_cast<void*>(static_cast<std::uintptr_t>(address)), size};
    return process_vm_readv(static_cast<pid_t>(pid), &here, 1, &there, 1, 0) ==
           static_cast<ssize_t>(size);
}

// The time limit of a poll(), from its third argument: the time, or the address of the time.
double PollLimit(guint32 pid, long number, std::uint64_t argument) {
#ifdef SYS_poll
    if (number == SYS_poll) {
        return static_cast<std::int32_t>(argument) / 1e3;
    }
#endif
    timespec time = {};
    const bool isRead = argument != 0 && ReadMemory(pid, argument, &time, sizeof(time));
    return isRead ? static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9 : -1;
}

// A thread in poll().
struct Poll {
    std::vector<int> descriptors; ///< none when the thread does something else
    double limit = -1;            ///< in seconds; negative for none
};

Poll PolledBy(guint32 pid, const std::string& thread) {
    std::istringstream line(ReadFile(PathOf(pid, "task/" + thread + "/syscall")));
    long number = -1;
    std::uint64_t address = 0;
    std::uint64_t count = 0;
    std::uint64_t limit = 0;
    line >> number >> std::hex >> address >> count >> limit;
    Poll poll;
    if (!line || !IsPoll(number) || count == 0 || count > MOST_POLLED) {
        return poll;
    }
    std::vector<pollfd> polled(count);
    if (ReadMemory(pid, address, polled.data(), polled.size() * sizeof(pollfd))) {
        for (const pollfd& one : polled) {
            poll.descriptors.push_back(one.fd);
        }
        poll.limit = PollLimit(pid, number, limit);
    }
    return poll;
}

// A synchronous call of GDBus iterates a context of its own: one eventfd, for 25 s at most.
bool IsInCall(const Poll& poll, const std::set<int>& eventfds) {
    return poll.descriptors.size() == 1 && eventfds.count(poll.descriptors.front()) != 0 &&
           poll.limit > SHORTEST_CALL_S && poll.limit <= LONGEST_CALL_S;
}

bool MayRead(guint32 pid) {
    return !ReadFile(PathOf(pid, "syscall")).empty() && !ListFolder(PathOf(pid, "fd")).empty();
}

// The wake-ups of each descriptor with pending ones.
using WakeUps = std::map<int, std::uint64_t>;

// One sample of the descriptors: the pending wake-ups, and whether a thread polls a descriptor.
struct Sample {
    WakeUps pending;
    bool isLoopRun = false;
    bool isInCall = false;
};

Sample SampleOf(guint32 pid) {
    Sample sample;
    const std::set<int> eventfds = Eventfds(pid);
    for (const int descriptor : eventfds) {
        const std::uint64_t count = WakeUpCount(pid, std::to_string(descriptor));
        if (count != 0) {
            sample.pending[descriptor] = count;
        }
    }
    for (const std::string& thread : ListFolder(PathOf(pid, "task"))) {
        std::string name = ReadFile(PathOf(pid, "task/" + thread + "/comm"));
        name = name.substr(0, name.find('\n'));
        if (IsOfGLib(name)) {
            continue;
        }
        const Poll poll = PolledBy(pid, thread);
        sample.isInCall = sample.isInCall || IsInCall(poll, eventfds);
        sample.isLoopRun =
            sample.isLoopRun ||
            std::any_of(poll.descriptors.begin(), poll.descriptors.end(),
                        [&](int descriptor) { return eventfds.count(descriptor) != 0; });
    }
    return sample;
}

std::string BusAddressOf(const std::string& environment) {
    const std::string variable = std::string("DBUS_SYSTEM_BUS_ADDRESS=");
    std::size_t begin = environment.rfind(variable, 0) == 0 ? 0 : std::string::npos;
    if (begin == std::string::npos) {
        begin = environment.find(std::string(1, '\0') + variable);
        begin = begin == std::string::npos ? begin : begin + 1;
    }
    if (begin == std::string::npos) {
        return "";
    }
    const std::size_t value = begin + variable.size();
    const std::string address = environment.substr(value, environment.find('\0', value) - value);
    return address.substr(0, address.find(',')); // without the bus's identifier
}

bool HasLibrary(guint32 pid) {
    return ReadFile(PathOf(pid, "maps")).find("/libapplist.so") != std::string::npos;
}

bool IsThisProgram(guint32 pid) {
    return LinkOf(PathOf(pid, "exe")) == LinkOf("/proc/self/exe");
}

// The letter of proc(5): 0 when it cannot be read.
char StateOf(guint32 pid) {
    const std::string text = ReadFile(PathOf(pid, "stat"));
    const std::size_t end = text.rfind(')'); // a command may have any characters
    return end != std::string::npos && end + 2 < text.size() ? text[end + 2] : '\0';
}

} // namespace

HostProcess::State HostProcess::FindState(guint32 pid) {
    const char state = pid != 0 ? StateOf(pid) : '\0';
    return state == '\0'                  ? State::Unknown
           : state == 'T' || state == 't' ? State::Stopped
                                          : State::Running;
}

HostProcess::Loop HostProcess::FindLoop(guint32 pid, const std::function<void()>& sendMessage) {
    if (pid == 0 || !MayRead(pid)) {
        return Loop::Unreadable;
    }
    Sample sample = SampleOf(pid);
    WakeUps pending = sample.pending;
    sendMessage();
    int runs = sample.isLoopRun ? 1 : 0;
    bool isInCall = sample.isInCall;
    for (int i = 1; i < SAMPLES; ++i) {
        WaitFor(BETWEEN_SAMPLES_S);
        sample = SampleOf(pid);
        runs += sample.isLoopRun ? 1 : 0;
        isInCall = isInCall && sample.isInCall;
        for (auto one = pending.begin(); one != pending.end();) {
            one = sample.pending.count(one->first) != 0 ? std::next(one) : pending.erase(one);
        }
    }
    if (isInCall) {
        return Loop::InCall;
    }
    // Each message adds a wake-up to a context with an owner. In older versions of GLib, a context
    // without an owner has the one wake-up of its creation.
    if (std::any_of(pending.begin(), pending.end(), [&](const WakeUps::value_type& one) {
            return sample.pending[one.first] > one.second;
        })) {
        return Loop::Stalled;
    }
    return runs > 0 ? Loop::Another : Loop::None;
}

bool HostProcess::IsHost(guint32 pid) {
    return pid != 0 && HasLibrary(pid) && (!IsThisProgram(pid) || VerbOf(pid) == "host");
}

guint32 HostProcess::ParentOf(guint32 pid) {
    const std::string text = ReadFile(PathOf(pid, "stat"));
    const std::size_t end = text.rfind(')');
    std::istringstream fields(end != std::string::npos ? text.substr(end + 1) : "");
    char state = '\0';
    guint32 parent = 0;
    fields >> state >> parent;
    return parent;
}

std::vector<guint32> HostProcess::WithLibrary() {
    std::vector<guint32> found;
    const char* const variable = g_getenv("DBUS_SYSTEM_BUS_ADDRESS");
    const std::string given = variable != nullptr ? variable : "";
    const std::string address = given.substr(0, given.find(','));
    for (const std::string& entry : ListFolder("/proc")) {
        const auto pid = static_cast<guint32>(std::strtoul(entry.c_str(), nullptr, 10));
        if (pid == 0 || IsThisProgram(pid) || !HasLibrary(pid)) {
            continue;
        }
        if (BusAddressOf(ReadFile(PathOf(pid, "environ"))) == address) {
            found.push_back(pid);
        }
    }
    return found;
}

} // namespace applistctl
