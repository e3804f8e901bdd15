package applist.partner;

import java.util.List;

/**
 * A request of the host.
 *
 * @param kind null for a malformed request
 * @param items the item records
 * @param problem the fault of a malformed request, otherwise null
 */
record Request(RequestKind kind, List<Item> items, String problem) {

    /** Reads the bytes of a {@code Send}. */
    static Request read(byte[] message) {
        if (message.length < WireFormat.ID_SIZE) {
            return malformed(message.length + (message.length == 1 ? " byte is" : " bytes are")
                    + " too short for an id");
        }
        int id = WireFormat.id(message);
        RequestKind kind = RequestKind.of(id);
        if (kind == null) {
            return malformed("no request has the id " + id);
        }
        byte[] payload = WireFormat.payload(message);
        List<Item> items = WireFormat.items(payload);
        if (WireFormat.endsInsideARecord(payload)) {
            return malformed(kind.title() + " ends inside an item record");
        }
        if (items.size() < kind.fewestItems || items.size() > kind.mostItems) {
            return malformed(kind.title() + " has " + items.size() + " items");
        }
        return new Request(kind, items, null);
    }

    private static Request malformed(String problem) {
        return new Request(null, List.of(), problem);
    }

    boolean isMalformed() {
        return problem != null;
    }

    Item item() {
        return items.get(0);
    }
}
