// Replays random walks of the model of both sides with a real endpoint on the bus double.
//
// The input is the output of Spin's simulations of handshake.pml. One endpoint replays each host of
// a walk. The lines of a host come in steps: an event for the host, or a pass of its resend thread,
// and then its actions. The endpoint receives the same event and must act the same: the same calls
// to the bus in the same order, the same reports, the same readiness.
#include <cstdio>
#include <iostream>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <glib.h>

#include <CapturedLog.h>
#include <DoubleHost.h>
#include <LibraryCalls.h>
#include <RecordingEndpoint.h>

namespace {

using Lines = std::vector<std::string>;

bool StartsWith(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

std::string LastWord(const std::string& text) {
    return text.substr(text.rfind(' ') + 1);
}

/** An event of a host, and the effects of the event. */
struct Step {
    std::string event;
    Lines effects;
};

bool IsEvent(const std::string& line) {
    return line == "starts" || StartsWith(line, "receives ") ||
           StartsWith(line, "starts a resend pass");
}

/** Omits the last step, because the walk or the host may have ended during this step. */
std::vector<Step> WholeSteps(const Lines& lines) {
    std::vector<Step> steps;
    for (const std::string& line : lines) {
        if (IsEvent(line)) {
            steps.push_back({line, {}});
        } else if (!steps.empty()) {
            steps.back().effects.push_back(line);
        }
    }
    if (!steps.empty()) {
        steps.pop_back();
    }
    return steps;
}

/** The expected effects of a step, for an observer of the endpoint. */
struct ExpectedEffects {
    Lines trace;
    bool requestRefused = false;
    bool requestUnanswered = false;
    bool releaseUnanswered = false;
};

ExpectedEffects Expect(const Step& step, bool& ready) {
    ExpectedEffects expected;
    const bool ignored = step.effects == Lines{"ignores the message"};
    if (StartsWith(step.event, "receives the end") && !ignored) {
        expected.trace.push_back("lost");
        ready = false;
    }
    for (const std::string& effect : step.effects) {
        const std::string name = LastWord(effect);
        if (StartsWith(effect, "acquires ")) {
            expected.trace.push_back("RequestName " + name);
        } else if (StartsWith(effect, "is refused ")) {
            expected.trace.push_back("RequestName " + name);
            expected.requestRefused = true;
        } else if (StartsWith(effect, "releases ")) {
            expected.trace.push_back("ReleaseName " + name);
            ready = ready && name != "_CLIENT_SYN_ACK";
        } else if (StartsWith(effect, "has no reply to RequestName")) {
            if (expected.trace.empty() || expected.trace.back() != "RequestName " + name) {
                expected.trace.push_back("RequestName " + name);
            }
            expected.trace.push_back("ReleaseName " + name);
            expected.requestUnanswered = true;
        } else if (StartsWith(effect, "has no reply to ReleaseName")) {
            expected.trace.push_back("ReleaseName " + name);
            expected.releaseUnanswered = true;
        } else if (effect == "is ready") {
            expected.trace.push_back("ready");
            ready = true;
        }
    }
    return expected;
}

std::string Text(const Lines& trace, bool ready) {
    std::string text;
    for (const std::string& entry : trace) {
        text += entry + "; ";
    }
    return text + (ready ? "ready" : "not ready");
}

class Replay {
public:
    Replay() {
        m_host.StartTrace();
        LibraryCalls::HoldResendThread();
    }

    /** @return the first difference, or nothing. */
    std::string Run(const std::string& walk, const std::vector<Step>& steps) {
        m_walk = walk;
        bool ready = false;
        std::string difference;
        for (std::size_t i = 0; i < steps.size() && difference.empty(); ++i) {
            const ExpectedEffects expected = Expect(steps[i], ready);
            SetFaults(expected);
            if (!Apply(steps[i].event)) {
                difference = "no resend thread runs";
            } else {
                const Lines seen = m_host.TakeTrace();
                const bool isReady = m_endpoint->IsConnectionReady();
                if (seen != expected.trace || isReady != ready) {
                    difference = "model: " + Text(expected.trace, ready) +
                                 "\n  code:  " + Text(seen, isReady);
                }
            }
            if (!difference.empty()) {
                difference = "walk " + walk + ", step " + std::to_string(i + 1) + ", " +
                             steps[i].event + "\n  " + difference;
            }
            ++m_steps;
        }
        End();
        return difference;
    }

    long Steps() const { return m_steps; }

private:
    void SetFaults(const ExpectedEffects& expected) {
        BusDouble& bus = m_host.Bus();
        bus.ForgetScripts();
        if (expected.requestRefused) {
            bus.Script("RequestName", BusDouble::Reply::Code(3));
        }
        if (expected.requestUnanswered) {
            // GDBus refuses a reply of another type. For the endpoint, this error is equal to
            // a time-out: the bus has not sent it.
            bus.Script("RequestName", BusDouble::Reply::Body(g_variant_new("(s)", "")));
        }
        if (expected.releaseUnanswered) {
            bus.Script("ReleaseName", BusDouble::Reply::Body(g_variant_new("(s)", "")));
        }
    }

    /** @return false when the endpoint cannot perform the step. */
    bool Apply(const std::string& event) {
        if (event == "starts") {
            RecordingEndpoint::Actions actions;
            actions.onReady = [this](bool ready, const std::string&) {
                m_host.AddToTrace(ready ? "ready" : "lost");
            };
            m_endpoint.emplace(actions);
        } else if (StartsWith(event, "starts a resend pass")) {
            if (!LibraryCalls::ResendThreadRuns()) {
                return false;
            }
            LibraryCalls::StepResendThread();
        } else if (StartsWith(event, "receives the end")) {
            m_host.Bus().Vanish(Partner(event));
        } else {
            // "receives _SERVICE_SYN of partner 1"
            const std::string name = event.substr(9, event.find(" of ") - 9);
            const std::string suffix = name.substr(std::string("_SERVICE").size());
            m_host.EmitAnnouncement(suffix, Partner(event));
        }
        // The second delivery is for effects of the first one, such as the reply to a name watch,
        // and for a ReleaseName without a waiting caller.
        return m_host.Deliver() && m_host.Deliver();
    }

    std::string Partner(const std::string& event) const {
        return ":2.Walk" + m_walk + "P" + LastWord(event);
    }

    void End() {
        LibraryCalls::ReleaseResendThread();
        m_endpoint.reset();
        MainLoop::IterateUntilIdle();
        CapturedLog::Clear();
    }

    DoubleHost m_host;
    std::optional<RecordingEndpoint> m_endpoint;
    std::string m_walk;
    long m_steps = 0;
};

class Replays {
public:
    // Each endpoint has a bus and a connection of its own, as each process of a walk has. An
    // endpoint leaves subscriptions behind, which would reach the next one at its address.
    void Add(const std::string& walk, const std::map<std::string, Lines>& hosts) {
        m_walks += hosts.empty() ? 0 : 1;
        for (const auto& [host, lines] : hosts) {
            Replay replay;
            const std::string difference = replay.Run(walk + "h" + host, WholeSteps(lines));
            m_steps += replay.Steps();
            if (!difference.empty()) {
                std::cerr << difference << "\n";
                ++m_differences;
            }
        }
    }

    /** @return the exit status. */
    int Finish() const {
        std::printf("walks %d, steps %ld, differences %d\n", m_walks, m_steps, m_differences);
        return m_differences == 0 && m_steps > 0 ? 0 : 1;
    }

private:
    int m_walks = 0;
    long m_steps = 0;
    int m_differences = 0;
};

} // namespace

// Reads "walk N", then the lines of that walk, and so on.
int main() {
    // GLib warns of three invalid ids at the end of each endpoint.
    g_log_set_handler(
        "GLib-GIO", G_LOG_LEVEL_WARNING, [](const char*, GLogLevelFlags, const char*, void*) {},
        nullptr);
    Replays replays;
    std::string walk;
    std::map<std::string, Lines> hosts;
    std::string line;
    while (std::getline(std::cin, line)) {
        std::istringstream words(line);
        std::string actor;
        std::string number;
        words >> actor >> number >> std::ws;
        if (actor == "walk") {
            if (!walk.empty()) {
                replays.Add(walk, hosts);
            }
            walk = number;
            hosts.clear();
        } else if (actor == "host") {
            std::string rest;
            std::getline(words, rest);
            hosts[number].push_back(rest);
        }
    }
    if (!walk.empty()) {
        replays.Add(walk, hosts);
    }
    return replays.Finish();
}
