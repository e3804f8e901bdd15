#include "DisturbedPartner.h"

#include <vector>

#include "Hex.h"
#include "Records.h"

inline namespace applist_test {

DisturbedPartner::DisturbedPartner(std::mt19937_64& random) : m_random(random) {
    Start();
}

void DisturbedPartner::Start() {
    m_process.reset();
    m_process = std::make_unique<PartnerProcess>(std::vector<std::string>{"--created"});
}

void DisturbedPartner::Select(std::size_t count) {
    if (!m_isStopped) {
        ++m_done["partner selects"];
        m_process->Ask("choose " + std::to_string(m_random() % count));
    }
}

void DisturbedPartner::Notify(int event) {
    if (!m_isStopped) {
        ++m_done["partner notifies"];
        m_process->Ask("notify " + Hex::Of(Records::Frame("", event)));
    }
}

void DisturbedPartner::Disturb() {
    if (m_isStopped) {
        Continue();
    } else if (m_random() % 3 == 0) {
        ++m_done["partner replaced"];
        m_process->Kill();
        Start();
    } else {
        ++m_done["partner stopped"];
        m_process->Stop();
        m_isStopped = true;
    }
}

void DisturbedPartner::Continue() {
    if (m_isStopped) {
        m_process->Continue();
        m_isStopped = false;
    }
}

} // namespace applist_test
