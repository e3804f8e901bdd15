package applist.partner;

import java.util.ArrayDeque;
import java.util.Deque;

/**
 * The partner's half of the handshake: finds one host, and finds it again.
 *
 * <p>Each side announces a step by owning a name for a moment. The other side receives the release
 * of the name, with the unique name of the announcing process. An announcement has no addressee,
 * and either side may end at any moment. Six duties repair the pairs in which a side would
 * otherwise wait for ever:
 * <ul>
 * <li>answer {@code _CLIENT_SYN_ACK} of the bound host again,
 * <li>announce {@code _SERVICE_SYN} again without a host,
 * <li>announce {@code _SERVICE_SYN} again until the bound host sends a request,
 * <li>announce again while another process owns the name ({@link Announcement}),
 * <li>remember other hosts that are bound, for the end of the own host,
 * <li>without a host, bind to the sender of {@code _CLIENT_ACK}.
 * </ul>
 */
final class Handshake {

    /** The events of the handshake. */
    interface Listener {
        /** The host accepts notifications. Called after each handshake, also with the same host. */
        void onReady(String host);

        void onLost(String host);
    }

    static final String PREFIX = "org.morva.JavaMW.Applist";
    static final long FIRST_PERIOD_MS = 1000;
    static final long LONGEST_PERIOD_MS = 32000;

    private final Bus bus;
    private final Timers timers;
    private final Output output;
    private final Listener listener;
    private final Announcement announcement;
    private final Deque<BoundHost> others = new ArrayDeque<>();
    private BoundHost host;
    private boolean isReady;
    private boolean hostHasAsked;
    private Cancellable timer = Cancellable.NOTHING;
    private long periodMs;

    /** A host and the watch of its end. */
    private record BoundHost(String name, Cancellable watch) { }

    Handshake(Bus bus, Timers timers, Output output, Listener listener) {
        this.bus = bus;
        this.timers = timers;
        this.output = output;
        this.listener = listener;
        announcement = new Announcement(bus, timers, output);
    }

    /** Watches the names of hosts, and then announces the partner. */
    void start() {
        bus.watchRelease(PREFIX + "_CLIENT_SYN", this::onSyn);
        bus.watchRelease(PREFIX + "_CLIENT_SYN_ACK", this::onSynAck);
        bus.watchRelease(PREFIX + "_CLIENT_ACK", this::onAck);
        announceSyn("a partner has started");
        startTimer();
    }

    /** Ends all timers. The bus is gone. */
    void stop() {
        unbind();
        others.clear();
    }

    boolean isHost(String sender) {
        return host != null && host.name.equals(sender);
    }

    /** The host that accepts notifications, or null. */
    String readyHost() {
        return isReady ? host.name : null;
    }

    /** Only a request of the host proves that the host is bound to this partner. */
    void onRequest() {
        hostHasAsked = true;
        timer.cancel();
    }

    // The steps of hosts

    private void onSyn(String sender) {
        if (isOther(sender)) {
            forget(sender); // a host that starts is not bound
            return;
        }
        output.received("_CLIENT_SYN from " + sender + ": a host has started");
        unbind(); // the own host, too: it has created a new list
        bind(sender);
        announce("_SERVICE_SYN_ACK", "bound to " + sender, () -> { });
    }

    private void onSynAck(String sender) {
        if (isOther(sender)) {
            remember(sender);
            return;
        }
        output.received("_CLIENT_SYN_ACK from " + sender + ": it is bound to a partner");
        if (host == null) {
            bind(sender);
        }
        announceAck();
    }

    private void onAck(String sender) {
        if (isOther(sender)) {
            remember(sender);
            return;
        }
        output.received("_CLIENT_ACK from " + sender + ": it is ready");
        if (host == null) {
            bind(sender);
        }
        announcement.cancel();
        becomeReady();
    }

    private void onHostEnd() {
        String lost = host.name;
        unbind();
        listener.onLost(lost);
        if (others.isEmpty()) {
            announceSyn("a partner is free");
            startTimer();
        } else {
            bind(others.getLast().name);
            announceAck();
        }
    }

    // The binding

    private void bind(String name) {
        forget(name);
        hostHasAsked = false;
        host = new BoundHost(name, bus.watchRelease(name, end -> onHostEnd()));
        startTimer();
    }

    private void unbind() {
        announcement.cancel();
        timer.cancel();
        if (host != null) {
            host.watch.cancel();
        }
        host = null;
        isReady = false;
    }

    private void becomeReady() {
        isReady = true;
        hostHasAsked = false;
        startTimer();
        listener.onReady(host.name);
    }

    // Other hosts

    private boolean isOther(String sender) {
        return host != null && !isHost(sender);
    }

    private void remember(String sender) {
        output.problem(sender + " is not answered: " + host.name + " is the host, one at a time");
        forget(sender);
        others.addLast(new BoundHost(sender, bus.watchRelease(sender, end -> forget(sender))));
    }

    private void forget(String name) {
        others.removeIf(other -> {
            if (!other.name.equals(name)) {
                return false;
            }
            other.watch.cancel();
            return true;
        });
    }

    // Announcements

    private void startTimer() {
        timer.cancel();
        periodMs = FIRST_PERIOD_MS;
        timer = timers.after(periodMs, this::repeatSyn);
    }

    private void repeatSyn() {
        if (!announcement.isUnderWay()) { // an answer to the host goes first
            if (host == null) {
                announceSyn("again, no host has answered");
            } else if (!hostHasAsked) {
                announceSyn("again, " + host.name + " has sent no request");
            }
        }
        periodMs = Math.min(2 * periodMs, LONGEST_PERIOD_MS);
        timer = timers.after(periodMs, this::repeatSyn);
    }

    private void announceSyn(String meaning) {
        announce("_SERVICE_SYN", meaning, () -> { });
    }

    private void announceAck() {
        announce("_SERVICE_ACK", "ready", this::becomeReady);
    }

    private void announce(String step, String meaning, Runnable onDone) {
        announcement.start(PREFIX + step, step + ": " + meaning, onDone);
    }
}
