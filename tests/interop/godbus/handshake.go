// The partner's half of the handshake: finds one host, and finds it again.
package main

import (
	"fmt"
	"os"
	"strings"
	"time"

	"github.com/godbus/dbus"
)

// call sends a method call to the bus, without a wait for the reply.
func (p *partner) call(then func(*dbus.Call), method string, arguments ...interface{}) {
	call := p.bus.BusObject().Go(bus+"."+method, 0, nil, arguments...)
	go func() {
		<-call.Done
		p.events <- func() { then(call) }
	}()
}

func ignore(*dbus.Call) {}

func (p *partner) onRelease(name, owner string) {
	step := strings.TrimPrefix(name, names)
	if strings.HasPrefix(name, ":") {
		p.onEnd(name)
		return
	}
	if len(p.hosts) > 0 && owner != p.hosts[0] {
		p.forget(owner)
		if step != "_CLIENT_SYN" { // a host that starts is not bound
			p.remember(owner)
		}
		return
	}
	if len(p.hosts) == 0 || step == "_CLIENT_SYN" {
		p.forget(owner)
		p.remember(owner)
		p.onBound()
	}
	switch step {
	case "_CLIENT_SYN":
		p.announce("_SERVICE_SYN_ACK", func() {})
	case "_CLIENT_SYN_ACK":
		p.announce("_SERVICE_ACK", p.becomeReady)
	case "_CLIENT_ACK":
		p.becomeReady()
	}
}

func (p *partner) remember(host string) {
	p.hosts = append(p.hosts, host)
	if !p.watched[host] {
		p.watched[host] = true
		p.call(ignore, "AddMatch", fmt.Sprintf(matchRule, host))
		p.call(func(call *dbus.Call) { // the process may have ended before the rule
			var hasOwner bool
			if call.Store(&hasOwner) == nil && !hasOwner {
				p.onEnd(host)
			}
		}, "NameHasOwner", host)
	}
}

func (p *partner) forget(host string) {
	rest := []string{}
	for _, other := range p.hosts {
		if other != host {
			rest = append(rest, other)
		}
	}
	p.hosts = rest
}

func (p *partner) onEnd(host string) {
	if p.watched[host] {
		delete(p.watched, host)
		p.call(ignore, "RemoveMatch", fmt.Sprintf(matchRule, host))
	}
	wasBound := len(p.hosts) > 0 && p.hosts[0] == host
	p.forget(host)
	if !wasBound {
		return
	}
	fmt.Println("lost the host", host)
	p.onBound()
	if last := len(p.hosts) - 1; last >= 0 {
		p.hosts = append([]string{p.hosts[last]}, p.hosts[:last]...)
		p.announce("_SERVICE_ACK", p.becomeReady)
	} else {
		p.announce("_SERVICE_SYN", func() {})
	}
}

func (p *partner) onBound() {
	p.isReady, p.hasAsked = false, false
	p.startTimer(firstPeriod)
}

func (p *partner) becomeReady() {
	p.announcements++
	p.isAnnouncing, p.isReady, p.hasAsked, p.awaitsList = false, true, false, true
	p.startTimer(firstPeriod)
	fmt.Println("connected with", p.hosts[0])
	p.items, p.selection = nil, nil
	p.notify(createdEvent)
}

func (p *partner) announce(step string, then func()) {
	p.announcements++
	p.isAnnouncing = true
	number := p.announcements
	p.call(func(call *dbus.Call) {
		var result dbus.RequestNameReply
		if err := call.Store(&result); number != p.announcements {
			return
		} else if result == dbus.RequestNameReplyExists {
			time.AfterFunc(repeatPeriod, func() {
				p.events <- func() {
					if number == p.announcements {
						p.announce(step, then)
					}
				}
			})
		} else if p.isAnnouncing = false; result == dbus.RequestNameReplyPrimaryOwner {
			fmt.Println("->", step)
			then()
		} else {
			fmt.Fprintln(os.Stderr, "godbus partner: the bus refuses", names+step, err)
		}
	}, "RequestName", names+step, dbus.NameFlagDoNotQueue)
	p.call(ignore, "ReleaseName", names+step)
}

func (p *partner) startTimer(period time.Duration) {
	p.timers++
	number := p.timers
	time.AfterFunc(period, func() { p.events <- func() { p.onTimer(number, period) } })
}

func (p *partner) onTimer(number int, period time.Duration) {
	if number != p.timers {
		return
	}
	if !p.isAnnouncing && !(len(p.hosts) > 0 && p.hasAsked) {
		p.announce("_SERVICE_SYN", func() {})
	}
	if period < longestPeriod {
		period *= 2
	}
	p.startTimer(period)
}
