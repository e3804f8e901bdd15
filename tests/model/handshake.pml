/*
 * A model of host, partner and bus: do host and partner connect again after each failure?
 *
 * tests/explorer runs all messages that one endpoint can receive. A half-open pair needs two
 * endpoints and a bus between them, so the explorer cannot reach such a pair. This model contains
 * all three, and Spin visits every order of their steps.
 *
 * Host         is the endpoint of the library: the states of docs/architecture.md alone.
 * Partner      performs the duties of docs/partner-guide.md. Each duty is a switch.
 * Bus          owns the names, and detects the end of a process late.
 * Environment  starts, ends and replaces processes at any moment.
 * Checker      checks the pair whenever no message is under way.
 *
 * tests/model/run checks one run of the model and prints the counterexample of an error.
 * scripts/model checks all runs.
 *
 * Each option of a process below is one step, and steps of other processes may come between two
 * steps. A stalled loop is a process without steps for a time. The model has no clock: a period may
 * end at any moment, early or late.
 */

/* ----------------------------------------------------------------------------- the switches */

#ifndef HOSTS            /* hosts in a run: the second one replaces the first one */
#define HOSTS 1
#endif
#ifndef HOSTS_AT_ONCE    /* 1: the second host may start while the first one runs */
#define HOSTS_AT_ONCE 0
#endif
#ifndef PARTNERS         /* partners in a run: each one replaces the one before */
#define PARTNERS 1
#endif
#ifndef RESTARTS         /* the number of these partners that start only to repair a pair */
#define RESTARTS 0
#endif
#ifndef REQUESTS         /* 1: a ready host may send a request */
#define REQUESTS 0
#endif
#ifndef LOST_ANSWERS     /* the number of replies of the bus after the caller's time-out */
#define LOST_ANSWERS 0
#endif
#ifndef LATE_THREAD_END  /* 1: the resend thread clears its handle a while after its last pass */
#define LATE_THREAD_END 0
#endif

#ifndef HOST_RELEASES_LATE_NAME /* 1: a host releases a name whose RequestName timed out */
#define HOST_RELEASES_LATE_NAME 1
#endif

/* The duties of the partner. */
#ifndef ANSWER_OWN_HOST      /* answer _CLIENT_SYN_ACK also of the host that is bound already */
#define ANSWER_OWN_HOST 1
#endif
#ifndef REPEAT_WHILE_FREE    /* announce _SERVICE_SYN every period while no host is bound */
#define REPEAT_WHILE_FREE 1
#endif
#ifndef REPEAT_WHILE_UNASKED /* the same while the bound host has sent no request */
#define REPEAT_WHILE_UNASKED 1
#endif
#ifndef REPEAT_REFUSED_ACK   /* announce a _SERVICE_ACK again that the bus refused */
#define REPEAT_REFUSED_ACK 1
#endif
#ifndef REMEMBER_OTHER_HOST  /* when the bound host vanishes, acknowledge another that is bound */
#define REMEMBER_OTHER_HOST 1
#endif
#ifndef BIND_ON_ACK          /* bind to the host of a _CLIENT_ACK while no host is bound */
#define BIND_ON_ACK 1
#endif

#ifndef RELEASE_LATE_NAME    /* release a name whose RequestName was not answered in time */
#define RELEASE_LATE_NAME 1
#endif

/* ----------------------------------------------------------------------------------- processes */

#define NO_PROCESS    0
#define FIRST_HOST    1 /* hosts have the numbers 1 to HOSTS, partners the following numbers */
#define FIRST_PARTNER (HOSTS + 1)
#define LAST_HOST     HOSTS
#define LAST          (HOSTS + PARTNERS)
#define isHost(process)  (process <= HOSTS)
#define number(partner)  (partner - HOSTS) /* of a partner, in a counterexample */

#define NOT_STARTED 0
#define RUNS        1
#define ENDED       2 /* not detected by the bus: the process still owns its names */
#define LEFT        3
byte phase[LAST + 1];

/* The steps of the handshake, and the other messages of the bus. */
mtype = { REQUEST, VANISHED, ACK, SYN_ACK, SYN };
#define NOTHING 0

/* The messages that the bus has sent and the loop of the process has not received yet. */
#ifndef INBOX
#define INBOX 20
#endif
chan inbox[LAST + 1] = [INBOX] of { mtype, byte };

byte boundTo[LAST + 1];   /* the unique name that is watched */
mtype announces[LAST + 1]; /* the step whose announcement is under way */
bool owns[LAST + 1];      /* RequestName of that announcement has been answered */
mtype owed[LAST + 1];     /* the answer that could not be announced */
bool asked[LAST + 1];     /* a request has been sent, or received, in this binding */

byte state[HOSTS + 1];    /* of the handshake: 0 to 3 */
byte thread[LAST + 1];    /* the resend thread of a host */
#define NO_THREAD 0
#define RESENDS   1
#define FINISHES  2       /* the last pass is over, the handle still set */

bool ready[LAST + 1];     /* of a partner: the handshake with its host is complete */
byte otherHost[LAST + 1]; /* of a partner: another host with a binding to any process */

/* Used within one step: no part of the model's state. */
hidden byte what, from, other, to, count, lastWhat, lastFrom, isRepeated;
hidden byte name, step, host, partner, failed;

/* ------------------------------------------------------------------------------------- the bus */

/* The owners of _CLIENT_SYN, _CLIENT_SYN_ACK, _CLIENT_ACK and of the three _SERVICE_ names. */
byte owner[7];
#define nameOf(process, step) (isHost(process) -> step : step + 3)

/* An announcement after its time-out. The bus handles the calls of a caller in their order, so the
   caller's next RequestName follows this announcement. */
mtype late[LAST + 1];
bool lateOwns[LAST + 1];
byte lostAnswers;
#define releasesLateName(process) \
    (isHost(process) -> HOST_RELEASES_LATE_NAME : RELEASE_LATE_NAME)

/* The properties. A run that breaks a property ends with an error, and its counterexample names the
   property. */
#define INBOXES_SUFFICE  1
#define BOUND_TO_EACH_OTHER 2
#define NO_ENDLESS_WAIT     3
#define BOTH_READY       4
inline broken(property) {
    if
    :: property == INBOXES_SUFFICE -> printf("broken: every inbox is long enough\n")
    :: property == BOUND_TO_EACH_OTHER ->
        printf("broken: host and partner are bound to each other\n")
    :: property == NO_ENDLESS_WAIT -> printf("broken: no side waits for ever\n")
    :: property == BOTH_READY -> printf("broken: host and partner are both ready\n")
    fi;
    assert(false)
}

inline findLast(box) {
    lastWhat = NOTHING;
    lastFrom = NO_PROCESS;
    count = len(inbox[box]);
    do
    :: count > 0 ->
        inbox[box]?lastWhat,lastFrom; inbox[box]!lastWhat,lastFrom; count--
    :: else -> break
    od
}

/* A _SYN directly after the same _SYN is omitted. After the first _SYN the receiver is bound, and a
   bound receiver ignores the second one. The inbox therefore has a limit for any number of repeated
   _SYN. */
inline deliver(receiver, kind, sender) {
    if
    :: phase[receiver] == RUNS ->
        findLast(receiver);
        isRepeated = (kind == SYN && lastWhat == SYN && lastFrom == sender);
        count = len(inbox[receiver]);
        if
        :: isRepeated
        :: !isRepeated && count == INBOX -> broken(INBOXES_SUFFICE)
        :: !isRepeated && count < INBOX -> inbox[receiver]!kind,sender
        fi
    :: else
    fi
}

/* The other side receives the release of a name. The acquisition has no effect and is omitted. */
inline release(announcer, announced) {
    owner[nameOf(announcer, announced)] = NO_PROCESS;
    to = (isHost(announcer) -> FIRST_PARTNER : FIRST_HOST);
    do
    :: to <= (isHost(announcer) -> LAST : HOSTS) -> deliver(to, announced, announcer); to++
    :: else -> break
    od;
    to = NO_PROCESS
}

/* The watch of a unique name that has already left the bus reports the loss at once. */
inline bind(watcher, watched) {
    boundTo[watcher] = watched;
    if
    :: phase[watched] == LEFT -> deliver(watcher, VANISHED, watched)
    :: else
    fi
}

inline detectEnd(process) {
    if
    :: isHost(process) -> printf("the bus detects the end of host %d\n", process)
    :: else -> printf("the bus detects the end of partner %d\n", number(process))
    fi;
    phase[process] = LEFT;
    step = SYN;
    do
    :: step <= ACK ->
        if
        :: owner[nameOf(process, step)] == process -> release(process, step)
        :: else
        fi;
        step++
    :: else -> break
    od;
    to = FIRST_HOST;
    do
    :: to <= LAST ->
        if
        :: boundTo[to] == process -> deliver(to, VANISHED, process)
        :: else
        fi;
        to++
    :: else -> break
    od;
    to = NO_PROCESS
}

/* Grants RequestName, and handles the following ReleaseName in a second step. */
inline handleLate(process) {
    step = late[process];
    if
    :: lateOwns[process] ->
        lateOwns[process] = false; late[process] = NOTHING;
        release(process, step)
    :: !lateOwns[process] && owner[nameOf(process, step)] == NO_PROCESS ->
        owner[nameOf(process, step)] = process;
        lateOwns[process] = releasesLateName(process);
        late[process] = (releasesLateName(process) -> step : NOTHING)
    :: else -> late[process] = NOTHING
    fi;
    printf("the bus handles a late call\n")
}

proctype Bus() {
    do
    :: d_step { phase[FIRST_HOST] == ENDED -> detectEnd(FIRST_HOST) }
    :: d_step { phase[FIRST_PARTNER] == ENDED -> detectEnd(FIRST_PARTNER) }
#if PARTNERS > 2
    :: d_step { phase[FIRST_PARTNER + 1] == ENDED -> detectEnd(FIRST_PARTNER + 1) }
#endif
#if PARTNERS > 3
    :: d_step { phase[FIRST_PARTNER + 2] == ENDED -> detectEnd(FIRST_PARTNER + 2) }
#endif
#if LOST_ANSWERS
    :: d_step { late[FIRST_HOST] != NOTHING -> handleLate(FIRST_HOST) }
    :: d_step { late[FIRST_PARTNER] != NOTHING -> handleLate(FIRST_PARTNER) }
#if HOSTS > 1
    :: d_step { late[LAST_HOST] != NOTHING -> handleLate(LAST_HOST) }
#endif
#if PARTNERS > 1
    :: d_step { late[LAST] != NOTHING -> handleLate(LAST) }
#endif
#endif
    od
}

/* --------------------------------------------------------------- quiet states, and the checked properties */

/* No message is under way: the next event is the end of a period. */
#define isQuietProcess(process) (phase[process] != ENDED && announces[process] == NOTHING && \
                                 late[process] == NOTHING && len(inbox[process]) == 0)
#define areHostsQuiet    (isQuietProcess(FIRST_HOST) && isQuietProcess(LAST_HOST))
#define SECOND_PARTNER   (PARTNERS > 1 -> FIRST_PARTNER + 1 : FIRST_PARTNER)
#define THIRD_PARTNER    (PARTNERS > 2 -> FIRST_PARTNER + 2 : FIRST_PARTNER)
#define arePartnersQuiet (isQuietProcess(FIRST_PARTNER) && isQuietProcess(SECOND_PARTNER) && \
                          isQuietProcess(THIRD_PARTNER) && isQuietProcess(LAST))
#define isQuiet          (areHostsQuiet && arePartnersQuiet)

/* Quiet periods since a process last started or ended, or an answer was lost. Two of these
   periods repeat every announcement that can be repeated. */
#define ENOUGH 2
byte periods[LAST + 1];
inline countPeriod(me) {
    periods[me] = periods[me] + (isQuiet && periods[me] < ENOUGH)
}

inline forgetPeriods() {
    to = FIRST_HOST;
    do :: to <= LAST -> periods[to] = 0; to++ :: else -> break od;
    to = NO_PROCESS
}

#define hasPeriods(process) \
    (isHost(process) -> thread[process] != NO_THREAD : hasPartnerPeriods(process))
#define hasPartnerPeriods(me) (owed[me] != NOTHING || \
    (REPEAT_WHILE_FREE && boundTo[me] == NO_PROCESS) || \
    (REPEAT_WHILE_UNASKED && boundTo[me] != NO_PROCESS && !asked[me]))
#define hasWaited(process) \
    (phase[process] != RUNS || periods[process] == ENOUGH || !hasPeriods(process))
#define haveAllWaited (hasWaited(FIRST_HOST) && hasWaited(LAST_HOST) && \
                       hasWaited(FIRST_PARTNER) && hasWaited(SECOND_PARTNER) && \
                       hasWaited(THIRD_PARTNER) && hasWaited(LAST))

/* The running host and partner. Of two hosts, the host of the partner's binding. */
inline findPair() {
    host = FIRST_HOST;
    do :: host < LAST_HOST && phase[host] != RUNS -> host++ :: else -> break od;
    partner = FIRST_PARTNER;
    do :: partner < LAST && phase[partner] != RUNS -> partner++ :: else -> break od;
    if
    :: boundTo[partner] != NO_PROCESS && phase[boundTo[partner]] == RUNS -> host = boundTo[partner]
    :: else
    fi
}

/* -------------------------------------------------------------------------------- announcements */

/* Both sides announce a step in two calls: RequestName and, after its reply, ReleaseName. */
#define maySendRequestName(me) \
    (phase[me] == RUNS && announces[me] != NOTHING && !owns[me] && late[me] == NOTHING)
#define isGranted(me) (owner[nameOf(me, announces[me])] == NO_PROCESS)
#define maySendReleaseName(me) (phase[me] == RUNS && owns[me])
#define mayTimeOut(me) (lostAnswers < LOST_ANSWERS && phase[me] == RUNS && announces[me] != NOTHING)

inline acquire(me) {
    owner[nameOf(me, announces[me])] = me;
    owns[me] = true
}

/* The call times out. The bus has handled RequestName, or ReleaseName, or neither of them. */
inline timeOutOfRequestName(me) {
    lostAnswers++;
    forgetPeriods();
    late[me] = (owns[me] && !releasesLateName(me) -> NOTHING : announces[me]);
    lateOwns[me] = (owns[me] && releasesLateName(me));
    owns[me] = false
}
inline timeOutOfReleaseName(me) {
    lostAnswers++;
    forgetPeriods();
    late[me] = announces[me]; lateOwns[me] = true;
    owns[me] = false
}

/* ---------------------------------------------------------------------------------------- host */

inline bindAndAnswer(me, announcer, answer) {
    bind(me, announcer);
    announces[me] = answer
}

inline reportReady(me) {
    printf("host %d is ready\n", me);
    state[me] = 3
}

inline endPasses(me) {
    thread[me] = (LATE_THREAD_END -> FINISHES : NO_THREAD)
}

inline hostAnnounced(me) {
    if
    :: announces[me] == SYN_ACK -> state[me] = 2
    :: announces[me] == ACK -> reportReady(me)
    :: else
    fi;
    announces[me] = NOTHING;
    if
    :: owed[me] != NOTHING -> owed[me] = NOTHING; endPasses(me)
    :: else
    fi
}

/* The first announcement of a host is made once; an answer is owed from now on. */
inline hostFailed(me) {
    if
    :: announces[me] != SYN ->
        owed[me] = announces[me];
        if
        :: thread[me] == NO_THREAD -> thread[me] = RESENDS
        :: else
        fi
    :: else
    fi;
    announces[me] = NOTHING
}

inline hostReceives(me) {
    inbox[me]?what,from;
    if
    :: what == VANISHED -> printf("host %d receives the end of partner %d\n", me, number(from))
    :: else -> printf("host %d receives _SERVICE_%e of partner %d\n", me, what, number(from))
    fi;
    if
    :: what == SYN && boundTo[me] == NO_PROCESS -> bindAndAnswer(me, from, SYN_ACK)
    :: what == SYN_ACK && boundTo[me] == NO_PROCESS -> bindAndAnswer(me, from, ACK)
    :: what == ACK && boundTo[me] != NO_PROCESS -> reportReady(me)
    :: what == VANISHED && boundTo[me] == from ->
        boundTo[me] = NO_PROCESS;
        state[me] = 0;
        asked[me] = false;
        owed[me] = NOTHING /* the next pass would drop the answer to an unbound partner */
    :: else -> printf("host %d ignores the message\n", me)
    fi
}

proctype Host(byte me) {
    do
    :: d_step { phase[me] == RUNS && announces[me] == NOTHING && len(inbox[me]) > 0 ->
        hostReceives(me) }
    :: d_step { maySendRequestName(me) ->
        if
        :: isGranted(me) ->
            printf("host %d acquires _CLIENT_%e\n", me, announces[me]);
            acquire(me)
        :: else ->
            printf("host %d is refused _CLIENT_%e\n", me, announces[me]);
            hostFailed(me)
        fi }
    :: d_step { maySendReleaseName(me) ->
        printf("host %d releases _CLIENT_%e\n", me, announces[me]);
        owns[me] = false;
        release(me, announces[me]);
        hostAnnounced(me) }

    /* A pass of the resend thread. The handshake's lock separates the pass from the loop. */
    :: d_step { phase[me] == RUNS && announces[me] == NOTHING && thread[me] == RESENDS ->
        printf("host %d starts a resend pass\n", me);
        countPeriod(me);
        if
        :: owed[me] != NOTHING -> announces[me] = owed[me]
        :: else -> endPasses(me)
        fi }
    :: d_step { phase[me] == RUNS && announces[me] == NOTHING && thread[me] == FINISHES ->
        thread[me] = NO_THREAD }

#if REQUESTS
    :: d_step { phase[me] == RUNS && state[me] == 3 && !asked[me] ->
        printf("host %d sends a request to partner %d\n", me, number(boundTo[me]));
        asked[me] = true;
        deliver(boundTo[me], REQUEST, me) }
#endif
#if LOST_ANSWERS
    :: d_step { mayTimeOut(me) && late[me] == NOTHING ->
        printf("host %d has no reply to RequestName of _CLIENT_%e\n", me, announces[me]);
        timeOutOfRequestName(me); hostFailed(me) }
    :: d_step { mayTimeOut(me) && owns[me] ->
        printf("host %d has no reply to ReleaseName of _CLIENT_%e\n", me, announces[me]);
        timeOutOfReleaseName(me); hostFailed(me) }
#endif
    od
}

/* ------------------------------------------------------------------------------------- partner */

inline partnerFailed(me) {
    owed[me] = (REPEAT_REFUSED_ACK && announces[me] == ACK -> ACK : NOTHING);
    announces[me] = NOTHING
}

inline partnerUnbinds(me) {
    boundTo[me] = NO_PROCESS;
    ready[me] = false;
    asked[me] = false;
    owed[me] = NOTHING;
    other = otherHost[me];
    otherHost[me] = NO_PROCESS;
    if
    :: other != NO_PROCESS -> bindAndAnswer(me, other, ACK)
    :: else
    fi
}

inline partnerReceives(me) {
    inbox[me]?what,from;
    if
    :: what == VANISHED -> printf("partner %d receives the end of host %d\n", number(me), from)
    :: what == REQUEST -> printf("partner %d receives a request of host %d\n", number(me), from)
    :: else -> printf("partner %d receives _CLIENT_%e of host %d\n", number(me), what, from)
    fi;
    if
    :: what == SYN && boundTo[me] == NO_PROCESS -> bindAndAnswer(me, from, SYN_ACK)
    :: what == SYN_ACK && boundTo[me] == NO_PROCESS -> bindAndAnswer(me, from, ACK)
    :: what == SYN_ACK && boundTo[me] == from && ANSWER_OWN_HOST -> announces[me] = ACK
    :: what == ACK && boundTo[me] == from -> ready[me] = true
    :: what == ACK && boundTo[me] == NO_PROCESS && BIND_ON_ACK -> bind(me, from); ready[me] = true
    :: (what == SYN_ACK || what == ACK) && boundTo[me] != NO_PROCESS && boundTo[me] != from &&
       REMEMBER_OTHER_HOST ->
        printf("partner %d remembers host %d\n", number(me), from);
        otherHost[me] = from
    :: what == REQUEST && boundTo[me] == from -> asked[me] = true
    :: what == VANISHED && boundTo[me] == from -> partnerUnbinds(me)
    :: else -> printf("partner %d ignores the message\n", number(me))
    fi
}

proctype Partner(byte me) {
    do
    :: d_step { phase[me] == RUNS && announces[me] == NOTHING && len(inbox[me]) > 0 ->
        partnerReceives(me) }
    :: d_step { maySendRequestName(me) ->
        if
        :: isGranted(me) ->
            printf("partner %d acquires _SERVICE_%e\n", number(me), announces[me]);
            acquire(me)
        :: else ->
            printf("partner %d is refused _SERVICE_%e\n", number(me), announces[me]);
            partnerFailed(me)
        fi }
    :: d_step { maySendReleaseName(me) ->
        printf("partner %d releases _SERVICE_%e\n", number(me), announces[me]);
        owns[me] = false;
        release(me, announces[me]);
        if
        :: announces[me] == ACK -> ready[me] = true; owed[me] = NOTHING
        :: else
        fi;
        announces[me] = NOTHING }

    /* A period has passed. */
    :: d_step { phase[me] == RUNS && announces[me] == NOTHING && hasPartnerPeriods(me) ->
        countPeriod(me);
        announces[me] = (owed[me] != NOTHING -> owed[me] : SYN) }

#if LOST_ANSWERS
    :: d_step { mayTimeOut(me) && late[me] == NOTHING ->
        printf("partner %d has no reply to RequestName of _SERVICE_%e\n", number(me),
               announces[me]);
        timeOutOfRequestName(me); partnerFailed(me) }
    :: d_step { mayTimeOut(me) && owns[me] ->
        printf("partner %d has no reply to ReleaseName of _SERVICE_%e\n", number(me),
               announces[me]);
        timeOutOfReleaseName(me); partnerFailed(me) }
#endif
    od
}

/* ---------------------------------------------------------------------------------------- environment */

inline start(process) {
    phase[process] = RUNS;
    announces[process] = SYN;
    forgetPeriods();
    if
    :: isHost(process) -> printf("host %d starts\n", process); state[process] = 1
    :: else -> printf("partner %d starts\n", number(process))
    fi
}

inline end(process) {
    phase[process] = ENDED;
    count = len(inbox[process]);
    do :: count > 0 -> inbox[process]?what,from; count-- :: else -> break od;
    boundTo[process] = NO_PROCESS;
    announces[process] = NOTHING; owns[process] = false; owed[process] = NOTHING;
    late[process] = NOTHING; lateOwns[process] = false;
    asked[process] = false;
    forgetPeriods();
    if
    :: isHost(process) ->
        printf("host %d ends\n", process);
        state[process] = 0; thread[process] = NO_THREAD
    :: else ->
        printf("partner %d ends\n", number(process));
        ready[process] = false; otherHost[process] = NO_PROCESS
    fi
}

#define hasEnded(process) (phase[process] >= ENDED)
#define mayReplace(process) (phase[process] == NOT_STARTED && hasEnded(process - 1))

proctype Environment() {
    do
    :: d_step { phase[FIRST_HOST] == NOT_STARTED -> start(FIRST_HOST) }
    :: d_step { phase[FIRST_PARTNER] == NOT_STARTED -> start(FIRST_PARTNER) }
#if HOSTS > 1
    :: d_step { phase[FIRST_HOST] == RUNS -> end(FIRST_HOST) }
    :: d_step { mayReplace(LAST_HOST) || (HOSTS_AT_ONCE && phase[LAST_HOST] == NOT_STARTED) ->
        start(LAST_HOST) }
#endif
#if PARTNERS > 1
    :: d_step { phase[FIRST_PARTNER] == RUNS && PARTNERS - RESTARTS > 1 -> end(FIRST_PARTNER) }
    :: d_step { mayReplace(FIRST_PARTNER + 1) -> start(FIRST_PARTNER + 1) }
#endif
#if PARTNERS > 2
    :: d_step { phase[FIRST_PARTNER + 1] == RUNS && PARTNERS - RESTARTS > 2 ->
        end(FIRST_PARTNER + 1) }
    :: d_step { mayReplace(FIRST_PARTNER + 2) -> start(FIRST_PARTNER + 2) }
#endif
    od
}

/* ------------------------------------------------------------------------------------- checker */

#define areBound(one, other) (boundTo[one] == other && boundTo[other] == one)
#define waits(process) \
    (owed[process] != NOTHING || (isHost(process) && thread[process] != NO_THREAD))

inline checkPair() {
    if
    :: phase[host] != RUNS || phase[partner] != RUNS -> failed = NOTHING
    :: else ->
        failed = (areBound(host, partner) ->
                     (waits(host) || waits(partner) -> NO_ENDLESS_WAIT :
                         (state[host] == 3 && ready[partner] -> NOTHING : BOTH_READY)) :
                     BOUND_TO_EACH_OTHER)
    fi
}

/* The last partners of a run with RESTARTS replace a partner that the host cannot connect to. */
#define mayRestart(process) (RESTARTS && process < LAST)

proctype Checker() {
    do
    :: d_step { isQuiet && haveAllWaited ->
        findPair();
        checkPair();
        if
        :: failed == NOTHING
        :: failed != NOTHING && mayRestart(partner) -> end(partner)
        :: failed != NOTHING && !mayRestart(partner) -> broken(failed)
        fi;
        failed = NOTHING
    }
    od
}

init {
    atomic {
        run Bus(); run Environment(); run Checker();
        run Host(FIRST_HOST);
        run Partner(FIRST_PARTNER);
#if HOSTS > 1
        run Host(LAST_HOST);
#endif
#if PARTNERS > 1
        run Partner(FIRST_PARTNER + 1);
#endif
#if PARTNERS > 2
        run Partner(FIRST_PARTNER + 2);
#endif
    }
}
