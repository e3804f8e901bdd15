package applist.partner;

/** Delayed actions on the thread of the partner. */
interface Timers {

    /** Runs an action later, once. */
    Cancellable after(long milliseconds, Runnable action);
}
