package applist.partner;

import java.util.concurrent.Executor;
import java.util.concurrent.Future;
import java.util.concurrent.ScheduledThreadPoolExecutor;
import java.util.concurrent.TimeUnit;

/** The single thread for all events of the bus, all timers and all commands. */
final class PartnerThread implements Executor, Timers {

    private final ScheduledThreadPoolExecutor executor =
        new ScheduledThreadPoolExecutor(1, action -> new Thread(action, "partner"));
    private final Output output;

    PartnerThread(Output output) {
        this.output = output;
    }

    @Override
    public void execute(Runnable action) {
        executor.execute(() -> run(action));
    }

    @Override
    public Cancellable after(long milliseconds, Runnable action) {
        Future<?> future =
            executor.schedule(() -> run(action), milliseconds, TimeUnit.MILLISECONDS);
        return () -> future.cancel(false);
    }

    /** The executor would drop an exception without a message. */
    private void run(Runnable action) {
        try {
            action.run();
        } catch (RuntimeException defect) {
            output.error("a defect of the partner: " + defect);
            defect.printStackTrace();
        }
    }
}
