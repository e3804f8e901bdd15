package applist.partner;

/** A registration that ends when it is cancelled. A second cancellation has no effect. */
interface Cancellable {

    Cancellable NOTHING = () -> { };

    void cancel();
}
