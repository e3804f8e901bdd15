package applist.partner;

import java.util.function.Consumer;

/**
 * The bus for the handshake and the list. No method waits for a reply. All callbacks run on the
 * thread of the partner.
 */
interface Bus {

    /** The reply of the bus to RequestName. */
    enum NameReply {
        /** The name was owned, and is released. */
        DONE,
        /** Another process owns the name. */
        OWNED_BY_ANOTHER,
        /** The bus policy does not allow this process to own the name. */
        REFUSED,
        FAILED
    }

    /** Sends RequestName, with "do not queue", and ReleaseName together. */
    void announce(String name, Consumer<NameReply> onReply);

    /**
     * Reports each release of a well-known name, with the unique name of its last owner.
     * The end of a process is the release of its unique name, also if the process ended before.
     */
    Cancellable watchRelease(String name, Consumer<String> onRelease);

    /** Sends the signal {@code SendSignal} to one unique name. */
    void sendSignal(String receiver, byte[] message);
}
