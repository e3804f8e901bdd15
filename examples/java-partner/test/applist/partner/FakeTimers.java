package applist.partner;

import java.util.ArrayList;
import java.util.Comparator;
import java.util.List;

/** Timers whose time passes when a test lets it pass. */
final class FakeTimers implements Timers {

    private record Entry(long time, Runnable action) { }

    private final List<Entry> entries = new ArrayList<>();
    private long now;

    @Override
    public Cancellable after(long milliseconds, Runnable action) {
        Entry entry = new Entry(now + milliseconds, action);
        entries.add(entry);
        return () -> entries.remove(entry);
    }

    void pass(long milliseconds) {
        long end = now + milliseconds;
        while (true) {
            Entry next = entries.stream().filter(entry -> entry.time <= end)
                .min(Comparator.comparingLong(Entry::time)).orElse(null);
            if (next == null) {
                now = end;
                return;
            }
            entries.remove(next);
            now = next.time;
            next.action.run();
        }
    }
}
