// The duties of an endpoint as a plain table of states: no bus, no threads, no locks. The model
// shares no code with the library.
#pragma once

#include <map>
#include <string>
#include <vector>

inline namespace applist_test {

/** The call of an announcement that fails on the bus. */
enum class BusFault { NONE, REQUEST, RELEASE };

class HandshakeModel {
public:
    /** @return the visible effects since the last call, in order */
    std::vector<std::string> TakeTrace();
    /** The same without the calls of the bus and the resend threads. */
    std::vector<std::string> TakeReports();

    /** The unique name of the endpoint, whose own releases have no effect. */
    void SetOwnName(const std::string& name) { m_ownName = name; }
    void SetFault(BusFault fault) { m_fault = fault; }
    /** NameOwnerChanged of the bus. Only the release of a watched name has an effect. */
    void OnOwnerChange(const std::string& name, const std::string& oldOwner,
                       const std::string& newOwner);
    void OnVanished(const std::string& name);
    void OnResend();

    bool IsReady() const { return m_state == 3; }
    bool IsBound() const { return m_bound; }
    const std::string& Partner() const { return m_partner; }

    /** The whole state as a text. */
    std::string Text() const;

private:
    void OnRelease(const std::string& suffix, const std::string& owner);
    void BindAndAnswer(const std::string& partner, const std::string& answer);
    bool Announce(const std::string& suffix);
    void Announced(const std::string& answer);

    std::string m_ownName;
    int m_state = 1;
    bool m_bound = false;
    std::string m_partner;
    std::map<std::string, std::string> m_owed;
    bool m_threadRuns = false;
    BusFault m_fault = BusFault::NONE;
    std::vector<std::string> m_trace;
};

} // namespace applist_test
