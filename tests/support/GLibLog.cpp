#include "GLibLog.h"

#include <mutex>

namespace {

struct Caught {
    std::mutex mutex;
    std::vector<std::string> messages;
};

Caught& TheCaught() {
    static auto* const caught = new Caught();
    return *caught;
}

void Catch(const char* domain, GLogLevelFlags /*level*/, const char* message, void* /*data*/) {
    Caught& caught = TheCaught();
    const std::lock_guard<std::mutex> lock(caught.mutex);
    caught.messages.push_back(std::string(domain != nullptr ? domain : "") + ": " + message);
}

} // namespace

GLibLog::GLibLog() : m_before(g_log_set_default_handler(Catch, nullptr)) {
    Caught& caught = TheCaught();
    const std::lock_guard<std::mutex> lock(caught.mutex);
    caught.messages.clear();
}

GLibLog::~GLibLog() {
    g_log_set_default_handler(m_before, nullptr);
}

std::vector<std::string> GLibLog::Messages() const {
    Caught& caught = TheCaught();
    const std::lock_guard<std::mutex> lock(caught.mutex);
    return caught.messages;
}
