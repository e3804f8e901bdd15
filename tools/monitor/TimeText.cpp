#include <monitor/TimeText.h>

#include <cstdio>
#include <ctime>

namespace applistctl {

namespace {

std::string Format(const char* format, const std::tm& fields, Microseconds time) {
    char text[64] = "";
    const std::size_t size = std::strftime(text, sizeof(text), format, &fields);
    std::snprintf(text + size, sizeof(text) - size, ".%06d", static_cast<int>(time % SECOND));
    return text;
}

} // namespace

namespace TimeText {

std::string Span(Microseconds span) {
    char text[64];
    if (span < SECOND) {
        std::snprintf(text, sizeof(text), "%.2f ms", static_cast<double>(span) / 1e3);
    } else {
        std::snprintf(text, sizeof(text), "%.1f s", static_cast<double>(span) / 1e6);
    }
    return text;
}

std::string OfDay(Microseconds time) {
    const auto seconds = static_cast<std::time_t>(time / SECOND);
    std::tm fields{};
    localtime_r(&seconds, &fields);
    return Format("%H:%M:%S", fields, time);
}

std::string Iso(Microseconds time) {
    const auto seconds = static_cast<std::time_t>(time / SECOND);
    std::tm fields{};
    gmtime_r(&seconds, &fields);
    return Format("%Y-%m-%dT%H:%M:%S", fields, time) + "Z";
}

} // namespace TimeText

} // namespace applistctl
