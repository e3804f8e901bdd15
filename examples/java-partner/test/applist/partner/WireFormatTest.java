package applist.partner;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.List;

import org.junit.jupiter.api.Test;

class WireFormatTest {

    private static final Item CLOCK = new Item("Clock", "clock.01");

    @Test
    void readsTheIdAtTheEndLeastSignificantByteFirst() {
        assertEquals(2004, WireFormat.id(new byte[] {'x', '\n', (byte) 0xD4, 7, 0, 0}));
    }

    @Test
    void writesANotificationOfFourBytes() {
        assertArrayEquals(new byte[] {4, 0, 0, 0}, WireFormat.notification(4));
    }

    @Test
    void readsCompleteRecordsOnly() {
        assertEquals(List.of(CLOCK), WireFormat.items(Item.bytes("Clock\nclock.01\nMusic\nmus")));
    }

    @Test
    void readsEmptyNamesAndIds() {
        assertEquals(List.of(new Item("", "")), WireFormat.items(Item.bytes("\n\n")));
    }

    @Test
    void writesTheRecordThatItReads() {
        assertEquals(List.of(CLOCK), WireFormat.items(WireFormat.record(CLOCK)));
    }

    @Test
    void keepsBytesThatAreNotUtf8() {
        byte[] record = {(byte) 0xFF, (byte) 0xC3, 0, '\n', (byte) 0x80, '\n'};
        assertArrayEquals(record, WireFormat.record(WireFormat.items(record).get(0)));
    }

    @Test
    void displaysUtf8() {
        byte[] record = {'B', (byte) 0xC3, (byte) 0xBC, '\n', '1', '\n'};
        assertEquals("B\u00fc", WireFormat.items(record).get(0).displayName());
    }

    @Test
    void reportsAnEndInsideARecord() {
        assertTrue(WireFormat.endsInsideARecord(Item.bytes("Clock\nclock.01")));
        assertTrue(WireFormat.endsInsideARecord(Item.bytes("Clock\n")));
        assertFalse(WireFormat.endsInsideARecord(Item.bytes("Clock\nclock.01\n")));
        assertFalse(WireFormat.endsInsideARecord(new byte[0]));
    }
}
