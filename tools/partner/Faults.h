// What the partner does wrong on purpose, so that a host can be tested against a bad partner.
#ifndef APPLIST_TOOLS_FAULTS_H
#define APPLIST_TOOLS_FAULTS_H

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

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
    // In its life
    Vanish
};

class Faults {
public:
    /**
     * Sets what the words of the command "fault" say.
     * @return what is wrong with them, or nothing
     */
    std::string Set(const std::vector<std::string>& words);

    /** The faults as a text, one a line. */
    static std::string Describe();

    bool Has(Fault fault) const { return m_plain.count(fault) != 0; }
    bool Has(Fault fault, std::int32_t request) const;

    /** Whether the reply to @p request is not the partner's own, or none. */
    bool ChangesReply(std::int32_t request) const;

    double Delay() const { return m_delay; }

    /** Counts a request. @return whether the partner is to vanish instead of answering it */
    bool VanishesNow();

private:
    std::set<Fault> m_plain;
    std::map<Fault, std::set<std::int32_t>> m_ofReplies; ///< an empty set: of all replies
    double m_delay = 0;
    std::uint64_t m_requestsLeft = 0; ///< to Fault::Vanish; 0 for never
};

#endif
