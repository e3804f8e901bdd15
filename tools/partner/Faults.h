// Deliberate errors of the partner, for tests of a host against a partner with errors.
#ifndef APPLIST_TOOLS_FAULTS_H
#define APPLIST_TOOLS_FAULTS_H

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <shared/Request.h>

namespace applistctl {

enum class Fault {
    // In the handshake
    NoSyn,
    NoSynAck,
    NoHostSyn,
    NoHostSynAck,
    NoAck,
    NoCrossedAck,
    NoCrossedStart,
    NoSynAgain,
    OnAcquisition,
    AnyHost,
    KeepHost,
    KeepNames,
    KeepSynAck,
    KeepAck,
    // Against the duties that repair half-open pairs (ServiceHandshake)
    NoRepeatFree,
    NoRepeatUnasked,
    NoRepeatRefused,
    ForgetOthers,
    NoBindOnAck,
    StrictMirror, ///< all five
    EndRepeat,
    EarlyCreated,
    NoOwnerCheck,
    // On the object and in notifications
    NoObject,
    NoCreated,
    CreatedTwice,
    NoChange,
    NoSelection,
    NoClick,
    Broadcast,
    WrongId,
    OtherPath,
    // On its list
    KeepList,
    KeepItems,
    KeepRemoved,
    KeepReplaced,
    AppendKnown,
    HideList,
    LoseSelection,
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
    Exit, ///< at all requests or at those with one id
    ExitNotUtf8,
    ExitUnknown,
    ExitShort,
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

    /** The exit status of the process at @p request; nothing for a process that continues. */
    std::optional<int> ExitStatusAt(const Request& request) const;

    /** Counts a request. @return whether the partner leaves the bus instead of a reply */
    bool VanishesNow();

private:
    std::set<Fault> m_plain;
    std::map<Fault, std::set<std::int32_t>> m_ofReplies; ///< an empty set: of all replies
    double m_delay = 0;
    int m_exitStatus = 0;             ///< of Fault::Exit
    std::uint64_t m_requestsLeft = 0; ///< until Fault::Vanish; 0 for never
};

} // namespace applistctl

#endif
