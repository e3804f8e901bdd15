package applist.partner;

import java.io.IOException;
import java.text.ParseException;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.Executor;
import java.util.function.Consumer;

import org.freedesktop.dbus.DBusSignal;
import org.freedesktop.dbus.Error;
import org.freedesktop.dbus.Message;
import org.freedesktop.dbus.MethodCall;
import org.freedesktop.dbus.MethodReturn;
import org.freedesktop.dbus.Transport;
import org.freedesktop.dbus.exceptions.DBusException;

/**
 * A connection to the system bus. This class and {@link DirectedSignal} alone use the library.
 *
 * <p>The class uses the messages of the library, not its proxies and exported objects: a proxy waits
 * for each reply, and the library calls exported objects on threads of its own. Here one thread reads
 * the socket and hands each message over to the thread of the partner. That thread handles all
 * messages, in their order, and writes all messages.
 */
final class SystemBus implements Bus {

    /** The events of a connection, on the thread of the partner. */
    interface Events {
        void onConnected(String uniqueName);

        /** A request of a host, or of another process. The reply is due at once. */
        void onSend(String sender, byte[] message, Consumer<byte[]> reply);

        /** The last event. */
        void onLost(String reason);
    }

    static final String PATH = "/org/morva/javamw/CommunicationChannel/Applist";
    static final String INTERFACE = "org.morva.javamw.DbusCommunication";

    private static final String BUS_NAME = "org.freedesktop.DBus";
    private static final String BUS_PATH = "/org/freedesktop/DBus";
    private static final int DO_NOT_QUEUE = 4;
    private static final int PRIMARY_OWNER = 1;
    private static final int EXISTS = 3;
    private static final String INTROSPECTION =
        "<node><interface name=\"" + INTERFACE + "\"><method name=\"Send\">"
        + "<arg type=\"ay\" name=\"data\" direction=\"in\"/>"
        + "<arg type=\"ay\" name=\"response\" direction=\"out\"/>"
        + "</method></interface></node>";

    private final Executor partnerThread;
    private final Events events;
    private final Transport transport;
    private final Map<Long, Consumer<Message>> pending = new HashMap<>();
    private final Map<String, List<Consumer<String>>> watches = new HashMap<>();
    private boolean isLost;

    /** Connects. The bus, not a host, decides how long this takes. */
    SystemBus(String address, Executor partnerThread, Events events) throws IOException {
        this.partnerThread = partnerThread;
        this.events = events;
        try {
            transport = new Transport(address);
        } catch (ParseException problem) {
            throw new IOException(problem.getMessage(), problem);
        }
        call("Hello", null, reply -> events.onConnected((String) argument(reply)));
        Thread reader = new Thread(this::readMessages, "bus reader");
        reader.setDaemon(true);
        reader.start();
    }

    /** The address in the environment, or the usual one. */
    static String address() {
        String address = System.getenv("DBUS_SYSTEM_BUS_ADDRESS");
        return address != null ? address : "unix:path=/var/run/dbus/system_bus_socket";
    }

    /** Leaves the bus. All messages so far have been written to the socket. */
    void close() {
        isLost = true;
        try {
            transport.disconnect();
        } catch (IOException ignored) {
            // the bus has closed the connection before
        }
    }

    // Bus

    @Override
    public void announce(String name, Consumer<NameReply> onReply) {
        call("RequestName", "su", reply -> onReply.accept(nameReply(reply)), name, DO_NOT_QUEUE);
        call("ReleaseName", "s", reply -> { }, name);
    }

    @Override
    public Cancellable watchRelease(String name, Consumer<String> onRelease) {
        boolean[] isOver = {false};
        Consumer<String> watch = owner -> {
            if (!isOver[0]) {
                onRelease.accept(owner);
            }
        };
        watches.computeIfAbsent(name, any -> new ArrayList<>()).add(watch);
        call("AddMatch", "s", reply -> { }, rule(name));
        if (name.startsWith(":")) { // the process may have ended before the rule was added
            call("NameHasOwner", "s", reply -> {
                if (Boolean.FALSE.equals(argument(reply))) {
                    watch.accept(name);
                }
            }, name);
        }
        return () -> {
            if (!isOver[0]) {
                isOver[0] = true;
                watches.get(name).remove(watch);
                call("RemoveMatch", "s", reply -> { }, rule(name));
            }
        };
    }

    @Override
    public void sendSignal(String receiver, byte[] message) {
        write(() -> new DirectedSignal(receiver, PATH, INTERFACE, "SendSignal", message));
    }

    private static String rule(String name) {
        return "type='signal',sender='" + BUS_NAME + "',interface='" + BUS_NAME
            + "',member='NameOwnerChanged',arg0='" + name + "'";
    }

    private static NameReply nameReply(Message reply) {
        if (reply instanceof Error) {
            return "org.freedesktop.DBus.Error.AccessDenied".equals(reply.getName())
                ? NameReply.REFUSED : NameReply.FAILED;
        }
        return switch (((Number) argument(reply)).intValue()) {
            case PRIMARY_OWNER -> NameReply.DONE;
            case EXISTS -> NameReply.OWNED_BY_ANOTHER;
            default -> NameReply.FAILED;
        };
    }

    // Messages to the bus

    private void call(String method, String signature, Consumer<Message> onReply, Object... body) {
        write(() -> {
            MethodCall call = new MethodCall(BUS_NAME, BUS_PATH, BUS_NAME, method, (byte) 0,
                signature, body);
            pending.put(call.getSerial(), onReply);
            return call;
        });
    }

    /** Makes a message. */
    private interface Maker {
        Message make() throws DBusException;
    }

    private void write(Maker maker) {
        try {
            if (!isLost) {
                transport.mout.writeMessage(maker.make());
            }
        } catch (IOException closed) {
            // the thread that reads reports the end of the connection
        } catch (DBusException problem) {
            throw new IllegalArgumentException(problem); // a message that is against the protocol
        }
    }

    // Messages from the bus

    private void readMessages() {
        try {
            while (true) {
                Message message = readMessage();
                if (message != null) {
                    partnerThread.execute(() -> handle(message));
                }
            }
        } catch (Throwable problem) { // an OutOfMemoryError, too, must not leave a deaf partner
            partnerThread.execute(() -> lose(problem.getMessage()));
        }
    }

    /** Reads a part of a message. Returns null unless the message is complete and well-formed. */
    private Message readMessage() throws IOException {
        try {
            return transport.min.readMessage();
        } catch (DBusException | RuntimeException malformed) {
            return null; // the library has read the whole message
        }
    }

    private void lose(String reason) {
        if (!isLost) {
            close();
            events.onLost(reason);
        }
    }

    private void handle(Message message) {
        if (isLost) {
            return;
        }
        if (message instanceof MethodCall call) {
            onCall(call);
        } else if (BUS_NAME.equals(message.getSource())) { // other processes may imitate the bus
            if (message instanceof DBusSignal) {
                onBusSignal(message);
            } else {
                Consumer<Message> onReply = pending.remove(message.getReplySerial());
                if (onReply != null) {
                    onReply.accept(message);
                }
            }
        }
    }

    private void onBusSignal(Message signal) {
        Object[] values = arguments(signal);
        if ("NameOwnerChanged".equals(signal.getName()) && values.length == 3
            && "".equals(values[2])) {
            List<Consumer<String>> concerned = watches.getOrDefault((String) values[0], List.of());
            List.copyOf(concerned).forEach(watch -> watch.accept((String) values[1]));
        }
    }

    private void onCall(MethodCall call) {
        String method = call.getInterface() + "." + call.getName();
        Object argument = argument(call);
        if (method.equals(INTERFACE + ".Send") && PATH.equals(call.getPath())
            && argument instanceof byte[] message && "ay".equals(call.getSig())) {
            events.onSend(call.getSource(), message, response -> reply(call, "ay", response));
        } else if (method.equals("org.freedesktop.DBus.Peer.Ping")) {
            reply(call, null);
        } else if (method.equals("org.freedesktop.DBus.Introspectable.Introspect")) {
            reply(call, "s", PATH.equals(call.getPath()) ? INTROSPECTION : "<node/>");
        } else {
            write(() -> new Error(call.getSource(), "org.freedesktop.DBus.Error.UnknownMethod",
                call.getSerial(), "s", "no method " + method));
        }
    }

    private void reply(MethodCall call, String signature, Object... body) {
        if ((call.getFlags() & Message.Flags.NO_REPLY_EXPECTED) == 0) {
            write(() -> new MethodReturn(call, signature, body));
        }
    }

    private static Object argument(Message message) {
        Object[] values = arguments(message);
        return values.length > 0 ? values[0] : null;
    }

    private static Object[] arguments(Message message) {
        try {
            Object[] values = message.getParameters();
            return values != null ? values : new Object[0];
        } catch (DBusException | RuntimeException malformed) {
            return new Object[0];
        }
    }
}
