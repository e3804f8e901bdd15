/*
 * Host, partner and bus together: do the two always find each other again?
 *
 * tests/explorer walks through everything that one endpoint can receive. A pair that is half open
 * takes two endpoints and a bus between them, so the explorer cannot reach one. This model has all
 * three, and Spin visits every order in which their steps can happen.
 *
 * Host     is the endpoint of the library: the states of docs/architecture.md and nothing else.
 * Partner  performs the duties of docs/partner-guide.md. Each duty is a switch.
 * Bus      owns the names, and notices the end of a process late.
 * Fate     starts, ends and replaces processes at any moment.
 * Verdict  examines the pair whenever all is quiet.
 *
 * tests/model/run checks one run of it and prints the story of an error, scripts/model all of them.
 *
 * Each option of a process below is one step, and any other process may take its steps between two
 * of them. A loop that stalls needs no step of its own: a stalled process takes none for a while.
 * A clock is not needed either: a period may end at any moment, early or late.
 */

/* ----------------------------------------------------------------------------- what is switched */

#ifndef HOSTS            /* hosts in a run: the second one replaces the first one */
#define HOSTS 1
#endif
#ifndef HOSTS_AT_ONCE    /* 1: the second host may start while the first one runs */
#define HOSTS_AT_ONCE 0
#endif
#ifndef PARTNERS         /* partners in a run: each one replaces the one before */
#define PARTNERS 1
#endif
#ifndef RESTARTS         /* so many partners of these start only when nothing else helps */
#define RESTARTS 0
#endif
#ifndef REQUESTS         /* 1: a host that is ready may send a request, or none */
#define REQUESTS 0
#endif
#ifndef LOST_ANSWERS     /* so many answers of the bus come after the caller's time-out */
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

#define NOBODY        0
#define FIRST_HOST    1 /* hosts have the numbers 1 to HOSTS, partners the numbers behind */
#define FIRST_PARTNER (HOSTS + 1)
#define LAST_HOST     HOSTS
#define LAST          (HOSTS + PARTNERS)
#define isHost(process)  (process <= HOSTS)
#define number(partner)  (partner - HOSTS) /* of a partner, in a story */

#define NOT_STARTED 0
#define RUNS        1
#define ENDED       2 /* and the bus has not noticed: it still owns the names that it had taken */
#define GONE        3
byte life[LAST + 1];

/* The steps of the handshake, and what else the bus delivers. */
mtype = { REQUEST, VANISHED, ACK, SYN_ACK, SYN };
#define NOTHING 0

/* What the bus has sent to a process and the loop of the process has not received yet. */
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

bool ready[LAST + 1];     /* of a partner: it and its host have acknowledged each other */
byte otherHost[LAST + 1]; /* of a partner: another host that is bound, to whomever */

/* Used within a step and by no other: no part of the model's state. */
hidden byte what, from, other, to, count, lastWhat, lastFrom, isRepeated;
hidden byte name, step, host, partner, failed;

/* ------------------------------------------------------------------------------------- the bus */

/* The owners of _CLIENT_SYN, _CLIENT_SYN_ACK, _CLIENT_ACK and of the three _SERVICE_ names. */
byte owner[7];
#define nameOf(process, step) (isHost(process) -> step : step + 3)

/* An announcement whose caller gave up waiting. The bus handles what a caller has sent in its
   order, so the caller's next RequestName comes after it. */
mtype late[LAST + 1];
bool lateOwns[LAST + 1];
byte lostAnswers;
#define releasesLateName(process) \
    (isHost(process) -> HOST_RELEASES_LATE_NAME : RELEASE_LATE_NAME)

/* The properties. A run that breaks one ends with an error, and its story names the property. */
#define INBOXES_SUFFICE  1
#define BOUND_TO_EACH_OTHER 2
#define NOBODY_WAITS     3
#define BOTH_READY       4
inline broken(property) {
    if
    :: property == INBOXES_SUFFICE -> printf("broken: every inbox is long enough\n")
    :: property == BOUND_TO_EACH_OTHER ->
        printf("broken: host and partner are bound to each other\n")
    :: property == NOBODY_WAITS -> printf("broken: nobody waits for ever\n")
    :: property == BOTH_READY -> printf("broken: host and partner are both ready\n")
    fi;
    assert(false)
}

inline findLast(box) {
    lastWhat = NOTHING;
    lastFrom = NOBODY;
    count = len(inbox[box]);
    do
    :: count > 0 ->
        inbox[box]?lastWhat,lastFrom; inbox[box]!lastWhat,lastFrom; count--
    :: else -> break
    od
}

/* A _SYN right behind the same _SYN is left out. The first one leaves the receiver bound, to
   whomever, and a bound receiver ignores the second one. So an inbox has a bound, however often a
   _SYN is repeated. */
inline deliver(receiver, kind, sender) {
    if
    :: life[receiver] == RUNS ->
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

/* The other side receives the release of a name. Its taking changes nothing and is left out. */
inline release(announcer, announced) {
    owner[nameOf(announcer, announced)] = NOBODY;
    to = (isHost(announcer) -> FIRST_PARTNER : FIRST_HOST);
    do
    :: to <= (isHost(announcer) -> LAST : HOSTS) -> deliver(to, announced, announcer); to++
    :: else -> break
    od;
    to = NOBODY
}

/* The watch of a unique name that is gone already reports so at once. */
inline bind(watcher, watched) {
    boundTo[watcher] = watched;
    if
    :: life[watched] == GONE -> deliver(watcher, VANISHED, watched)
    :: else
    fi
}

inline noticeEnd(process) {
    if
    :: isHost(process) -> printf("the bus notices the end of host %d\n", process)
    :: else -> printf("the bus notices the end of partner %d\n", number(process))
    fi;
    life[process] = GONE;
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
    to = NOBODY
}

/* RequestName is granted, and the ReleaseName behind it handled in a second step. */
inline handleLate(process) {
    step = late[process];
    if
    :: lateOwns[process] ->
        lateOwns[process] = false; late[process] = NOTHING;
        release(process, step)
    :: !lateOwns[process] && owner[nameOf(process, step)] == NOBODY ->
        owner[nameOf(process, step)] = process;
        lateOwns[process] = releasesLateName(process);
        late[process] = (releasesLateName(process) -> step : NOTHING)
    :: else -> late[process] = NOTHING
    fi;
    printf("the bus handles a late call\n")
}

proctype Bus() {
    do
    :: d_step { life[FIRST_HOST] == ENDED -> noticeEnd(FIRST_HOST) }
    :: d_step { life[FIRST_PARTNER] == ENDED -> noticeEnd(FIRST_PARTNER) }
#if PARTNERS > 2
    :: d_step { life[FIRST_PARTNER + 1] == ENDED -> noticeEnd(FIRST_PARTNER + 1) }
#endif
#if PARTNERS > 3
    :: d_step { life[FIRST_PARTNER + 2] == ENDED -> noticeEnd(FIRST_PARTNER + 2) }
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

/* --------------------------------------------------------------- quiet, and what must hold then */

/* Nothing is under way: whatever happens next begins with the end of a period. */
#define isQuietProcess(process) (life[process] != ENDED && announces[process] == NOTHING && \
                                 late[process] == NOTHING && len(inbox[process]) == 0)
#define areHostsQuiet    (isQuietProcess(FIRST_HOST) && isQuietProcess(LAST_HOST))
#define SECOND_PARTNER   (PARTNERS > 1 -> FIRST_PARTNER + 1 : FIRST_PARTNER)
#define THIRD_PARTNER    (PARTNERS > 2 -> FIRST_PARTNER + 2 : FIRST_PARTNER)
#define arePartnersQuiet (isQuietProcess(FIRST_PARTNER) && isQuietProcess(SECOND_PARTNER) && \
                          isQuietProcess(THIRD_PARTNER) && isQuietProcess(LAST))
#define isQuiet          (areHostsQuiet && arePartnersQuiet)

/* Quiet periods since a process last started or ended, or an answer was lost. Two of them repeat
   all that can be repeated. */
#define ENOUGH 2
byte periods[LAST + 1];
inline countPeriod(me) {
    periods[me] = periods[me] + (isQuiet && periods[me] < ENOUGH)
}

inline forgetPeriods() {
    to = FIRST_HOST;
    do :: to <= LAST -> periods[to] = 0; to++ :: else -> break od;
    to = NOBODY
}

#define hasPeriods(process) \
    (isHost(process) -> thread[process] != NO_THREAD : hasPartnerPeriods(process))
#define hasPartnerPeriods(me) (owed[me] != NOTHING || \
    (REPEAT_WHILE_FREE && boundTo[me] == NOBODY) || \
    (REPEAT_WHILE_UNASKED && boundTo[me] != NOBODY && !asked[me]))
#define hasWaited(process) \
    (life[process] != RUNS || periods[process] == ENOUGH || !hasPeriods(process))
#define haveAllWaited (hasWaited(FIRST_HOST) && hasWaited(LAST_HOST) && \
                       hasWaited(FIRST_PARTNER) && hasWaited(SECOND_PARTNER) && \
                       hasWaited(THIRD_PARTNER) && hasWaited(LAST))

/* The host and the partner that run. Of two hosts it is the one that the partner is bound to. */
inline findPair() {
    host = FIRST_HOST;
    do :: host < LAST_HOST && life[host] != RUNS -> host++ :: else -> break od;
    partner = FIRST_PARTNER;
    do :: partner < LAST && life[partner] != RUNS -> partner++ :: else -> break od;
    if
    :: boundTo[partner] != NOBODY && life[boundTo[partner]] == RUNS -> host = boundTo[partner]
    :: else
    fi
}

/* -------------------------------------------------------------------------------- announcements */

/* Both sides announce a step in two calls: RequestName and, once that is answered, ReleaseName. */
#define maySendRequestName(me) \
    (life[me] == RUNS && announces[me] != NOTHING && !owns[me] && late[me] == NOTHING)
#define isGranted(me) (owner[nameOf(me, announces[me])] == NOBODY)
#define maySendReleaseName(me) (life[me] == RUNS && owns[me])
#define mayTimeOut(me) (lostAnswers < LOST_ANSWERS && life[me] == RUNS && announces[me] != NOTHING)

inline take(me) {
    owner[nameOf(me, announces[me])] = me;
    owns[me] = true
}

/* The caller gives up. The bus has handled RequestName, or ReleaseName, or neither of them. */
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
    :: what == SYN && boundTo[me] == NOBODY -> bindAndAnswer(me, from, SYN_ACK)
    :: what == SYN_ACK && boundTo[me] == NOBODY -> bindAndAnswer(me, from, ACK)
    :: what == ACK && boundTo[me] != NOBODY -> reportReady(me)
    :: what == VANISHED && boundTo[me] == from ->
        boundTo[me] = NOBODY;
        state[me] = 0;
        asked[me] = false;
        owed[me] = NOTHING /* the next pass would drop it: its partner is not the bound one */
    :: else -> printf("host %d ignores it\n", me)
    fi
}

proctype Host(byte me) {
    do
    :: d_step { life[me] == RUNS && announces[me] == NOTHING && len(inbox[me]) > 0 ->
        hostReceives(me) }
    :: d_step { maySendRequestName(me) ->
        if
        :: isGranted(me) ->
            printf("host %d takes _CLIENT_%e\n", me, announces[me]);
            take(me)
        :: else ->
            printf("host %d is refused _CLIENT_%e\n", me, announces[me]);
            hostFailed(me)
        fi }
    :: d_step { maySendReleaseName(me) ->
        printf("host %d releases _CLIENT_%e\n", me, announces[me]);
        owns[me] = false;
        release(me, announces[me]);
        hostAnnounced(me) }

    /* A pass of the resend thread. The handshake's lock keeps it and the loop apart. */
    :: d_step { life[me] == RUNS && announces[me] == NOTHING && thread[me] == RESENDS ->
        printf("host %d makes a pass of resending\n", me);
        countPeriod(me);
        if
        :: owed[me] != NOTHING -> announces[me] = owed[me]
        :: else -> endPasses(me)
        fi }
    :: d_step { life[me] == RUNS && announces[me] == NOTHING && thread[me] == FINISHES ->
        thread[me] = NO_THREAD }

#if REQUESTS
    :: d_step { life[me] == RUNS && state[me] == 3 && !asked[me] ->
        printf("host %d sends a request to partner %d\n", me, number(boundTo[me]));
        asked[me] = true;
        deliver(boundTo[me], REQUEST, me) }
#endif
#if LOST_ANSWERS
    :: d_step { mayTimeOut(me) && late[me] == NOTHING ->
        printf("host %d gets no answer to RequestName of _CLIENT_%e\n", me, announces[me]);
        timeOutOfRequestName(me); hostFailed(me) }
    :: d_step { mayTimeOut(me) && owns[me] ->
        printf("host %d gets no answer to ReleaseName of _CLIENT_%e\n", me, announces[me]);
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
    boundTo[me] = NOBODY;
    ready[me] = false;
    asked[me] = false;
    owed[me] = NOTHING;
    other = otherHost[me];
    otherHost[me] = NOBODY;
    if
    :: other != NOBODY -> bindAndAnswer(me, other, ACK)
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
    :: what == SYN && boundTo[me] == NOBODY -> bindAndAnswer(me, from, SYN_ACK)
    :: what == SYN_ACK && boundTo[me] == NOBODY -> bindAndAnswer(me, from, ACK)
    :: what == SYN_ACK && boundTo[me] == from && ANSWER_OWN_HOST -> announces[me] = ACK
    :: what == ACK && boundTo[me] == from -> ready[me] = true
    :: what == ACK && boundTo[me] == NOBODY && BIND_ON_ACK -> bind(me, from); ready[me] = true
    :: (what == SYN_ACK || what == ACK) && boundTo[me] != NOBODY && boundTo[me] != from &&
       REMEMBER_OTHER_HOST ->
        printf("partner %d remembers host %d\n", number(me), from);
        otherHost[me] = from
    :: what == REQUEST && boundTo[me] == from -> asked[me] = true
    :: what == VANISHED && boundTo[me] == from -> partnerUnbinds(me)
    :: else -> printf("partner %d ignores it\n", number(me))
    fi
}

proctype Partner(byte me) {
    do
    :: d_step { life[me] == RUNS && announces[me] == NOTHING && len(inbox[me]) > 0 ->
        partnerReceives(me) }
    :: d_step { maySendRequestName(me) ->
        if
        :: isGranted(me) ->
            printf("partner %d takes _SERVICE_%e\n", number(me), announces[me]);
            take(me)
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
    :: d_step { life[me] == RUNS && announces[me] == NOTHING && hasPartnerPeriods(me) ->
        countPeriod(me);
        announces[me] = (owed[me] != NOTHING -> owed[me] : SYN) }

#if LOST_ANSWERS
    :: d_step { mayTimeOut(me) && late[me] == NOTHING ->
        printf("partner %d gets no answer to RequestName of _SERVICE_%e\n", number(me),
               announces[me]);
        timeOutOfRequestName(me); partnerFailed(me) }
    :: d_step { mayTimeOut(me) && owns[me] ->
        printf("partner %d gets no answer to ReleaseName of _SERVICE_%e\n", number(me),
               announces[me]);
        timeOutOfReleaseName(me); partnerFailed(me) }
#endif
    od
}

/* ---------------------------------------------------------------------------------------- fate */

inline start(process) {
    life[process] = RUNS;
    announces[process] = SYN;
    forgetPeriods();
    if
    :: isHost(process) -> printf("host %d starts\n", process); state[process] = 1
    :: else -> printf("partner %d starts\n", number(process))
    fi
}

inline end(process) {
    life[process] = ENDED;
    count = len(inbox[process]);
    do :: count > 0 -> inbox[process]?what,from; count-- :: else -> break od;
    boundTo[process] = NOBODY;
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
        ready[process] = false; otherHost[process] = NOBODY
    fi
}

#define hasEnded(process) (life[process] >= ENDED)
#define mayReplace(process) (life[process] == NOT_STARTED && hasEnded(process - 1))

proctype Fate() {
    do
    :: d_step { life[FIRST_HOST] == NOT_STARTED -> start(FIRST_HOST) }
    :: d_step { life[FIRST_PARTNER] == NOT_STARTED -> start(FIRST_PARTNER) }
#if HOSTS > 1
    :: d_step { life[FIRST_HOST] == RUNS -> end(FIRST_HOST) }
    :: d_step { mayReplace(LAST_HOST) || (HOSTS_AT_ONCE && life[LAST_HOST] == NOT_STARTED) ->
        start(LAST_HOST) }
#endif
#if PARTNERS > 1
    :: d_step { life[FIRST_PARTNER] == RUNS && PARTNERS - RESTARTS > 1 -> end(FIRST_PARTNER) }
    :: d_step { mayReplace(FIRST_PARTNER + 1) -> start(FIRST_PARTNER + 1) }
#endif
#if PARTNERS > 2
    :: d_step { life[FIRST_PARTNER + 1] == RUNS && PARTNERS - RESTARTS > 2 ->
        end(FIRST_PARTNER + 1) }
    :: d_step { mayReplace(FIRST_PARTNER + 2) -> start(FIRST_PARTNER + 2) }
#endif
    od
}

/* ------------------------------------------------------------------------------------- verdict */

#define areBound(one, other) (boundTo[one] == other && boundTo[other] == one)
#define waits(process) \
    (owed[process] != NOTHING || (isHost(process) && thread[process] != NO_THREAD))

inline judgePair() {
    if
    :: life[host] != RUNS || life[partner] != RUNS -> failed = NOTHING
    :: else ->
        failed = (areBound(host, partner) ->
                     (waits(host) || waits(partner) -> NOBODY_WAITS :
                         (state[host] == 3 && ready[partner] -> NOTHING : BOTH_READY)) :
                     BOUND_TO_EACH_OTHER)
    fi
}

/* The last partners of a run with RESTARTS replace one that the host cannot find. */
#define mayRestart(process) (RESTARTS && process < LAST)

proctype Verdict() {
    do
    :: d_step { isQuiet && haveAllWaited ->
        findPair();
        judgePair();
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
        run Bus(); run Fate(); run Verdict();
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
