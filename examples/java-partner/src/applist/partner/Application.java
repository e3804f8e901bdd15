package applist.partner;

/**
 * The code of your application. The partner calls these methods on its thread, after the reply to
 * the request. None of them may wait: the next request of the host waits for the return.
 */
interface Application {

    /** Without code, for the console and for tests. */
    Application NONE = new Application() { };

    /** A host is ready, or the host has gone. The items stay until the next host. */
    default void onHost(boolean isReady) { }

    /** Items or selection have changed. The list is immutable, and may go to other threads. */
    default void onChange(ItemList list) { }

    /** The user of the host has clicked an item. */
    default void onClick(Item item) { }
}
