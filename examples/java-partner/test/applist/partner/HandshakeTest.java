package applist.partner;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.OutputStream;
import java.io.PrintStream;
import java.util.ArrayList;
import java.util.List;

import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

class HandshakeTest {

    private static final String HOST = ":1.5";
    private static final String OTHER = ":1.6";

    private final FakeBus bus = new FakeBus();
    private final FakeTimers timers = new FakeTimers();
    private final List<String> events = new ArrayList<>();
    private final PrintStream nowhere = new PrintStream(OutputStream.nullOutputStream());
    private final Handshake handshake = new Handshake(bus, timers, new Output(nowhere, nowhere),
        new Handshake.Listener() {
            @Override
            public void onReady(String host) {
                events.add("ready " + host);
            }

            @Override
            public void onLost(String host) {
                events.add("lost " + host);
            }
        });

    @BeforeEach
    void start() {
        handshake.start();
        assertEquals(List.of("_SERVICE_SYN"), bus.takeAnnounced());
    }

    private void connect() {
        bus.release("_CLIENT_SYN_ACK", HOST);
        assertEquals(List.of("_SERVICE_ACK"), bus.takeAnnounced());
        assertEquals(List.of("ready " + HOST), events);
        events.clear();
    }

    @Test
    void answersAHostThatStarts() {
        bus.release("_CLIENT_SYN", HOST);
        assertEquals(List.of("_SERVICE_SYN_ACK"), bus.takeAnnounced());
        assertTrue(handshake.isHost(HOST));
        assertNull(handshake.readyHost());
        bus.release("_CLIENT_ACK", HOST);
        assertEquals(List.of("ready " + HOST), events);
        assertEquals(HOST, handshake.readyHost());
    }

    @Test
    void answersAHostThatIsBound() {
        connect();
        assertEquals(HOST, handshake.readyHost());
    }

    @Test
    void answersItsOwnHostAgain() {
        bus.release("_CLIENT_SYN", HOST);
        bus.takeAnnounced();
        bus.release("_CLIENT_SYN_ACK", HOST);
        assertEquals(List.of("_SERVICE_ACK"), bus.takeAnnounced());
        assertEquals(List.of("ready " + HOST), events);
    }

    @Test
    void startsAgainWithTheSameHost() {
        connect();
        bus.release("_CLIENT_SYN", HOST);
        assertEquals(List.of("_SERVICE_SYN_ACK"), bus.takeAnnounced());
        assertNull(handshake.readyHost());
        bus.release("_CLIENT_ACK", HOST);
        assertEquals(List.of("ready " + HOST), events);
    }

    @Test
    void answersNoOtherHost() {
        connect();
        bus.release("_CLIENT_SYN", OTHER);
        bus.release("_CLIENT_SYN_ACK", OTHER);
        bus.release("_CLIENT_ACK", OTHER);
        assertEquals(List.of(), bus.takeAnnounced());
        assertFalse(handshake.isHost(OTHER));
    }

    @Test
    void announcesItselfAfterTheEndOfItsHost() {
        connect();
        bus.end(HOST);
        assertEquals(List.of("lost " + HOST), events);
        assertEquals(List.of("_SERVICE_SYN"), bus.takeAnnounced());
        assertNull(handshake.readyHost());
    }

    @Test
    void repeatsWhileFreeWithLongerPeriods() {
        timers.pass(999);
        assertEquals(0, bus.announced.size());
        timers.pass(1); // 1 s
        assertEquals(1, bus.announced.size());
        timers.pass(2000 + 4000 + 8000 + 16000 + 32000 + 32000);
        assertEquals(7, bus.announced.size());
    }

    @Test
    void repeatsUntilTheFirstRequest() {
        connect();
        timers.pass(1000);
        assertEquals(List.of("_SERVICE_SYN"), bus.takeAnnounced());
        handshake.onRequest();
        timers.pass(100000);
        assertEquals(List.of(), bus.takeAnnounced());
    }

    @Test
    void repeatsAgainAfterASecondHandshakeWithTheSameHost() {
        connect();
        handshake.onRequest();
        bus.release("_CLIENT_SYN_ACK", HOST);
        bus.takeAnnounced();
        timers.pass(1000);
        assertEquals(List.of("_SERVICE_SYN"), bus.takeAnnounced());
    }

    @Test
    void repeatsAnAnswerWhoseNameAnotherProcessOwns() {
        bus.ownedByOthers.add("_SERVICE_ACK");
        bus.release("_CLIENT_SYN_ACK", HOST);
        timers.pass(500);
        assertEquals(List.of(), bus.takeAnnounced());
        assertNull(handshake.readyHost());
        bus.ownedByOthers.clear();
        timers.pass(Announcement.REPEAT_PERIOD_MS);
        assertEquals(List.of("_SERVICE_ACK"), bus.takeAnnounced());
        assertEquals(HOST, handshake.readyHost());
    }

    @Test
    void prefersTheAnswerToTheRepetition() {
        bus.ownedByOthers.add("_SERVICE_ACK");
        bus.release("_CLIENT_SYN_ACK", HOST);
        timers.pass(5000);
        assertEquals(List.of(), bus.takeAnnounced());
    }

    @Test
    void endsTheRepeatedAnswerWithItsHost() {
        bus.ownedByOthers.add("_SERVICE_ACK");
        bus.release("_CLIENT_SYN_ACK", HOST);
        bus.end(HOST);
        bus.takeAnnounced();
        bus.ownedByOthers.clear();
        timers.pass(900);
        assertEquals(List.of(), bus.takeAnnounced());
    }

    @Test
    void continuesAfterARefusalByThePolicy() {
        bus.refused.add("_SERVICE_SYN");
        timers.pass(1000);
        bus.refused.clear();
        timers.pass(2000);
        assertEquals(List.of("_SERVICE_SYN"), bus.takeAnnounced());
    }

    @Test
    void remembersABoundHostForTheEndOfItsOwn() {
        connect();
        bus.release("_CLIENT_SYN_ACK", ":1.7");
        bus.release("_CLIENT_ACK", OTHER);
        bus.end(HOST);
        assertEquals(List.of("_SERVICE_ACK"), bus.takeAnnounced());
        assertEquals(List.of("lost " + HOST, "ready " + OTHER), events);
        bus.end(OTHER);
        assertTrue(handshake.isHost(":1.7"));
    }

    @Test
    void forgetsAnotherHostAtItsEnd() {
        connect();
        bus.release("_CLIENT_SYN_ACK", OTHER);
        bus.end(OTHER);
        bus.end(HOST);
        assertEquals(List.of("_SERVICE_SYN"), bus.takeAnnounced());
    }

    @Test
    void forgetsAnotherHostThatStartsAgain() {
        connect();
        bus.release("_CLIENT_SYN_ACK", OTHER);
        bus.release("_CLIENT_SYN", OTHER);
        bus.end(HOST);
        assertEquals(List.of("_SERVICE_SYN"), bus.takeAnnounced());
    }

    @Test
    void bindsToTheSenderOfAckWithoutAHost() {
        bus.release("_CLIENT_ACK", HOST);
        assertEquals(List.of("ready " + HOST), events);
        assertEquals(HOST, handshake.readyHost());
    }

    @Test
    void stopsAllTimersWithTheBus() {
        bus.ownedByOthers.add("_SERVICE_ACK");
        bus.release("_CLIENT_SYN_ACK", HOST);
        handshake.stop();
        bus.ownedByOthers.clear();
        timers.pass(100000);
        assertEquals(List.of(), bus.takeAnnounced());
    }
}
