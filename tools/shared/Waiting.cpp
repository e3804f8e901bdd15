#include <shared/Waiting.h>

#include <cmath>
#include <sstream>

#include <glib.h>

namespace applistctl {

namespace {

constexpr double MAX_SECONDS = 3600;

gboolean SetFlag(void* flag) {
    *static_cast<bool*>(flag) = true;
    return G_SOURCE_REMOVE;
}

} // namespace

bool WaitUntil(const std::function<bool()>& happened, double seconds) {
    bool isOver = false;
    const guint timer =
        g_timeout_add(static_cast<guint>(std::lround(seconds * 1000)), SetFlag, &isOver);
    bool done = happened();
    while (!done && !isOver) {
        g_main_context_iteration(nullptr, TRUE);
        done = happened();
    }
    if (!isOver) {
        g_source_remove(timer);
    }
    return done;
}

void WaitFor(double seconds) {
    WaitUntil([] { return false; }, seconds);
}

bool ParseSeconds(const std::string& text, double& seconds) {
    char* end = nullptr;
    const double value = g_ascii_strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !(value >= 0 && value <= MAX_SECONDS)) {
        return false;
    }
    seconds = value;
    return true;
}

std::string InSeconds(double seconds) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << seconds << " s";
    return text.str();
}

} // namespace applistctl
