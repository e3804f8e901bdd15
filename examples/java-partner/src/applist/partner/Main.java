package applist.partner;

import java.io.FileDescriptor;
import java.io.FileOutputStream;
import java.io.IOException;
import java.io.PrintStream;

/** Runs a partner with commands on standard input, and without an application. */
final class Main {

    private Main() { }

    public static void main(String[] arguments) throws IOException {
        Output output = new Output(
            new PrintStream(new FileOutputStream(FileDescriptor.out), false), System.err);
        PartnerThread thread = new PartnerThread(output);
        Session session = new Session(thread, output, SystemBus.address(), Application.NONE);
        thread.execute(session::connect);
        Runnable quit = () -> {
            session.leave();
            System.exit(0);
        };
        new Commands(thread, output, session, quit).read(System.in);
        thread.execute(quit);
    }
}
