package applist.partner;

import org.freedesktop.dbus.Message;
import org.freedesktop.dbus.exceptions.DBusException;

/**
 * A signal to one receiver. The signals of the library have no destination, and would reach every
 * subscribed process on the bus.
 */
final class DirectedSignal extends Message {

    DirectedSignal(String receiver, String path, String iface, String member, byte[] body)
            throws DBusException {
        super(Endian.BIG, MessageType.SIGNAL, (byte) 0);
        byte[] bodyLength = new byte[4];
        appendBytes(bodyLength); // filled below: the message refers to this array
        append("ua(yv)", serial, new Object[] {
            field(HeaderField.PATH, ArgumentType.OBJECT_PATH_STRING, path),
            field(HeaderField.INTERFACE, ArgumentType.STRING_STRING, iface),
            field(HeaderField.MEMBER, ArgumentType.STRING_STRING, member),
            field(HeaderField.DESTINATION, ArgumentType.STRING_STRING, receiver),
            field(HeaderField.SIGNATURE, ArgumentType.SIGNATURE_STRING, "ay")});
        pad((byte) 8);
        long start = bytecounter;
        append("ay", body);
        marshallint(bytecounter - start, bodyLength, 0, bodyLength.length);
    }

    private static Object[] field(byte code, String type, String value) {
        return new Object[] {code, new Object[] {type, value}};
    }
}
