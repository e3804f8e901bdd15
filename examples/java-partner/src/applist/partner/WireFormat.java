package applist.partner;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

/**
 * The bytes of messages: a payload and then the id, four bytes, the least significant byte first.
 * The payload is a sequence of item records, {@code name LF id LF}.
 */
final class WireFormat {

    /** The size of an id. */
    static final int ID_SIZE = 4;

    private WireFormat() {}

    /** The id at the end of a message of at least {@link #ID_SIZE} bytes. */
    static int id(byte[] message) {
        return ByteBuffer.wrap(message).order(ByteOrder.LITTLE_ENDIAN)
            .getInt(message.length - ID_SIZE);
    }

    /** The bytes in front of the id. */
    static byte[] payload(byte[] message) {
        return Arrays.copyOf(message, message.length - ID_SIZE);
    }

    /** The message of a notification, which consists of the id alone. */
    static byte[] notification(int id) {
        return ByteBuffer.allocate(ID_SIZE).order(ByteOrder.LITTLE_ENDIAN).putInt(id).array();
    }

    /** The complete records of a payload. */
    static List<Item> items(byte[] payload) {
        String text = Item.text(payload);
        List<Item> items = new ArrayList<>();
        int start = 0;
        while (true) {
            int middle = text.indexOf('\n', start);
            int end = middle < 0 ? -1 : text.indexOf('\n', middle + 1);
            if (end < 0) {
                return items;
            }
            items.add(new Item(text.substring(start, middle), text.substring(middle + 1, end)));
            start = end + 1;
        }
    }

    /** Whether a payload has bytes behind its last complete record. */
    static boolean endsInsideARecord(byte[] payload) {
        int lines = 0;
        for (byte code : payload) {
            lines += code == '\n' ? 1 : 0;
        }
        return payload.length > 0 && (payload[payload.length - 1] != '\n' || lines % 2 != 0);
    }

    /** The record of an item: the reply to a query for the selection. */
    static byte[] record(Item item) {
        return Item.bytes(item.name() + "\n" + item.id() + "\n");
    }
}
