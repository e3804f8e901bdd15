#include "GLibLog.h"

#include "Guarded.h"

namespace {

using Caught = Guarded<std::vector<std::string>>; // messages

void RecordMessage(const char* domain, GLogLevelFlags /*level*/, const char* message,
                   void* /*data*/) {
    Caught()->push_back(std::string(domain != nullptr ? domain : "") + ": " + message);
}

} // namespace

GLibLog::GLibLog() : m_before(g_log_set_default_handler(RecordMessage, nullptr)) {
    Caught()->clear();
}

GLibLog::~GLibLog() {
    g_log_set_default_handler(m_before, nullptr);
}

std::vector<std::string> GLibLog::Messages() const {
    return *Caught();
}
