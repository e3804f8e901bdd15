// Deliberate errors of the partner, for tests of a host against a partner with errors.
#ifndef APPLIST_TOOLS_FAULTS_H
#define APPLIST_TOOLS_FAULTS_H

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace applistctl {

enum class Fault {
    // In the handshake
    NoSyn,
    NoSynAck,
    NoAck,
    NoCrossedAck,
    OnTaking,
    AnyHost,
    KeepHost,
    // Against the duties that repair half-open pairs (ServiceHandshake)
    NoRepeatFree,
    NoRepeatUnasked,
    NoRepeatRefused,
    ForgetOthers,
    NoBindOnAck,
    StrictMirror, ///< all five
    // On the object and in notifications
    NoObject,
    NoCreated,
    Broadcast,
    WrongId,
    // In replies, to all requests or to those with one id
    Delay,
    WrongType,
    Error,
    Silence,
    WithId,
    Cut,
    AskBack,
    Ignore,
    // On the bus
    Vanish
};

class Faults {
public:
    /**
     * Sets the fault that the arguments of the command "fault" name.
     * @return the error in the arguments, or nothing
     */
    std::string Set(const std::vector<std::string>& words);

    /** The faults as a text, one per line. */
    static std::string Describe();

    bool Has(Fault fault) const { return m_plain.count(fault) != 0; }
    bool Has(Fault fault, std::int32_t request) const;

    /** Whether a fault alters or suppresses the reply to @p request. */
    bool ChangesReply(std::int32_t request) const;

    double Delay() const { return m_delay; }

    /** Counts a request. @return whether the partner leaves the bus instead of a reply */
    bool VanishesNow();

private:
    std::set<Fault> m_plain;
    std::map<Fault, std::set<std::int32_t>> m_ofReplies; ///< an empty set: of all replies
    double m_delay = 0;
    std::uint64_t m_requestsLeft = 0; ///< until Fault::Vanish; 0 for never
};

} // namespace applistctl

#endif
