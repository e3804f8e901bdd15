#include "HandshakeModel.h"

#include <algorithm>
#include <utility>

#include <gio/gio.h>

std::vector<std::string> HandshakeModel::TakeTrace() {
    return std::exchange(m_trace, {});
}

std::vector<std::string> HandshakeModel::TakeReports() {
    std::vector<std::string> reports = TakeTrace();
    const auto isNoReport = [](const std::string& entry) {
        return entry.compare(0, 6, "ready ") != 0 && entry.compare(0, 5, "lost ") != 0;
    };
    reports.erase(std::remove_if(reports.begin(), reports.end(), isNoReport), reports.end());
    return reports;
}

void HandshakeModel::OnOwnerChange(const std::string& name, const std::string& oldOwner,
                                   const std::string& newOwner) {
    for (const std::string suffix : {"_SYN", "_SYN_ACK", "_ACK"}) {
        const bool mayBind = suffix == "_ACK" || g_dbus_is_name(oldOwner.c_str()) != FALSE;
        if (name == "org.morva.JavaMW.Applist_SERVICE" + suffix && newOwner.empty() &&
            oldOwner != m_ownName && mayBind) {
            OnRelease(suffix, oldOwner);
        }
    }
}

void HandshakeModel::OnRelease(const std::string& suffix, const std::string& owner) {
    if (suffix == "_ACK") {
        if (m_bound) {
            m_state = 3;
            m_trace.push_back("ready " + owner);
        }
    } else if (!m_bound) {
        BindAndAnswer(owner, suffix == "_SYN" ? "_SYN_ACK" : "_ACK");
    }
}

void HandshakeModel::BindAndAnswer(const std::string& partner, const std::string& answer) {
    m_bound = true;
    m_partner = partner;
    if (Announce(answer)) {
        Announced(answer);
        return;
    }
    m_owed[partner] = answer;
    if (!m_threadRuns) {
        m_threadRuns = true;
        m_trace.push_back("thread");
    }
}

void HandshakeModel::Announced(const std::string& answer) {
    if (answer == "_ACK") {
        m_state = 3;
        m_trace.push_back("ready " + m_partner);
    } else {
        m_state = 2;
    }
}

bool HandshakeModel::Announce(const std::string& suffix) {
    m_trace.push_back("RequestName _CLIENT" + suffix);
    if (m_fault == BusFault::REQUEST) {
        return false;
    }
    m_trace.push_back("ReleaseName _CLIENT" + suffix);
    return m_fault == BusFault::NONE;
}

void HandshakeModel::OnVanished(const std::string& name) {
    if (name != m_partner) {
        return;
    }
    m_trace.push_back("lost " + name);
    m_partner.clear();
    m_bound = false;
    m_state = 0;
}

void HandshakeModel::OnResend() {
    std::map<std::string, std::string> stillOwed;
    for (const auto& [partner, answer] : m_owed) {
        if (partner != m_partner) {
            continue;
        }
        if (Announce(answer)) {
            Announced(answer);
        } else {
            stillOwed[partner] = answer;
        }
    }
    m_owed = stillOwed;
    m_threadRuns = m_threadRuns && !m_owed.empty();
}

std::string HandshakeModel::Text() const {
    std::string text = std::to_string(m_state) + (m_bound ? " bound " : " free ") + m_partner;
    for (const auto& [partner, answer] : m_owed) {
        text += " owes " + partner + answer;
    }
    return text + (m_threadRuns ? " thread" : "") + " fault " +
           std::to_string(static_cast<int>(m_fault));
}
