package applist.partner;

import java.nio.charset.StandardCharsets;

/**
 * An item of the application list. Name and id are bytes of any character set. Each {@code char} of
 * the two texts is one byte, as in ISO 8859-1, so that no byte is lost.
 *
 * @param name the text for the user
 * @param id the identity of the item
 */
record Item(String name, String id) {

    /** The bytes of a text of an item. */
    static byte[] bytes(String text) {
        return text.getBytes(StandardCharsets.ISO_8859_1);
    }

    /** A text of an item, from its bytes. */
    static String text(byte[] bytes) {
        return new String(bytes, StandardCharsets.ISO_8859_1);
    }

    /** The name for a user interface, if the host writes UTF-8. */
    String displayName() {
        return new String(bytes(name), StandardCharsets.UTF_8);
    }
}
