package applist.partner;

import java.io.PrintStream;
import java.nio.ByteBuffer;
import java.nio.charset.CharacterCodingException;
import java.nio.charset.StandardCharsets;
import java.util.HexFormat;
import java.util.List;

/**
 * The output of the example: one event per line, in the form of {@code applistctl partner}. A
 * partner of your own replaces this class with its log.
 */
class Output {

    private static final int WIDEST_COLUMN = 32;

    private final PrintStream out;
    private final PrintStream errors;

    Output(PrintStream out, PrintStream errors) {
        this.out = out;
        this.errors = errors;
    }

    void line(String text) {
        lines(List.of(text));
    }

    private void lines(List<String> texts) {
        byte[] bytes = Item.bytes(String.join("\n", texts) + "\n"); // the bytes of items, unchanged
        out.write(bytes, 0, bytes.length);
        out.flush();
    }

    void received(String text) {
        line("<- " + text);
    }

    void sent(String text) {
        line("-> " + text);
    }

    /** An unexpected event. The partner continues. */
    void problem(String text) {
        line("!! " + text);
    }

    /** A failed command, or a failure that needs a person. */
    void error(String text) {
        errors.println("java-partner: " + text);
    }

    void list(ItemList list) {
        line("list: " + count(list.size()));
        Item selection = list.selection();
        int marked = selection == null ? -1 : list.indexOf(selection.id());
        int column = column(list.items());
        int digits = Integer.toString(list.size()).length();
        for (int i = 0; i < list.size(); i++) {
            String number = String.format("%" + digits + "d", i + 1);
            line((i == marked ? "  * " : "    ") + number + "  "
                + inColumns(list.items().get(i), column));
        }
        line("selection: " + (selection == null ? "none" : describe(selection)));
    }

    void items(List<Item> items) {
        int column = column(items);
        lines(items.stream().map(item -> "     " + inColumns(item, column)).toList());
    }

    static String count(int items) {
        return items + (items == 1 ? " item" : " items");
    }

    static String describe(Item item) {
        return printable(item.name()) + " (" + printable(item.id()) + ")";
    }

    private static int column(List<Item> items) {
        int widest = items.stream().mapToInt(item -> width(printable(item.name()))).max().orElse(0);
        return Math.min(widest, WIDEST_COLUMN);
    }

    private static String inColumns(Item item, int column) {
        String name = printable(item.name());
        return name + " ".repeat(Math.max(column - width(name), 0)) + "  " + printable(item.id());
    }

    /** The number of characters, or of bytes for a text that is not UTF-8. */
    private static int width(String text) {
        try {
            String decoded = StandardCharsets.UTF_8.newDecoder()
                .decode(ByteBuffer.wrap(Item.bytes(text))).toString();
            return decoded.codePointCount(0, decoded.length());
        } catch (CharacterCodingException notUtf8) {
            return text.length();
        }
    }

    private static String printable(String text) {
        StringBuilder printable = new StringBuilder();
        for (char code : text.toCharArray()) {
            if (code < 0x20 || code == 0x7f) {
                printable.append("\\x").append(HexFormat.of().toHexDigits((byte) code));
            } else {
                printable.append(code);
            }
        }
        return printable.toString();
    }
}
