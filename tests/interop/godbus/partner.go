// A partner on godbus, a D-Bus library in Go without C code: all duties of the partner guide.
// Commands on standard input: list, quit, and select, click, change or remove with the id of an item.
// The partner exits at the end of its input or of the bus.
package main

import (
	"bufio"
	"encoding/binary"
	"fmt"
	"os"
	"strings"
	"time"

	"github.com/godbus/dbus"
)

const (
	bus       = "org.freedesktop.DBus"
	path      = dbus.ObjectPath("/org/morva/javamw/CommunicationChannel/Applist")
	iface     = "org.morva.javamw.DbusCommunication"
	names     = "org.morva.JavaMW.Applist"
	matchRule = "type='signal',sender='" + bus + "',interface='" + bus +
		"',member='NameOwnerChanged',arg0='%s'"

	firstPeriod   = time.Second
	longestPeriod = 32 * time.Second
	repeatPeriod  = 100 * time.Millisecond
)

// Requests and notifications.
const (
	selectItem, query, clearAll, add, appendItem = 2000, 2001, 2003, 2004, 2005
	click, remove, modify                        = 2006, 2007, 2008
	changeEvent                                  = 1
	selectionEvent                               = 2
	clickedEvent                                 = 3
	createdEvent                                 = 4
)

// A string in Go consists of bytes of any character set.
type item struct{ name, id string }

type partner struct {
	bus                                         *dbus.Conn
	events                                      chan func() // one goroutine runs all events
	hosts                                       []string    // the bound host, then the others that are bound to a partner
	watched                                     map[string]bool
	isReady, hasAsked, awaitsList, isAnnouncing bool
	announcements, timers                       int // the latest one cancels the others
	items                                       []item
	selection                                   *item
}

// Messages

// notify sends a signal to the host alone. Emit of the library is a broadcast.
func (p *partner) notify(id uint32) {
	if !p.isReady {
		return
	}
	bytes := make([]byte, 4)
	binary.LittleEndian.PutUint32(bytes, id)
	p.bus.Send(&dbus.Message{
		Type: dbus.TypeSignal,
		Headers: map[dbus.HeaderField]dbus.Variant{
			dbus.FieldDestination: dbus.MakeVariant(p.hosts[0]),
			dbus.FieldPath:        dbus.MakeVariant(path),
			dbus.FieldInterface:   dbus.MakeVariant(iface),
			dbus.FieldMember:      dbus.MakeVariant("SendSignal"),
			dbus.FieldSignature:   dbus.MakeVariant(dbus.SignatureOf(bytes)),
		},
		Body: []interface{}{bytes},
	}, nil)
}

// Send runs on a goroutine of its own for each request.
func (p *partner) Send(sender dbus.Sender, request []byte) ([]byte, *dbus.Error) {
	reply := make(chan []byte)
	p.events <- func() { p.onSend(string(sender), request, reply) }
	return <-reply, nil
}

func (p *partner) onSend(sender string, request []byte, reply chan []byte) {
	isHost := len(p.hosts) > 0 && sender == p.hosts[0]
	id, payload := int32(0), ""
	if end := len(request) - 4; end >= 0 {
		id, payload = int32(binary.LittleEndian.Uint32(request[end:])), string(request[:end])
	}
	if isHost && id == query && p.selection != nil {
		reply <- []byte(p.selection.name + "\n" + p.selection.id + "\n")
	} else {
		reply <- []byte{}
	}
	if isHost {
		p.hasAsked = true
		p.timers++
		lines, items := strings.Split(payload, "\n"), []item{}
		for ; len(lines) > 2; lines = lines[2:] {
			items = append(items, item{lines[0], lines[1]})
		}
		p.onRequest(id, items)
	}
}

func (p *partner) onRequest(id int32, items []item) {
	fmt.Println("<-", id, items)
	switch {
	case id == clearAll:
		p.items, p.selection = nil, nil
	case len(items) == 0:
		return
	case id == selectItem:
		p.selection = &items[0]
		if i := find(p.items, items[0].id); i >= 0 {
			p.selection = &item{p.items[i].name, p.items[i].id}
		}
	case id == add:
		p.add(items)
	case id == appendItem:
		p.items = append(p.items, items[0])
	case id == click:
		p.notify(clickedEvent)
	case id == remove:
		p.replace(items[0].id, nil)
	case id == modify && len(items) > 1:
		p.replace(items[0].id, items[1:2])
	}
	fmt.Println("   my list has", len(p.items), "items now")
}

// The user

func (p *partner) list() {
	fmt.Println("list:", len(p.items), "items")
	for i, one := range p.items {
		mark := " "
		if p.selection != nil && p.selection.id == one.id {
			mark = "*"
		}
		fmt.Printf("  %s %d  %s  %s\n", mark, i+1, one.name, one.id)
	}
	if p.selection != nil {
		fmt.Printf("selection: %s (%s)\n", p.selection.name, p.selection.id)
	} else {
		fmt.Println("selection: none")
	}
}

func (p *partner) onCommand(line string) {
	words := append(strings.SplitN(line, " ", 2), "")
	action, id := words[0], words[1]
	i := find(p.items, id)
	switch {
	case action == "list":
		p.list()
	case action == "quit":
		p.bus.Close() // all messages have been written
		os.Exit(0)
	case action == "change":
		p.notify(changeEvent)
	case i >= 0 && action == "select":
		p.selection = &item{p.items[i].name, id}
		p.notify(selectionEvent)
	case i >= 0 && action == "click":
		p.notify(clickedEvent)
	case i >= 0 && action == "remove":
		p.replace(id, nil)
		p.notify(changeEvent)
	default:
		fmt.Fprintln(os.Stderr, "godbus partner: no such command or item")
	}
}

func (p *partner) readCommands() {
	input := bufio.NewScanner(os.Stdin)
	for input.Scan() {
		line := input.Text()
		p.events <- func() { p.onCommand(line) }
	}
	p.events <- func() { p.onCommand("quit") }
}

func fail(text string, reason error) {
	fmt.Fprintln(os.Stderr, "godbus partner:", text, reason)
	os.Exit(1)
}

func main() {
	// The usual handler of signals does not keep their order.
	connection, err := dbus.ConnectSystemBus(dbus.WithSignalHandler(dbus.NewSequentialSignalHandler()))
	if err != nil {
		fail("no bus:", err)
	}
	p := &partner{bus: connection, events: make(chan func()), watched: map[string]bool{}}
	signals := make(chan *dbus.Signal)
	connection.Signal(signals)
	if err := connection.Export(p, path, iface); err != nil {
		fail("no object:", err)
	}
	go p.readCommands()
	for _, step := range []string{"_CLIENT_SYN", "_CLIENT_SYN_ACK", "_CLIENT_ACK"} {
		p.call(ignore, "AddMatch", fmt.Sprintf(matchRule, names+step))
	}
	p.announce("_SERVICE_SYN", func() {})
	p.startTimer(firstPeriod)
	for {
		select {
		case event := <-p.events:
			event()
		case signal, isOpen := <-signals:
			if !isOpen {
				fail("the bus is gone", nil)
			}
			var name, owner, next string
			if signal.Sender == bus && signal.Name == bus+".NameOwnerChanged" &&
				dbus.Store(signal.Body, &name, &owner, &next) == nil && next == "" {
				p.onRelease(name, owner)
			}
		}
	}
}
