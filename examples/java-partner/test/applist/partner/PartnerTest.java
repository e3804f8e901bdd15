package applist.partner;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;

import java.io.ByteArrayOutputStream;
import java.io.OutputStream;
import java.io.PrintStream;
import java.util.ArrayList;
import java.util.List;
import java.util.stream.Collectors;

import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

class PartnerTest {

    private static final String HOST = ":1.5";
    private static final String CLOCK = "Clock\nclock.01\n";
    private static final String MUSIC = "Music\nmusic.02\n";

    private final FakeBus bus = new FakeBus();
    private final ByteArrayOutputStream printed = new ByteArrayOutputStream();
    private final List<String> events = new ArrayList<>();
    private final Application application = new Application() {
        @Override
        public void onHost(boolean isReady) {
            events.add(isReady ? "ready" : "lost");
        }

        @Override
        public void onChange(ItemList list) {
            Item selection = list.selection();
            String ids = list.items().stream().map(Item::id).collect(Collectors.joining(" "));
            events.add("[" + ids + "] " + (selection == null ? "none" : selection.id()));
        }

        @Override
        public void onClick(Item item) {
            events.add("click " + item.id());
        }
    };
    private final Partner partner = new Partner(bus, new FakeTimers(), new Output(
        new PrintStream(printed), new PrintStream(OutputStream.nullOutputStream())), application);

    @BeforeEach
    void connect() {
        partner.start();
        bus.release("_CLIENT_SYN_ACK", HOST);
        assertEquals(List.of(HOST + " 4"), bus.signals);
        assertEquals(List.of("ready", "[] none"), events);
        bus.signals.clear();
        events.clear();
    }

    /** Sends a request of the host. Returns the reply. */
    private String send(int id, String payload) {
        return sendFrom(HOST, id, payload);
    }

    private String sendFrom(String sender, int id, String payload) {
        List<byte[]> replies = new ArrayList<>();
        String message = payload + Item.text(WireFormat.notification(id));
        partner.onSend(sender, Item.bytes(message), replies::add);
        assertEquals(1, replies.size());
        return Item.text(replies.get(0));
    }

    private String ids() {
        return String.join(" ", partner.list().items().stream().map(Item::id).toList());
    }

    @Test
    void keepsTheListOfTheHost() {
        assertEquals("", send(2004, CLOCK + MUSIC));
        assertEquals("", send(2005, "Radio\nradio\n"));
        assertEquals("", send(2008, CLOCK + "Alarm\nalarm\n"));
        assertEquals("", send(2007, MUSIC));
        assertEquals("alarm radio", ids());
        assertEquals("", send(2003, ""));
        assertEquals("", ids());
    }

    @Test
    void repliesToTheQueryWithTheRecordOfTheSelection() {
        send(2004, CLOCK + MUSIC);
        assertEquals("", send(2001, ""));
        send(2000, MUSIC);
        assertEquals(MUSIC, send(2001, ""));
        partner.select(0);
        assertEquals(CLOCK, send(2001, ""));
        partner.selectNone();
        assertEquals("", send(2001, ""));
        assertEquals(List.of(HOST + " 2", HOST + " 2"), bus.signals);
    }

    @Test
    void usesTheOrderOfTheWholeList() {
        send(2005, MUSIC); // between the handshake and notification 4
        send(2004, CLOCK + MUSIC);
        assertEquals("clock.01 music.02", ids());
        send(2004, "Radio\nradio\n" + CLOCK);
        assertEquals("clock.01 music.02 radio", ids());
    }

    @Test
    void notifiesTheHostOfItsClick() {
        send(2006, CLOCK);
        assertEquals(List.of(HOST + " 3"), bus.signals);
    }

    @Test
    void notifiesTheHostOfActionsOfTheUser() {
        send(2004, CLOCK);
        partner.click(0);
        partner.change();
        partner.recreate();
        assertEquals(List.of(HOST + " 3", HOST + " 1", HOST + " 4"), bus.signals);
        assertEquals("", ids());
    }

    @Test
    void notifiesTheHostAfterTheRemoval() {
        send(2004, CLOCK + MUSIC);
        partner.remove(0);
        assertEquals("music.02", ids());
        assertEquals(List.of(HOST + " 1"), bus.signals);
    }

    @Test
    void repliesToMalformedRequestsAndIgnoresThem() {
        send(2004, CLOCK);
        assertEquals("", send(2004, MUSIC + "Radio\nrad"));
        assertEquals("", send(2007, ""));
        assertEquals("", send(2002, CLOCK));
        List<byte[]> replies = new ArrayList<>();
        partner.onSend(HOST, new byte[] {1, 2}, replies::add);
        assertArrayEquals(new byte[0], replies.get(0));
        assertEquals("clock.01", ids());
    }

    @Test
    void callsTheApplicationForEachEvent() {
        send(2004, CLOCK + MUSIC);
        send(2000, MUSIC);
        send(2006, CLOCK);
        send(2008, CLOCK + "Alarm\nalarm\n");
        partner.select(0);
        partner.selectNone();
        send(2007, MUSIC);
        partner.remove(0);
        bus.end(HOST);
        assertEquals(List.of("[clock.01 music.02] none", "[clock.01 music.02] music.02",
            "click clock.01", "[alarm music.02] music.02", "[alarm music.02] alarm",
            "[alarm music.02] none", "[alarm] none", "[] none", "lost"), events);
    }

    @Test
    void ignoresRequestsOfOtherProcesses() {
        assertEquals("", sendFrom(":1.6", 2004, CLOCK));
        assertEquals("", ids());
    }

    @Test
    void sendsNoNotificationWithoutAHost() {
        bus.end(HOST);
        partner.change();
        assertEquals(List.of(), bus.signals);
    }

    @Test
    void emptiesTheListAfterEachHandshake() {
        send(2004, CLOCK);
        send(2000, CLOCK);
        bus.release("_CLIENT_SYN_ACK", HOST);
        assertEquals("", ids());
        assertNull(partner.list().selection());
        assertEquals(List.of(HOST + " 4"), bus.signals);
    }

    @Test
    void printsTheBytesOfNamesUnchanged() {
        send(2005, "\u00ff\u00c3\nid\n");
        String line = "<- APPLIST_ADD_ITEM_AT_END_FNC (2005): \u00ff\u00c3 (id)\n";
        assertEquals(true, Item.text(printed.toByteArray()).contains(line));
    }
}
