#include <check/CheckProcess.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <set>
#include <sstream>
#include <utility>

#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fcntl.h>

#include <check/Seconds.h>

namespace applistctl {

namespace {

// Splits the bytes of the child into lines, and the lines into messages.
class Messages {
public:
    explicit Messages(const CheckReceiver& receiver) : m_receiver(receiver) {}

    void Add(const char* bytes, std::size_t size) {
        m_unfinished.append(bytes, size);
        for (auto end = m_unfinished.find('\n'); end != std::string::npos;
             end = m_unfinished.find('\n')) {
            Receive(m_unfinished.substr(0, end));
            m_unfinished.erase(0, end + 1);
        }
    }

    const std::set<pid_t>& Groups() const { return m_groups; }

private:
    void Receive(const std::string& line) {
        std::istringstream words(line.substr(1));
        int first = 0;
        int grade = 0;
        std::string text;
        switch (line.front()) {
        case 'F':
            words >> first >> grade;
            std::getline(words.ignore(), text);
            m_receiver.onFinding(first, {static_cast<Grade>(grade), text});
            break;
        case 'G':
            words >> first;
            m_groups.insert(static_cast<pid_t>(first));
            break;
        case 'R':
            m_receiver.onRest(line.substr(1));
            break;
        default:
            m_receiver.onText(line.substr(1));
            break;
        }
    }

    const CheckReceiver& m_receiver;
    std::string m_unfinished;
    std::set<pid_t> m_groups;
};

// Returns without a message when a signal is pending.
// @return false at the end of the child's messages, or of the time
bool ReadSome(int descriptor, const DelayedSignals& signals, Messages& messages, double remaining) {
    pollfd polled[] = {{descriptor, POLLIN, 0}, {signals.Descriptor(), POLLIN, 0}};
    const int timeout = remaining < 0 ? -1 : static_cast<int>(remaining * 1000) + 1;
    const int ready = poll(polled, 2, timeout);
    if (ready < 0) {
        return errno == EINTR;
    }
    if (ready > 0 && polled[0].revents == 0) {
        return true;
    }
    char bytes[4096];
    const ssize_t size = ready > 0 ? read(descriptor, bytes, sizeof bytes) : 0;
    if (size > 0) {
        messages.Add(bytes, static_cast<std::size_t>(size));
    }
    return size > 0 || (ready == 0 && remaining < 0);
}

[[noreturn]] void RunChild(const std::function<int(const CheckChannel&)>& work, int descriptor,
                           const DelayedSignals& signals, pid_t parent) {
    signals.Admit();
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) {
        std::_Exit(1);
    }
    // Returning would run the rest of the parent's program.
    std::exit(work(CheckChannel(descriptor)));
}

} // namespace

void CheckChannel::SendFinding(int index, const Finding& finding) const {
    Send("F" + std::to_string(index) + " " + std::to_string(static_cast<int>(finding.grade)) + " " +
         finding.evidence);
}

void CheckChannel::SendText(const std::string& text) const {
    Send("T" + text);
}

void CheckChannel::SendRest(const std::string& reason) const {
    Send("R" + reason);
}

void CheckChannel::SendGroup(pid_t group) const {
    Send("G" + std::to_string(group));
}

void CheckChannel::Send(const std::string& line) const {
    const std::string bytes = line + "\n";
    for (std::size_t written = 0; written < bytes.size();) {
        const ssize_t size = write(m_descriptor, bytes.data() + written, bytes.size() - written);
        if (size < 0 && errno != EINTR) {
            return; // the parent has ended
        }
        written += size > 0 ? static_cast<std::size_t>(size) : 0;
    }
}

CheckEnd RunCheck(const std::function<int(const CheckChannel&)>& work,
                  const CheckReceiver& receiver, const DelayedSignals& signals, double limit) {
    const auto start = Clock::now();
    CheckEnd end;
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        end.status = 1;
        return end;
    }
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        RunChild(work, ends[1], signals, parent);
    }
    close(ends[1]);
    Messages messages(receiver);
    const auto remaining = [&] { return limit > 0 ? limit - SecondsSince(start) : -1; };
    bool isOpen = true;
    while (isOpen && !signals.IsPending() && (limit <= 0 || remaining() > 0)) {
        isOpen = ReadSome(ends[0], signals, messages, remaining());
        isOpen = isOpen || (limit > 0 && remaining() <= 0); // the time is over, not the messages
    }
    end.isInterrupted = signals.IsPending();
    end.isTimedOut = isOpen && !end.isInterrupted;
    if (isOpen || end.isInterrupted) {
        kill(child, SIGKILL);
        for (const pid_t group : messages.Groups()) {
            kill(-group, SIGTERM);
        }
    }
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    const bool hasEnded = !end.isTimedOut && !end.isInterrupted;
    end.signal = WIFSIGNALED(status) && hasEnded ? WTERMSIG(status) : 0;
    end.status = WIFEXITED(status) ? WEXITSTATUS(status) : 1;
    end.seconds = SecondsSince(start);
    return end;
}

} // namespace applistctl
