package applist.partner;

/**
 * Announces a step of the handshake: owns its name for a moment. While another process owns the
 * name, the announcement is repeated. The latest announcement cancels an earlier one.
 */
final class Announcement {

    /** A name is owned for one round trip, a few milliseconds. */
    static final long REPEAT_PERIOD_MS = 100;

    private final Bus bus;
    private final Timers timers;
    private final Output output;
    private Cancellable repeat = Cancellable.NOTHING;
    private Runnable whenDone;
    private int attempts;

    Announcement(Bus bus, Timers timers, Output output) {
        this.bus = bus;
        this.timers = timers;
        this.output = output;
    }

    /**
     * Announces a name.
     *
     * @param text the line for the output
     * @param onDone called after the announcement, but not after a failure
     */
    void start(String name, String text, Runnable onDone) {
        cancel();
        whenDone = onDone;
        attempt(name, text);
    }

    void cancel() {
        repeat.cancel();
        whenDone = null;
        attempts++; // the reply to a call under way has no effect
    }

    boolean isUnderWay() {
        return whenDone != null;
    }

    private void attempt(String name, String text) {
        int number = ++attempts;
        bus.announce(name, reply -> {
            if (number == attempts) {
                onReply(reply, name, text);
            }
        });
    }

    private void onReply(Bus.NameReply reply, String name, String text) {
        if (reply == Bus.NameReply.OWNED_BY_ANOTHER) {
            repeat = timers.after(REPEAT_PERIOD_MS, () -> attempt(name, text));
            return;
        }
        Runnable action = whenDone;
        whenDone = null;
        switch (reply) {
            case DONE -> {
                output.sent(text);
                action.run();
            }
            case REFUSED -> output.error("the bus policy refuses the name " + name);
            default -> output.error("cannot own the name " + name);
        }
    }
}
