package applist.partner;

import java.io.IOException;
import java.util.function.Consumer;

/** Keeps the partner on the bus: connects, and connects again after the end of the bus. */
final class Session implements SystemBus.Events {

    static final long RECONNECT_PERIOD_MS = 500;

    private final PartnerThread thread;
    private final Output output;
    private final String address;
    private final Application application;
    private SystemBus bus;
    private Partner partner;

    Session(PartnerThread thread, Output output, String address, Application application) {
        this.thread = thread;
        this.output = output;
        this.address = address;
        this.application = application;
    }

    /** The present partner, or null without a bus. */
    Partner partner() {
        return partner;
    }

    /** Runs on the thread of the partner, as all methods of this class. */
    void connect() {
        try {
            bus = new SystemBus(address, thread, this);
            partner = new Partner(bus, thread, output, application);
            partner.start();
        } catch (IOException problem) {
            partner = null;
            thread.after(RECONNECT_PERIOD_MS, this::connect);
        }
    }

    void leave() {
        if (bus != null) {
            bus.close();
        }
    }

    @Override
    public void onConnected(String uniqueName) {
        output.line("on the bus at " + address + " as " + uniqueName);
    }

    @Override
    public void onSend(String sender, byte[] message, Consumer<byte[]> reply) {
        partner.onSend(sender, message, reply);
    }

    @Override
    public void onLost(String reason) {
        output.error("the bus is gone: " + reason);
        partner.stop();
        partner = null;
        thread.after(RECONNECT_PERIOD_MS, this::connect);
    }
}
