package applist.partner;

import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStream;
import java.io.InputStreamReader;
import java.nio.charset.StandardCharsets;
import java.util.function.IntConsumer;

/**
 * Commands in the place of a user. Main reads them from standard input. A product may read them from
 * a named pipe, on a thread of its own, for {@code applistctl check partner --drive}.
 */
final class Commands {

    private static final String HELP = """
          list              show list and selection
          select ITEM|none  move the selection, and notify the host
          click ITEM        notify the host of a click
          change [ITEM]     notify the host of a change of the list
          remove ITEM       remove an item, and notify the host of the change
          recreate          create a new list, and ask the host for its items
          help              show these commands
          quit              exit, as at the end of the input
        ITEM is a number in the list, or the id of an item.
        """;

    private final PartnerThread thread;
    private final Output output;
    private final Session session;
    private final Runnable quit;

    /** @param quit ends the process */
    Commands(PartnerThread thread, Output output, Session session, Runnable quit) {
        this.thread = thread;
        this.output = output;
        this.session = session;
        this.quit = quit;
    }

    /** Reads until the end of the input. The commands run on the thread of the partner. */
    void read(InputStream from) throws IOException {
        BufferedReader input =
            new BufferedReader(new InputStreamReader(from, StandardCharsets.ISO_8859_1));
        for (String line = input.readLine(); line != null; line = input.readLine()) {
            String command = line.strip();
            thread.execute(() -> run(command));
        }
    }

    private void run(String line) {
        String[] words = line.split("\\s+");
        Partner partner = session.partner();
        if (line.isEmpty() || line.startsWith("#")) {
            return;
        }
        if (words[0].equals("help")) {
            HELP.lines().forEach(output::line);
        } else if (words[0].equals("quit")) {
            quit.run();
        } else if (partner == null) {
            output.error("the partner is not on the bus");
        } else {
            run(words, partner);
        }
    }

    private void run(String[] words, Partner partner) {
        String argument = words.length == 2 ? words[1] : "";
        switch (words[0]) {
            case "list" -> output.list(partner.list());
            case "change" -> partner.change();
            case "recreate" -> partner.recreate();
            case "select" -> {
                if (argument.equals("none")) {
                    partner.selectNone();
                } else {
                    withItem(argument, partner, partner::select);
                }
            }
            case "click" -> withItem(argument, partner, partner::click);
            case "remove" -> withItem(argument, partner, partner::remove);
            default -> output.error("unknown command \"" + words[0] + "\"; type help for a list");
        }
    }

    private void withItem(String text, Partner partner, IntConsumer action) {
        ItemList list = partner.list();
        int place = text.matches("[0-9]{1,9}") ? Integer.parseInt(text) - 1 : -1;
        int index = place >= 0 && place < list.size() ? place : list.indexOf(text);
        if (index < 0) {
            output.error("no item \"" + text + "\" in the list");
        } else {
            action.accept(index);
        }
    }
}
