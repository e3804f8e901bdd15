package applist.partner;

import java.util.ArrayList;
import java.util.HashMap;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.function.Consumer;

/** A bus without other processes. A test makes its events. */
final class FakeBus implements Bus {

    /** The announcements so far, each as {@code _SERVICE_SYN}. */
    final List<String> announced = new ArrayList<>();
    /** The signals so far, each as {@code :1.5 4}. */
    final List<String> signals = new ArrayList<>();
    /** The names that other processes own. */
    final Set<String> ownedByOthers = new HashSet<>();
    /** The names that the policy refuses. */
    final Set<String> refused = new HashSet<>();

    private final Map<String, List<Consumer<String>>> watches = new HashMap<>();

    @Override
    public void announce(String name, Consumer<NameReply> onReply) {
        String step = name.substring(Handshake.PREFIX.length());
        if (refused.contains(step)) {
            onReply.accept(NameReply.REFUSED);
        } else if (ownedByOthers.contains(step)) {
            onReply.accept(NameReply.OWNED_BY_ANOTHER);
        } else {
            announced.add(step);
            onReply.accept(NameReply.DONE);
        }
    }

    @Override
    public Cancellable watchRelease(String name, Consumer<String> onRelease) {
        watches.computeIfAbsent(name, any -> new ArrayList<>()).add(onRelease);
        return () -> watches.get(name).remove(onRelease);
    }

    @Override
    public void sendSignal(String receiver, byte[] message) {
        signals.add(receiver + " " + WireFormat.id(message));
    }

    /** A host releases the name of a step, such as {@code _CLIENT_SYN}. */
    void release(String step, String host) {
        report(Handshake.PREFIX + step, host);
    }

    void end(String host) {
        report(host, host);
    }

    /** The announcements since the last call. */
    List<String> takeAnnounced() {
        List<String> taken = List.copyOf(announced);
        announced.clear();
        return taken;
    }

    private void report(String name, String owner) {
        List.copyOf(watches.getOrDefault(name, List.of())).forEach(watch -> watch.accept(owner));
    }
}
