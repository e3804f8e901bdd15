#include <monitor/FileWatch.h>

#include <csignal>

#include <poll.h>
#include <unistd.h>

#include <monitor/FileCapture.h>
#include <shared/ExitStatus.h>

namespace applistctl {

namespace {

volatile std::sig_atomic_t interrupted = 0;

void OnInterrupt(int /*signal*/) {
    interrupted = 1;
}

// Waits for bytes, for the end of the reader of the output, or for a signal.
bool WaitForBytes(int descriptor, const Output& output) {
    pollfd ends[] = {{descriptor, POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
    while (interrupted == 0 && (poll(ends, 2, -1) < 0 || ends[0].revents == 0)) {
        output.EndWithoutReader();
    }
    return interrupted == 0;
}

// Also ends a read from a pipe: an interrupted read is not started again.
void EndOnSignals() {
    struct sigaction action {};
    action.sa_handler = OnInterrupt;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

} // namespace

int WatchFile(const std::string& file, guint64 count, Analysis& analysis, Reporter& reporter,
              Output& output) {
    FileCapture capture([&output](int descriptor) { return WaitForBytes(descriptor, output); });
    std::string problem;
    EndOnSignals();
    if (!capture.Open(file, problem)) {
        output.Error(problem);
        return EXIT_STATUS_FAILED;
    }
    reporter.Begin("reading the capture " + (file == "-" ? "on standard input" : file));
    int status = EXIT_STATUS_DONE;
    while (interrupted == 0 && (count == 0 || analysis.ReportedCount() < count)) {
        SeenMessage seen{};
        const FileCapture::Result result = capture.Read(seen, problem);
        if (result == FileCapture::Result::Message) {
            analysis.Take(seen);
        } else if (result == FileCapture::Result::Cut) {
            analysis.AddIncomplete(seen.time, problem);
        } else if (result == FileCapture::Result::Unreadable) {
            analysis.AddUnreadable(seen.time, problem);
        } else if (result == FileCapture::Result::Foreign) {
            continue;
        } else if (result == FileCapture::Result::End || interrupted != 0) {
            break;
        } else {
            output.Error("the capture is damaged here: " + problem);
            status = EXIT_STATUS_FAILED;
            break;
        }
    }
    analysis.End();
    return status;
}

} // namespace applistctl
