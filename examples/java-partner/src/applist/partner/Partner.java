package applist.partner;

import java.util.List;
import java.util.function.Consumer;

/**
 * The partner of one bus connection: keeps a list equal to that of the host, and replies to the
 * host. Changes and clicks go to the {@link Application}.
 *
 * <p>All methods but {@link #list()} run on the thread of the partner. None of them waits: a thread
 * of the host is blocked until the reply to its request.
 */
final class Partner implements Handshake.Listener {

    private final Bus bus;
    private final Output output;
    private final Application application;
    private final Handshake handshake;
    private volatile ItemList list = ItemList.EMPTY;
    private boolean awaitsWholeList;

    Partner(Bus bus, Timers timers, Output output, Application application) {
        this.bus = bus;
        this.output = output;
        this.application = application;
        handshake = new Handshake(bus, timers, output, this);
    }

    void start() {
        handshake.start();
    }

    /** The bus is gone. */
    void stop() {
        handshake.stop();
    }

    /** The present list, for any thread. */
    ItemList list() {
        return list;
    }

    // The handshake

    /** The changes of the host before the handshake are unknown, so the list starts again. */
    @Override
    public void onReady(String host) {
        output.line("connected with " + host);
        application.onHost(true);
        recreate();
    }

    @Override
    public void onLost(String host) {
        output.line("lost the host " + host);
        application.onHost(false);
    }

    // Requests of the host

    /** Replies at once, and then changes the list. */
    void onSend(String sender, byte[] message, Consumer<byte[]> reply) {
        if (!handshake.isHost(sender)) {
            reply.accept(new byte[0]);
            output.problem("a request of " + sender + ", which is not the host, is ignored");
            return;
        }
        handshake.onRequest();
        Request request = Request.read(message);
        reply.accept(replyTo(request));
        if (request.isMalformed()) {
            output.problem("a malformed request is ignored: " + request.problem());
        } else {
            show(request);
            apply(request);
        }
    }

    private byte[] replyTo(Request request) {
        Item selection = list.selection();
        boolean isQuery = request.kind() == RequestKind.APPLIST_GET_SELECTION_FNC;
        return isQuery && selection != null ? WireFormat.record(selection) : new byte[0];
    }

    private void apply(Request request) {
        switch (request.kind()) {
            case APPLIST_GET_SELECTION_FNC -> { } // the reply was sent before
            case APPLIST_SET_SELECTION_FNC -> keep(list.select(request.item()));
            case APPLIST_SET_CLICKED_FNC -> {
                notifyHost(Notification.APPLIST_ITEM_CLICKED_EVENT,
                    Output.describe(request.item()));
                application.onClick(request.item());
            }
            case APPLIST_MODIFY_ITEM_FNC ->
                keep(list.modify(request.item().id(), request.items().get(1)));
            case APPLIST_REMOVE_ALL_ITEMS_FNC -> resize(ItemList.EMPTY);
            case APPLIST_ADD_ITEMS_FNC -> resize(listFor(request.items()).addMissing(request.items()));
            case APPLIST_ADD_ITEM_AT_END_FNC -> resize(list.append(request.item()));
            case APPLIST_REMOVE_ITEM_FNC -> resize(list.remove(request.item().id()));
        }
    }

    /**
     * The host may append items between the handshake and notification 4. The whole list, which
     * comes later, contains these items at their right places.
     */
    private ItemList listFor(List<Item> items) {
        if (awaitsWholeList && list.isPartOf(items)) {
            awaitsWholeList = false;
            return ItemList.EMPTY;
        }
        return list;
    }

    private void keep(ItemList changed) {
        list = changed;
        application.onChange(changed);
    }

    private void resize(ItemList changed) {
        keep(changed);
        output.line("   my list has " + Output.count(list.size()) + " now");
    }

    private void show(Request request) {
        String title = request.kind().title();
        switch (request.kind()) {
            case APPLIST_GET_SELECTION_FNC -> output.received(title + ": answered with "
                + (list.selection() == null ? "nothing" : Output.describe(list.selection())));
            case APPLIST_REMOVE_ALL_ITEMS_FNC -> output.received(title);
            case APPLIST_ADD_ITEMS_FNC -> {
                output.received(title + ": " + Output.count(request.items().size()));
                output.items(request.items());
            }
            case APPLIST_MODIFY_ITEM_FNC -> output.received(title + ": "
                + Output.describe(request.item()) + " becomes "
                + Output.describe(request.items().get(1)));
            default -> output.received(title + ": " + Output.describe(request.item()));
        }
    }

    // Actions of the user. Each one changes the list first: the host may query at once.

    /** Selects the item at an index. */
    void select(int index) {
        keep(list.selectAt(index));
        notifyHost(Notification.APPLIST_ITEM_SELECTION_EVENT, Output.describe(list.selection()));
    }

    void selectNone() {
        keep(list.selectNone());
        notifyHost(Notification.APPLIST_ITEM_SELECTION_EVENT, "none");
    }

    /** Clicks the item at an index. */
    void click(int index) {
        notifyHost(Notification.APPLIST_ITEM_CLICKED_EVENT,
            Output.describe(list.items().get(index)));
    }

    /** Removes the item at an index. The host receives the change, but not the removed item. */
    void remove(int index) {
        resize(list.removeAt(index));
        change();
    }

    void change() {
        notifyHost(Notification.APPLIST_ITEM_CHANGE_EVENT, "my list has changed");
    }

    /** Empties the list, and requests the items of the host with notification 4. */
    void recreate() {
        keep(ItemList.EMPTY);
        awaitsWholeList = true;
        notifyHost(Notification.APPLIST_LOCAL_CREATED_EVENT, "my list is new, please fill it");
    }

    private void notifyHost(Notification notification, String meaning) {
        String host = handshake.readyHost();
        if (host == null) {
            output.error(notification.title() + " is not sent: no host is ready");
            return;
        }
        bus.sendSignal(host, WireFormat.notification(notification.id));
        output.sent(notification.title() + ": " + meaning);
    }
}
